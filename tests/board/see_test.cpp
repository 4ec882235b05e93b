#include "board/see.h"
#include "support.h"

namespace {

int32_t SeeOf(const char* fen, const char* move) {
    Position* pos = LoadGame(fen);
    return See(pos, TextToMove(*pos, move));
}

}  // namespace

TEST(See, ExchangeSequences) {
    EXPECT_EQ(SeeOf("4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5"), 300);
    EXPECT_EQ(SeeOf("4k3/8/2p5/3p4/8/4N3/8/4K3 w - - 0 1", "e3d5"), -200);
    EXPECT_EQ(SeeOf("7k/8/2n5/4p3/8/8/4R3/4R1K1 w - - 0 1", "e2e5"), -100);  // gains 100, 500, 300
    EXPECT_EQ(SeeOf("4k3/r7/1P6/8/8/8/8/4K3 w - - 0 1", "b6a7"), 500);       // a7 is no en-passant square
    EXPECT_EQ(SeeOf("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6"), 100);
    EXPECT_EQ(SeeOf("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b7b8q"), 100 - 975);
    // A king recaptures only on an undefended square; a king capture into a defended square loses it.
    EXPECT_EQ(SeeOf("8/8/8/8/8/3k4/3p4/3R3K w - - 0 1", "d1d2"), 100 - 500);
    EXPECT_EQ(SeeOf("8/8/8/8/8/3k4/3p4/3RK3 w - - 0 1", "d1d2"), 100);
    EXPECT_EQ(SeeOf("8/8/8/8/8/2k5/3p4/3RK3 w - - 0 1", "e1d2"), 100 - 10000);
    // X-rays through a battery: gains 100 100 300 325 300 500 500 975 500.
    EXPECT_EQ(SeeOf("3r3k/3r4/2n1n3/8/3p4/2PR4/1B1Q4/3R3K w - - 0 1", "c3d4"), 0);
    // The rook would win the bishop but lose itself to the queen, which the king cannot take back.
    EXPECT_EQ(SeeOf("rnbqrbn1/pp3ppp/3p4/2p2k2/4p3/3B1K2/PPP2PPP/RNB1Q1NR w - - 0 1", "d3e4"), 100);

    Position* pos = LoadGame("4k2R/8/8/8/8/8/8/4K3 b - - 0 1");
    FlipPosition(*pos);  // White to move with the black king en prise
    const uint64_t nodes = nodeCount;
    EXPECT_EQ(See(pos, TextToMove(*pos, "h8e8")), 10000);
    EXPECT_EQ(nodeCount, nodes);
}

TEST(See, NegativeTest) {
    Position* pos = LoadGame("4k3/8/2p5/3p4/8/4P3/3Q4/4K3 w - - 0 1");
    EXPECT_TRUE(SeeIsNegative(pos, TextToMove(*pos, "d2d5")));
    EXPECT_FALSE(SeeIsNegative(pos, TextToMove(*pos, "e1f2")));
    pos = LoadGame("4k3/8/2p5/3q4/4P3/8/8/4K3 w - - 0 1");
    const uint64_t nodes = nodeCount;
    EXPECT_FALSE(SeeIsNegative(pos, TextToMove(*pos, "e4d5")));
    EXPECT_EQ(nodeCount, nodes);  // decided without an exchange
    pos = LoadGame("4k3/8/8/3p4/8/4P3/8/4K3 w - - 0 1");
    EXPECT_TRUE(SeeIsNegative(pos, TextToMove(*pos, "e3e4")));
}
