#include <gtest/gtest.h>

#include "board/board_helpers.h"
#include "board/fen.h"
#include "board/position.h"
#include "board/see.h"
#include "search/search.h"

namespace {

int32_t SeeOf(const char* fen, const char* move) {
    Position* pos = LoadGame(fen);
    return See(pos, TextToMove(*pos, move));
}

}  // namespace

TEST(See, ExchangeSequences) {
    EXPECT_EQ(SeeOf("4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5"), 300);
    EXPECT_EQ(SeeOf("4k3/8/2p5/3p4/8/4N3/8/4K3 w - - 0 1", "e3d5"), -200);
    // Gains 100, 500, 300: the defender stops after winning the rook.
    EXPECT_EQ(SeeOf("7k/8/2n5/4p3/8/8/4R3/4R1K1 w - - 0 1", "e2e5"), -100);
    // Without an en-passant file, a capture on a7 is worth the piece standing there.
    EXPECT_EQ(SeeOf("4k3/r7/1P6/8/8/8/8/4K3 w - - 0 1", "b6a7"), 500);
    EXPECT_EQ(SeeOf("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6"), 100);
    // A quiet promotion counts a pawn; the promoted queen is what the defender wins back.
    EXPECT_EQ(SeeOf("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b7b8q"), 100 - 975);
    EXPECT_EQ(SeeOf("4k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b7b8q"), 100);
    // A king may recapture only on an undefended square; a king capture into a defended square loses it.
    EXPECT_EQ(SeeOf("8/8/8/8/8/3k4/3p4/3R3K w - - 0 1", "d1d2"), 100 - 500);
    EXPECT_EQ(SeeOf("8/8/8/8/8/3k4/3p4/3RK3 w - - 0 1", "d1d2"), 100);
    EXPECT_EQ(SeeOf("8/8/8/8/8/2k5/3p4/3RK3 w - - 0 1", "e1d2"), 100 - 10000);

    // Taking the king ends the evaluation before any move is made.
    Position* pos = LoadGame("4k2R/8/8/8/8/8/8/4K3 b - - 0 1");
    FlipPosition(*pos);
    const uint64_t nodes = nodeCount;
    EXPECT_EQ(See(pos, TextToMove(*pos, "h8e8")), 10000);
    EXPECT_EQ(nodeCount, nodes);
}

TEST(See, NegativeTestSkipsExchangesThatCannotLose) {
    Position* pos = LoadGame("4k3/8/2p5/3p4/8/8/3Q4/4K3 w - - 0 1");
    EXPECT_TRUE(SeeIsNegative(pos, TextToMove(*pos, "d2d5")));
    pos = LoadGame("4k3/8/2p5/3q4/4P3/8/8/4K3 w - - 0 1");
    const uint64_t nodes = nodeCount;
    EXPECT_FALSE(SeeIsNegative(pos, TextToMove(*pos, "e4d5")));
    EXPECT_EQ(nodeCount, nodes);
    // A quiet pawn move onto a square the opponent's pawn covers loses the pawn.
    pos = LoadGame("4k3/8/8/3p4/8/4P3/8/4K3 w - - 0 1");
    EXPECT_TRUE(SeeIsNegative(pos, TextToMove(*pos, "e3e4")));
    EXPECT_FALSE(SeeIsNegative(pos, TextToMove(*pos, "e1d2")));
}

// Longer sequences: x-rays through the d-file battery, a recapture the defender must decline, and a
// promotion that the bishop and queen trade off.
TEST(See, LongSequences) {
    // Gains 100 100 300 325 300 500 500 975 500: the pawn is won back and the trade stops level.
    EXPECT_EQ(SeeOf("3r3k/3r4/2n1n3/8/3p4/2PR4/1B1Q4/3R3K w - - 0 1", "c3d4"), 0);
    // Black's rook may take the bishop, but the queen then takes it and the king cannot recapture.
    EXPECT_EQ(SeeOf("rnbqrbn1/pp3ppp/3p4/2p2k2/4p3/3B1K2/PPP2PPP/RNB1Q1NR w - - 0 1", "d3e4"), 100);
    // Gains 100 975 325.
    EXPECT_EQ(SeeOf("5k2/p2P2pp/1b6/1p6/1Nn1P1n1/8/PPP4P/R2QK1NR w KQ - 0 1", "d7d8q"), 100 - 975 + 325);
}
