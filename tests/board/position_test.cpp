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
    EXPECT_TRUE(flipped.own == 0xFFFF && flipped.plane1 == start->plane1 && flipped.side == 1);
    EXPECT_EQ(ComputeKey(flipped), start->key ^ SideKeys[0]);

    FlipPosition(flipped);
    EXPECT_EQ(0, std::memcmp(&flipped, start, sizeof(Position)));
    flipped.castling = 0x12;  // own kingside, opponent queenside: the nibbles swap
    FlipPosition(flipped);
    EXPECT_EQ(flipped.castling, 0x21);
}
