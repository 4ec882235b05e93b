#include "board/perft.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/movegen_cases.h"
#include "frontend/cmdline.h"
#include "testdata.h"

namespace {

// Perft(1) by definition: the legal moves, or 1 for a stalemate and 0 for a mate.
uint64_t DefinedLeafCount(const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    uint64_t n = GenerateLegal(pos, list) - list;
    return n ? n : Checkers(pos) ? 0 : 1;
}

TEST(Perft, ReferenceCounts) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    int stalemateCases = 0;
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        Position& pos = LoadFen(c.fen);
        Position* start = mainContext.current;
        EXPECT_EQ(Perft(mainContext, 1), c.legalCount ? uint64_t(c.legalCount) : Checkers(pos) ? 0 : 1) << c.fen;
        EXPECT_EQ(Perft(mainContext, 2), c.perft2) << c.fen;
        EXPECT_EQ(Perft(mainContext, 3), c.perft3) << c.fen;
        EXPECT_EQ(mainContext.current, start);
        stalemateCases += c.perft3 != c.standard3;
    }
    EXPECT_GT(stalemateCases, 0);
}

// The last ply is counted without generating moves; random games check it against the generators.
TEST(Perft, LastPlyCountMatchesGeneration) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    std::mt19937 rng(12345);
    int positions = 0;
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        LoadFen(c.fen);
        for (int ply = 0; ply < 24; ++ply) {
            const Position& pos = *mainContext.current;
            ASSERT_EQ(Perft(mainContext, 1), DefinedLeafCount(pos)) << c.fen << " after " << ply << " plies";
            ++positions;
            MoveEntry list[MOVELIST_SIZE];
            MoveEntry* end = GenerateLegal(pos, list);
            if (end == list) break;
            mainContext.current = MakeMove(mainContext.current, list[rng() % (end - list)].move);
        }
    }
    EXPECT_GT(positions, 5000);

    // Unusual placements that the direct count hands back to the generators.
    for (const char* fen : {"4k3/8/8/8/8/8/8/R2K3R w KQ - 0 1", "4k3/8/8/8/8/8/8/RK5R w KQ - 0 1",
                            "4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1"}) {
        LoadFen(fen);
        EXPECT_EQ(Perft(mainContext, 1), DefinedLeafCount(*mainContext.current)) << fen;
    }
}

TEST(Perft, EdgeCases) {
    LoadFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(Perft(mainContext, 0), 1u);
    EXPECT_EQ(Perft(mainContext, STACK_SIZE), 0u);  // would run past the end of the stack

    // Checkmated: one leaf at depth 0, none deeper.
    LoadFen("rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3");
    EXPECT_EQ(Perft(mainContext, 0), 1u);
    EXPECT_EQ(Perft(mainContext, 2), 0u);

    // Stalemated: one leaf at any depth.
    LoadFen("KB3r2/7r/8/8/8/8/6k1/8 w - - 1 15");
    EXPECT_EQ(Perft(mainContext, 4), 1u);

    // The only legal move, Kxf2, stalemates Black: the stalemate before the last ply counts 1.
    LoadFen("8/3P4/8/8/8/8/5q1p/5K1k w - - 0 1");
    EXPECT_EQ(Perft(mainContext, 3), 1u);
}

TEST(Perft, BenchmarkPositionsAtReducedDepth) {
    struct Case {
        const char* fen;
        uint32_t depth;
        uint64_t count;
    } cases[] = {
        {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 3, 97862},
        {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 5, 674624},
        {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 4, 422333},
        {"rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6", 3, 53392},
        {"r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10", 3, 89890},
    };
    for (const Case& c : cases) {
        LoadFen(c.fen);
        EXPECT_EQ(Perft(mainContext, c.depth), c.count) << c.fen;
    }
}

int RunCommand(std::vector<std::string> args, std::string& output) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    testing::internal::CaptureStdout();
    int status = PerftCommand(int(argv.size()), argv.data());
    output = testing::internal::GetCapturedStdout();
    return status;
}

TEST(Perft, CommandLine) {
    std::string out;
    EXPECT_EQ(RunCommand({"ferrolune", "perft", "3", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"}, out), 0);
    EXPECT_EQ(out, "8902\n");
    // An unquoted FEN arrives split into fields.
    EXPECT_EQ(RunCommand({"ferrolune", "perft", "2", "8/3P4/8/8/8/8/5q1p/5K1k", "w", "-", "-", "0", "1"}, out), 0);
    EXPECT_EQ(out, "1\n");

    for (std::vector<std::string> bad : std::vector<std::vector<std::string>>{
             {"ferrolune", "perft", "3", "not a fen"},
             {"ferrolune", "perft", "3x", "8/8/8/8/8/8/8/K6k w - - 0 1"},
             {"ferrolune", "perft", "3"}}) {
        EXPECT_EQ(RunCommand(bad, out), 1) << bad.back();
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.find('\n'), out.size() - 1) << out;  // one line
    }
}

}  // namespace
