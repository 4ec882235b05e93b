// Counts follow the engine's rule: a node without legal moves met before the last ply counts 1 when
// stalemated and 0 when mated; where that differs from the usual rule the comment says so. The expected
// figures were computed with an independent move generator and the rule applied on top.
#include "board/perft.h"

#include "board/makemove.h"
#include "support.h"

namespace {

// Perft(mainContext, 1) by definition: the legal moves, or 1 for a stalemate and 0 for a mate.
uint64_t DefinedLeafCount(const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    uint64_t n = GenerateLegal(pos, list) - list;
    return n ? n : Checkers(pos) ? 0 : 1;
}

// Perft(2) by definition, on the generators and MakeMove, which perft's last two plies do without. The
// records after pos are overwritten.
uint64_t DefinedTwoPlyCount(Position* pos) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(*pos, list);
    uint64_t sum = 0;
    for (MoveEntry* e = list; e < end; ++e) sum += DefinedLeafCount(*MakeMove(pos, e->move));
    return sum ? sum : Checkers(*pos) ? 0 : 1;
}

TEST(Perft, ReferenceCounts) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    int stalemateCases = 0;
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        Position* start = LoadGame(c.fen);
        EXPECT_EQ(Perft(mainContext, 1), DefinedLeafCount(*start)) << c.fen;
        EXPECT_EQ(Perft(mainContext, 2), c.perft2) << c.fen;
        EXPECT_EQ(Perft(mainContext, 3), c.perft3) << c.fen;
        EXPECT_EQ(mainContext.current, start);
        stalemateCases += c.perft3 != c.standard3;
    }
    EXPECT_GT(stalemateCases, 0);
}

// Positions that once exposed, or are prone to expose, move generation and move making faults.
TEST(Perft, TrickyPositions) {
    const struct {
        const char* fen;
        uint32_t depth;
        uint64_t count;
    } cases[] = {
        {"r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1", 4, 1274206},  // castling
        {"4k2r/8/2p1rp2/7p/7K/b7/P2Bb3/R7 b k - 3 32", 4, 319472},  // castling
        {"rnbq1br1/4k1pp/2p4B/pp1pP3/PP2n3/1B4P1/2P4P/RN1QK1NR w KQ d6 0 13", 4, 1618811},  // castling refused
        {"r3k2r/Ppp2p1Q/1P1n4/B7/q1Pb4/8/2bP2PP/2n4K w kq - 1 11", 4, 1080479},  // castling refused
        {"6k1/5pP1/4qB2/r1pr3p/Pp5P/2b3Pb/2P2P2/4K3 w - - 1 31", 4, 0},  // double check
        {"rnk2b1r/1p1bn1p1/3P4/3N1pPp/2P1P3/1p6/P3BK1P/R1B3NR w - h6 0 18", 4, 1117447},  // en passant
        {"8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1", 4, 13931},  // en passant
        {"1B6/3Pk1pp/5r1N/2p2P1P/BQ6/5N2/P1b5/n4RK1 w - c6 0 18", 4, 1133262},  // en-passant square, no capturer
        {"1k6/6p1/6p1/5p2/p1N1pPPn/8/8/2R4K b - g3 0 47", 4, 48336},  // en-passant square without a capturer
        {"8/8/8/8/1k1Pp2R/8/8/4K3 b - d3 0 1", 4, 14601},  // en passant forbidden by a pin
        {"8/8/8/8/k2Pp2Q/8/8/3K4 b - d3 0 1", 4, 20471},  // en passant forbidden by a pin
        {"rnbQkbnr/p7/4pQpp/1p1p1p2/2P2P2/8/PP2P1PP/RNB1KBNR b KQ - 0 12", 4, 0},  // mate
        {"3rk3/4P3/1b2P2r/4R1B1/7p/7p/7K/1nr5 w - - 0 34", 4, 442036},  // capturing promotions
        {"4k3/8/8/8/8/8/6p1/R3K2R b KQ - 0 1", 4, 47984},  // capturing promotions
        {"1NQ5/1p2k3/R6r/q1P3b1/1rnP4/P5p1/8/R4KQq w - - 0 30", 4, 1856487},  // many queens
        {"6N1/1k2B2N/5R2/8/1P5p/5P1p/2Q4P/3RK3 b - - 2 39", 4, 24361},  // stalemates in the tree (standard 24359)
        {"5Q2/1K6/3Q4/8/6R1/8/8/7k b - - 8 24", 4, 1},  // stalemates inside the tree (standard 0)
        {"4k3/R3P3/6P1/5N2/2P4B/5P2/7K/8 b - - 2 37", 4, 1},  // stalemate (standard 0)
        {"8/7k/5N2/8/4R3/2P4P/7P/5K2 b - - 13 44", 5, 50619},  // stalemates inside the tree (standard 50497)
        {"k7/8/8/8/8/8/8/1QQQQK2 w - - 0 1", 5, 529142},  // queens against a bare king (standard 528908)
        {"8/8/8/7k/8/QQQ5/QQQ5/QQQK4 w - - 0 1", 5, 536906},  // nine queens (standard 536123)
        {"7k/PPPPPP2/8/8/8/8/pppppp2/K7 w - - 0 1", 5, 385663},  // promotion races, in check
        {"R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1", 4, 85466},  // 218 moves (standard 85043)
        {"8/3P4/8/8/8/8/5q1p/5K1k w - - 0 1", 3, 1},  // the only move, Kxf2, stalemates Black
        {"KB3r2/7r/8/8/8/8/6k1/8 w - - 1 15", 4, 1},  // stalemated: one leaf at any depth
        {"rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3", 2, 0},  // checkmated
    };
    for (const auto& c : cases) {
        Position* start = LoadGame(c.fen);
        EXPECT_EQ(Perft(mainContext, c.depth), c.count) << c.fen << " depth " << c.depth;
        EXPECT_EQ(mainContext.current, start) << c.fen;
    }
    EXPECT_EQ(Perft(mainContext, 0), 1u);
    EXPECT_EQ(Perft(mainContext, STACK_SIZE), 0u);  // would run past the end of the stack

    // Castling rights whose king or rook is not at home must not make pieces appear, and an en-passant
    // square that no pawn can use must not add moves.
    const char* pairs[][2] = {
        {"4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1", "4k3/8/8/8/8/8/8/4K3 w - - 0 1"},
        {"1nbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBN1 w KQkq - 0 1", "1nbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBN1 w - - 0 1"},
        {"r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R2K3R w kq - 0 1"},
        {"4k3/8/8/3p4/8/8/8/4K3 w - d6 0 1", "4k3/8/8/3p4/8/8/8/4K3 w - - 0 1"},
        {"4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1", "4k3/8/8/8/4P3/8/8/4K3 b - - 0 1"},
    };
    for (const auto& p : pairs) {
        LoadGame(p[1]);
        const uint64_t want = Perft(mainContext, 4);
        LoadGame(p[0]);
        EXPECT_EQ(Perft(mainContext, 4), want) << p[0];
    }
}

// The last two plies are counted from check and pin masks, with the records after each move built apart
// from MakeMove; each position here and after each of its moves is held against the definition. The
// positions stress pins (of pawns and sliders), checks, en passant (discovering checks, answering them),
// castling through and into attacks, and captures and promotions on the rooks' corners, which take
// castling rights away.
TEST(Perft, TwoPliesAgreeWithGeneratorsAndMakeMove) {
    for (const char* fen : {
             "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
             "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
             "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
             "rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6",
             "r3k2r/1P6/8/8/8/8/6p1/R3K2R w KQkq - 0 1",
             "r3k2r/8/8/8/8/8/5r2/R3K2R w KQkq - 0 1",
             "1r1rk2r/8/8/8/8/8/8/R3K2R w KQk - 0 1",
             "8/8/8/8/k2Pp2Q/8/8/3K4 b - d3 0 1",
             "8/8/8/2k5/3Pp3/8/8/4K2B b - d3 0 1",
             "4k3/8/8/8/1b6/8/3P1P2/r3K2R w K - 0 1",
             "4k3/4r3/8/1B6/2n5/8/3P4/R3K2R w KQ - 0 1",
             "4k3/4r3/8/8/8/6b1/4PP2/4K3 w - - 0 1",
             "4k3/4r3/8/8/7b/8/4QB2/4K3 w - - 0 1",
             "4k3/4q3/8/8/1b6/8/3NR3/4K3 w - - 0 1",
             "8/8/8/3kK3/8/8/3R4/8 w - - 0 1",  // kings side by side, as a FEN may set them
         }) {
        Position* start = LoadGame(fen);
        EXPECT_EQ(Perft(mainContext, 2), DefinedTwoPlyCount(start)) << fen;
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateLegal(*start, list);
        for (MoveEntry* e = list; e < end; ++e) {
            mainContext.current = MakeMove(start, e->move);
            EXPECT_EQ(Perft(mainContext, 2), DefinedTwoPlyCount(mainContext.current))
                << fen << " after " << MoveText(*start, e->move);
            mainContext.current = start;
        }
    }
}

// The last ply is counted without generating moves (the reference counts above check it at every leaf's
// parent); unusual placements that the direct count hands back to the generators.
TEST(Perft, LastPlyCountOfUnusualPlacements) {
    for (const char* fen : {"4k3/8/8/8/8/8/8/R2K3R w KQ - 0 1", "4k3/8/8/8/8/8/8/RK5R w KQ - 0 1",
                            "4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1"}) {
        // Loaded before either count: the order in which a call's arguments are evaluated differs between
        // compilers and targets.
        const Position& pos = *LoadGame(fen);
        EXPECT_EQ(Perft(mainContext, 1), DefinedLeafCount(pos)) << fen;
    }
}

}  // namespace
