// Perft counts of positions that once exposed, or are prone to expose, move generation and move making
// faults. Counts follow the engine's rule: a node without legal moves met before the last ply counts 1
// when stalemated and 0 when mated; where that differs from the usual rule the comment says so. The
// expected figures were computed with an independent move generator and the rule applied on top.
#include "board/perft.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "board/board_helpers.h"

namespace {

struct PerftCase {
    const char* fen;
    uint32_t depth;
    uint64_t count;
};

constexpr PerftCase CASES[] = {
    {"r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1", 4, 1274206},  // castling
    {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 4, 314346},  // castling
    {"rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6", 4, 1761505},  // castling
    {"4k2r/8/2p1rp2/7p/7K/b7/P2Bb3/R7 b k - 3 32", 4, 319472},  // castling
    {"rnbq1br1/4k1pp/2p4B/pp1pP3/PP2n3/1B4P1/2P4P/RN1QK1NR w KQ d6 0 13", 4, 1618811},  // castling refused
    {"rnb1kb1r/p2p1ppp/2pn4/4P3/6P1/4B3/PqPQN2P/RN3RK1 b kq - 3 11", 4, 2408412},  // castling refused
    {"r3k2r/Ppp2p1Q/1P1n4/B7/q1Pb4/8/2bP2PP/2n4K w kq - 1 11", 4, 1080479},  // castling refused
    {"r1n1kq2/p2p1p2/b3pbp1/2pP3Q/P4P2/2pN3p/1PP1K1PP/1R4R1 w q c6 0 10", 4, 1306227},  // castling refused
    {"6k1/5pP1/4qB2/r1pr3p/Pp5P/2b3Pb/2P2P2/4K3 w - - 1 31", 4, 0},  // double check
    {"rnb2kR1/1p1p3p/1qp5/p5P1/2BN4/N4Q2/PPPK2P1/R6n b - - 0 17", 4, 64072},  // double check
    {"Q5r1/2p1k1bN/2N5/R2p1p2/5Q1p/BP3P1p/3KB2P/7R b - - 4 27", 4, 193226},  // double check
    {"B3k2r/1p3pp1/1bPr2bN/3p3p/1BP5/P2q3n/2QN2PP/6K1 w k - 4 16", 4, 69850},  // double check
    {"rnk2b1r/1p1bn1p1/3P4/3N1pPp/2P1P3/1p6/P3BK1P/R1B3NR w - h6 0 18", 4, 1117447},  // en passant
    {"8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1", 4, 13931},  // en passant
    {"rnbqkb2/p1ppp1p1/8/1P6/P1BPpPn1/8/8/RNB1K1Nr b Qq d3 0 12", 4, 593531},  // en passant
    {"r1b1k2r/p2p3p/n2P3B/Ppp2pp1/P2Q4/1BN4R/2P5/RN2Kn2 w Qkq b6 0 16", 4, 655959},  // en passant
    {"1B6/3Pk1pp/5r1N/2p2P1P/BQ6/5N2/P1b5/n4RK1 w - c6 0 18", 4, 1133262},  // en-passant square without a capturer
    {"r3k2r/PP5p/3P3Q/2P2p1b/7n/P7/6PP/R5K1 w - f6 0 17", 4, 258436},  // en-passant square without a capturer
    {"7r/8/4nk2/1pp4p/5PPP/Pp1P1K2/2P1r3/2Q5 w - h6 0 38", 4, 323996},  // en-passant square without a capturer
    {"1k6/6p1/6p1/5p2/p1N1pPPn/8/8/2R4K b - g3 0 47", 4, 48336},  // en-passant square without a capturer
    {"8/8/8/8/1k1Pp2R/8/8/4K3 b - d3 0 1", 4, 14601},  // en passant forbidden by a pin
    {"8/1K6/8/1Pp1p3/5P1k/6R1/8/1r6 w - c6 0 12", 4, 113800},  // en passant forbidden by a pin
    {"8/8/8/8/k2Pp2Q/8/8/3K4 b - d3 0 1", 4, 20471},  // en passant forbidden by a pin
    {"4k3/8/8/r2pP2K/8/8/8/8 w - d6 0 1", 4, 10074},  // en passant forbidden by a pin
    {"rnbQkbnr/p7/4pQpp/1p1p1p2/2P2P2/8/PP2P1PP/RNB1KBNR b KQ - 0 12", 4, 0},  // mate
    {"R4k2/1p3p2/5P2/1P1p3r/3P4/5K2/2R5/8 b - - 5 37", 4, 0},  // mate
    {"3k4/8/pr1P3R/8/8/1Npb4/8/2K3r1 w - - 4 44", 4, 0},  // mate
    {"5r2/K7/2p3R1/7R/8/8/8/7k b - - 20 30", 4, 0},  // mate
    {"3rk3/4P3/1b2P2r/4R1B1/7p/7p/7K/1nr5 w - - 0 34", 4, 442036},  // capturing promotions
    {"1N2k2r/1ppp1ppp/5nbN/nP6/1BP1P3/qB3N2/Pp1P1KPP/R2Q4 b k - 0 4", 4, 2027362},  // capturing promotions
    {"4k3/8/8/8/8/8/6p1/R3K2R b KQ - 0 1", 4, 47984},  // capturing promotions
    {"r3k2r/p1pnqpb1/bn1pp1p1/1B1PN2Q/1p2P2P/2N5/PPPB1Pp1/2R1K2R b Kkq - 3 4", 4, 3722727},  // capturing promotions
    {"1NQ5/1p2k3/R6r/q1P3b1/1rnP4/P5p1/8/R4KQq w - - 0 30", 4, 1856487},  // many queens
    {"6N1/1k2B2N/5R2/8/1P5p/5P1p/2Q4P/3RK3 b - - 2 39", 4, 24361},  // stalemates inside the tree (standard 24359)
    {"5Q2/1K6/3Q4/8/6R1/8/8/7k b - - 8 24", 4, 1},  // stalemates inside the tree (standard 0)
    {"8/7k/5N2/8/4R3/2P4P/7P/5K2 b - - 13 44", 4, 11679},  // stalemates inside the tree (standard 11676)
    {"2q5/K7/6q1/8/4k3/8/8/8 w - - 12 23", 4, 1},  // stalemates inside the tree (standard 0)
    {"4k3/R3P3/6P1/5N2/2P4B/5P2/7K/8 b - - 2 37", 4, 1},  // stalemate (standard 0)
    {"7k/8/5N2/8/6R1/2P4P/7P/5K2 b - - 15 45", 4, 1},  // stalemate (standard 0)
    {"3K4/8/2q5/8/7k/8/4q3/8 w - - 2 15", 4, 1},  // stalemate (standard 0)
    {"8/7k/5N2/8/4R3/2P4P/7P/5K2 b - - 13 44", 5, 50619},  // stalemates inside the tree (standard 50497)
    {"6N1/1k2B2N/5R2/8/1P5p/5P1p/2Q4P/3RK3 b - - 2 39", 5, 75030},  // stalemates inside the tree (standard 74735)
    {"8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1", 5, 206379},  // en passant
    {"k7/8/8/8/8/8/8/1QQQQK2 w - - 0 1", 5, 529142},  // queens against a bare king (standard 528908)
    {"8/8/8/7k/8/QQQ5/QQQ5/QQQK4 w - - 0 1", 5, 536906},  // nine queens (standard 536123)
    {"qqqk4/qqq5/qqq5/8/7K/8/8/8 b - - 0 1", 5, 536906},  // the same, Black to move
    {"7k/PPPPPP2/8/8/8/8/pppppp2/K7 w - - 0 1", 5, 385663},  // promotion races, in check
    {"R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1", 4, 85466},  // 218 moves (standard 85043)
};

TEST(PerftRegression, TrickyPositions) {
    for (const PerftCase& c : CASES) {
        Position* start = LoadGame(c.fen);
        EXPECT_EQ(Perft(c.depth), c.count) << c.fen << " depth " << c.depth;
        EXPECT_EQ(mainContext.current, start) << c.fen;
    }
}

// Castling rights whose king or rook is not at home must not make pieces appear, and an en-passant square
// that no pawn can use must not add moves: each position counts what the board without those fields counts.
TEST(PerftRegression, ImpossibleRightsChangeNothing) {
    const struct {
        const char* withRights;
        const char* without;
    } pairs[] = {
        {"4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1", "4k3/8/8/8/8/8/8/4K3 w - - 0 1"},
        {"4k3/8/8/8/8/8/8/R3K3 w KQkq - 0 1", "4k3/8/8/8/8/8/8/R3K3 w Q - 0 1"},
        {"r3k3/8/8/8/8/8/8/4K2R b KQkq - 0 1", "r3k3/8/8/8/8/8/8/4K2R b Kq - 0 1"},
        {"1nbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBN1 w KQkq - 0 1",
         "1nbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBN1 w - - 0 1"},
        {"r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R2K3R w kq - 0 1"},
        {"4k3/8/8/3p4/8/8/8/4K3 w - d6 0 1", "4k3/8/8/3p4/8/8/8/4K3 w - - 0 1"},
        {"4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1", "4k3/8/8/8/4P3/8/8/4K3 b - - 0 1"},
    };
    for (const auto& p : pairs) {
        LoadGame(p.without);
        const uint64_t want = Perft(4);
        LoadGame(p.withRights);
        EXPECT_EQ(Perft(4), want) << p.withRights;
    }
}

}  // namespace
