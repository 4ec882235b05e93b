#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/pawns.h"
#include "frontend/config.h"
#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"

namespace {

// Restores the process-wide settings a test changes, and gives every context it may use its tables.
class SearchDriver : public testing::Test {
protected:
    EngineSettings savedSettings = settings;
    uint32_t savedMode = ProtocolMode;

    static void SetUpTestSuite() {
        testing::internal::CaptureStdout();
        if (transpositionTable.entries == 0) AllocateHashTable(HashEntriesForMB(16), 16);
        AllocPawnHash(mainContext, 1 << 12, 0, false, 0);
        for (int i = 0; i < 4; ++i) AllocPawnHash(threadContexts[i], 1 << 12, 0, false, i + 1);
        testing::internal::GetCapturedStdout();
    }

    void SetUp() override {
        settings.useSyzygy = 0;
        settings.postThinking = 1;
        settings.threadCount = 1;
        settings.maxDepth = 63;
        ProtocolMode = MODE_CONSOLE;
        ponderEnabled = 0;
    }
    void TearDown() override {
        settings = savedSettings;
        ProtocolMode = savedMode;
        ponderEnabled = 0;
    }

    static void SetPosition(const char* fen) {
        mainContext.current = NewGame();
        ASSERT_EQ(ParseFen(mainContext, fen, nullptr), 1) << fen;
    }

    // An untimed search of the game position with the output captured.
    static uint64_t Search(std::string& out) {
        timeControl.startTime = ClockMs();
        testing::internal::CaptureStdout();
        uint64_t result = SearchMain(mainContext);
        out = testing::internal::GetCapturedStdout();
        return result;
    }

    static bool IsLegalRootMove(Move m) {
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateLegal(*mainContext.current, list);
        for (MoveEntry* e = list; e < end; ++e)
            if (e->move == m) return true;
        return false;
    }

    static int CountLines(const std::string& s) { return int(std::count(s.begin(), s.end(), '\n')); }
};

TEST_F(SearchDriver, SingleLegalMoveIsAnsweredAtDepthZero) {
    // The white king's only move is h1h2: the rook covers the g-file.
    SetPosition("6r1/8/8/8/8/8/8/k6K w - - 0 1");
    std::string out;
    uint64_t result = Search(out);
    char text[8];
    MoveToText(text, ResultMove(result), 0);
    EXPECT_STREQ(text, "h1h2");
    EXPECT_EQ(CountLines(out), 1);
    EXPECT_EQ(out.rfind(" 0      0 ", 0), 0u) << out;
    EXPECT_NE(out.find(" h1h2 \n"), std::string::npos) << out;
    EXPECT_EQ(nodeCount.load(), 0u);

    ProtocolMode = MODE_UCI;
    Search(out);
    EXPECT_EQ(out.rfind("info depth  0 seldepth  0 score cp      0 nodes          0 time ", 0), 0u) << out;
    EXPECT_NE(out.find(" nps 0 pv h1h2 \n"), std::string::npos) << out;
}

TEST_F(SearchDriver, MaxDepthTwoStopsAfterTwoIterations) {
    SetPosition("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    settings.maxDepth = 2;
    std::string out;
    uint64_t result = Search(out);
    EXPECT_TRUE(IsLegalRootMove(ResultMove(result)));
    EXPECT_EQ(out.rfind(" 1 ", 0), 0u) << out;
    EXPECT_NE(out.find("\n 2 "), std::string::npos) << out;
    EXPECT_EQ(out.find("\n 3 "), std::string::npos) << out;
    EXPECT_LE(CountLines(out), 4);
    // Each line is depth, score, centiseconds, nodes and a line starting with a white move.
    int depth, score, cs;
    unsigned long long nodes;
    char move[8];
    ASSERT_EQ(std::sscanf(out.c_str(), "%d %d %d %llu %7s", &depth, &score, &cs, &nodes, move), 5);
    EXPECT_GT(nodes, 0u);
    EXPECT_TRUE(move[1] == '2' || move[1] == '1') << move;
}

TEST_F(SearchDriver, AspirationWindowRules) {
    // A score of exactly 0 (no tablebase score) always opens the full window for the next depth.
    AspirationStep s = NextAspiration(0, 0, -50, 50);
    EXPECT_EQ(s.alpha, -30000);
    EXPECT_EQ(s.beta, 30000);
    EXPECT_TRUE(s.nextDepth);
    // Inside the window: the next depth searches 50 around it.
    s = NextAspiration(35, 0, -30000, 30000);
    EXPECT_EQ(s.alpha, -15);
    EXPECT_EQ(s.beta, 85);
    EXPECT_TRUE(s.nextDepth);
    // On or outside an edge: the same depth again with the full window.
    s = NextAspiration(-15, 0, -15, 85);
    EXPECT_EQ(s.alpha, -30000);
    EXPECT_FALSE(s.nextDepth);
    s = NextAspiration(90, 0, -15, 85);
    EXPECT_EQ(s.beta, 30000);
    EXPECT_FALSE(s.nextDepth);
    // With a tablebase root score, reaching it opens the window; a score of 0 is then an ordinary score.
    s = NextAspiration(15000, 15000, -30000, 30000);
    EXPECT_TRUE(s.nextDepth);
    EXPECT_EQ(s.alpha, -30000);
    s = NextAspiration(0, 2, -30000, 30000);
    EXPECT_EQ(s.alpha, -50);
    EXPECT_EQ(s.beta, 50);
    // The full window cannot fail; its edge score moves on instead of repeating for ever.
    s = NextAspiration(-30000, 0, -30000, 30000);
    EXPECT_TRUE(s.nextDepth);
}

TEST_F(SearchDriver, MateReportsInBothDialects) {
    SetPosition("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    mainContext.rootDepth = 5;
    winnerSelDepth = 9;
    nodeCount = 1234;
    PvLine line{};
    line.count = 2;
    line.moves[0] = TextToMove(*mainContext.current, "e2e4");
    line.moves[1] = MakeMoveCode(PAWN, 12, 28);  // e7e5 in Black's own view
    auto print = [&](int16_t score) {
        timeControl.startTime = ClockMs();
        testing::internal::CaptureStdout();
        PrintIteration(mainContext, MakeSearchResult(line.moves[0], score), line);
        return testing::internal::GetCapturedStdout();
    };

    ProtocolMode = MODE_UCI;
    std::string out = print(19997);
    EXPECT_EQ(out.rfind("info depth  5 score mate  2 nodes       1234 time ", 0), 0u) << out;
    EXPECT_NE(out.find(" pv e2e4 e7e5 \n"), std::string::npos) << out;
    out = print(-19998);
    EXPECT_EQ(out.rfind("info depth  5 score mate -1 nodes       1234 time ", 0), 0u) << out;
    // A tablebase win is a centipawn score; a search shorter than half a second reports nps 0.
    out = print(15000);
    EXPECT_EQ(out.rfind("info depth  5 seldepth  9 score cp  15000 nodes       1234 time ", 0), 0u) << out;
    EXPECT_NE(out.find(" nps 0 pv e2e4 e7e5 \n"), std::string::npos) << out;

    ProtocolMode = MODE_CONSOLE;
    out = print(19997);
    EXPECT_EQ(out.rfind(" 5  19997 ", 0), 0u) << out;
    EXPECT_NE(out.find("       1234 e2e4 e7e5 \nMate in 2 \n"), std::string::npos) << out;
    out = print(-19998);
    EXPECT_NE(out.find("\nMated to 1 \n"), std::string::npos) << out;
    // The mate line does not depend on the progress lines being on.
    settings.postThinking = 0;
    EXPECT_EQ(print(19999), "Mate in 1 \n");
    EXPECT_EQ(print(100), "");
}

TEST_F(SearchDriver, BestMoveLines) {
    SetPosition("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    Move e2e4 = TextToMove(*mainContext.current, "e2e4");
    mainContext.current = MakeMove(mainContext.current, e2e4);
    Move e7e5 = TextToMove(*mainContext.current, "e7e5");
    uint64_t result = MakeSearchResult(e2e4, -25);
    auto print = [&](uint64_t r, Move ponder) {
        testing::internal::CaptureStdout();
        PrintBestMove(r, ponder);
        return testing::internal::GetCapturedStdout();
    };

    ProtocolMode = MODE_UCI;
    EXPECT_EQ(print(result, e7e5), "bestmove e2e4\n");
    ponderEnabled = 1;
    EXPECT_EQ(print(result, e7e5), "bestmove e2e4 ponder e7e5\n");
    EXPECT_EQ(print(result, 0), "bestmove e2e4\n");
    EXPECT_EQ(print(0, 0), "bestmove 0000\n");

    ProtocolMode = MODE_CONSOLE;
    nodeCount = 7000;
    timeControl.elapsed = 2000;
    EXPECT_EQ(print(result, e7e5), "Bestmove: e2e4   Score: -25   Pondermove: e7e5   Knps: 3\n");
    timeControl.elapsed = 0;
    EXPECT_EQ(print(result, 0), "Bestmove: e2e4   Score: -25    Knps: 0\n");
}

TEST_F(SearchDriver, SeveralThreadsGiveALegalMove) {
    const char* positions[] = {
        "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
        "5k2/8/6r1/5K2/8/8/7p/8 b - - 0 75",
        "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - - 0 1",
    };
    settings.postThinking = 0;
    settings.maxDepth = 5;
    for (int threads : {2, 3, 4}) {
        settings.threadCount = uint8_t(threads);
        for (const char* fen : positions) {
            SetPosition(fen);
            std::string out;
            uint64_t result = Search(out);
            EXPECT_TRUE(IsLegalRootMove(ResultMove(result))) << fen << " threads " << threads;
            EXPECT_GE(winnerThread, 1);
            EXPECT_LE(winnerThread, threads);
        }
    }
}

TEST_F(SearchDriver, AnnouncesTheMateInOne) {
    // The back-rank mate Ra8 is found and announced, with one thread and with a second one searching a
    // ply deeper.
    SetPosition("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    settings.maxDepth = 4;
    settings.postThinking = 0;
    for (int threads : {1, 2}) {
        settings.threadCount = uint8_t(threads);
        std::string out;
        uint64_t result = Search(out);
        char text[8];
        MoveToText(text, ResultMove(result), 0);
        EXPECT_STREQ(text, "a1a8");
        EXPECT_EQ(ResultScore(result), 19999) << out;
        EXPECT_NE(out.find("Mate in 1 \n"), std::string::npos) << out;
    }
}

TEST_F(SearchDriver, TimedSearchStopsNearItsLimit) {
    // Tolerant by design: a one-tenth-second limit must end a search that would otherwise run long.
    SetPosition("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    settings.threadCount = 2;
    settings.postThinking = 0;
    TimeControl saved = timeControl;
    timeControl.moveTimeLimit = 10;
    timeControl.startTime = ClockMs();
    testing::internal::CaptureStdout();
    AllocateTime(timeControl, 30);
    uint64_t result = SearchMain(mainContext);
    testing::internal::GetCapturedStdout();
    int32_t elapsed = timeControl.elapsed;
    timeControl = saved;
    EXPECT_TRUE(IsLegalRootMove(ResultMove(result)));
    EXPECT_GE(elapsed, 100);
    EXPECT_LT(elapsed, 3000);
}

}  // namespace
