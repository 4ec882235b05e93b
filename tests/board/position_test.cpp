#include <gtest/gtest.h>

#include <cstring>

#include "board/position.h"
#include "search/search.h"

TEST(Position, StartKeyAndFlipRoundTrip) {
    Position* start = NewGame();
    EXPECT_EQ(start, &mainContext.positionStack[0]);
    EXPECT_EQ(start->key, ComputeKey(*start));

    Position flipped = *start;
    FlipPosition(flipped);
    // The start position is symmetric, so the other side's view looks the same but for colour and key.
    EXPECT_EQ(flipped.own, 0x000000000000FFFFull);
    EXPECT_EQ(flipped.plane1, start->plane1);
    EXPECT_EQ(flipped.castling, 0x33);
    EXPECT_EQ(flipped.side, 1u);
    EXPECT_EQ(ComputeKey(flipped), start->key ^ SideKeys[0]);

    FlipPosition(flipped);
    EXPECT_EQ(0, std::memcmp(&flipped, start, sizeof(Position)));
}

TEST(Position, FlipSwapsCastlingNibblesAndMirrorsRanks) {
    Position p{};
    p.own = 0x10;                    // own king e1
    p.plane2 = p.plane4 = 0x10 | (1ull << 60);  // kings e1, e8
    p.castling = 0x12;               // own kingside, opponent queenside
    p.epFile = 8;
    FlipPosition(p);
    EXPECT_EQ(p.castling, 0x21);
    EXPECT_EQ(p.own, 0x10ull);       // the other king, now seen from its own side
    EXPECT_EQ(Kings(p), 0x10 | (1ull << 60));
}
