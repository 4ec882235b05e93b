#include <gtest/gtest.h>

#include <algorithm>
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

const char* const START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const char* const KIWIPETE = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";

// Gives the contexts their tables and restores the process-wide settings each test changes.
class SearchDriver : public testing::Test {
protected:
    EngineSettings savedSettings = settings;
    uint32_t savedMode = ProtocolMode;

    static void SetUpTestSuite() {
        testing::internal::CaptureStdout();
        if (transpositionTable.entries == 0) AllocateHashTable(HashEntriesForMB(16), 16);
        for (int i = 0; i < 4; ++i) AllocPawnHash(threadContexts[i], 1 << 12, 0, false, i + 1);
        testing::internal::GetCapturedStdout();
    }
    void SetUp() override {
        settings.useSyzygy = 0;
        settings.postThinking = 1;
        settings.threadCount = 1;
        settings.maxDepth = 63;
        ProtocolMode = MODE_CONSOLE;
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
    // An untimed search of the game position; its output goes to out.
    static uint64_t Search(std::string& out) {
        timeControl.startTime = ClockMs();
        testing::internal::CaptureStdout();
        uint64_t result = SearchMain(mainContext);
        out = testing::internal::GetCapturedStdout();
        return result;
    }
    static bool IsRootMove(Move m) {
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateLegal(*mainContext.current, list);
        return std::any_of(list, end, [m](const MoveEntry& e) { return e.move == m; });
    }
    static std::string Text(Move m, int side) {
        char text[MOVE_TEXT_SIZE];
        MoveToText(text, m, side);
        return text;
    }
};

TEST_F(SearchDriver, SingleLegalMoveAndDepthLimit) {
    // Only h1h2: the rook holds the g-file. One line at depth 0, nothing searched.
    SetPosition("6r1/8/8/8/8/8/8/k6K w - - 0 1");
    winnerSelDepth = 0;  // the line reports the last iteration's selective depth, and none ran
    std::string out;
    EXPECT_EQ(Text(ResultMove(Search(out)), 0), "h1h2");
    EXPECT_EQ(out.rfind(" 0      0 ", 0), 0u) << out;
    EXPECT_EQ(out.find('\n'), out.size() - 1) << out;
    EXPECT_NE(out.find("          0 h1h2 \n"), std::string::npos) << out;
    ProtocolMode = MODE_UCI;
    Search(out);
    EXPECT_EQ(out.rfind("info depth  0 seldepth  0 score cp      0 nodes          0 time ", 0), 0u) << out;
    EXPECT_NE(out.find(" nps 0 pv h1h2 \n"), std::string::npos) << out;

    // maxDepth 2: lines for depths 1 and 2 only (re-searches repeat a depth).
    ProtocolMode = MODE_CONSOLE;
    SetPosition(START);
    settings.maxDepth = 2;
    EXPECT_TRUE(IsRootMove(ResultMove(Search(out))));
    EXPECT_EQ(out.rfind(" 1 ", 0), 0u) << out;
    EXPECT_NE(out.find("\n 2 "), std::string::npos) << out;
    EXPECT_EQ(out.find("\n 3 "), std::string::npos) << out;
}

TEST_F(SearchDriver, AspirationWindowRules) {
    // A score of exactly 0 (no tablebase score) opens the full window; otherwise 50 either side.
    AspirationStep s = NextAspiration(0, 0, -50, 50);
    EXPECT_TRUE(s.alpha == -30000 && s.beta == 30000 && s.nextDepth);
    s = NextAspiration(0, 2, -30000, 30000);
    EXPECT_TRUE(s.alpha == -50 && s.beta == 50 && s.nextDepth);
    // On an edge: the same depth again with the full window, which cannot fail and so moves on.
    s = NextAspiration(-15, 0, -15, 85);
    EXPECT_TRUE(s.alpha == -30000 && s.beta == 30000 && !s.nextDepth);
    EXPECT_TRUE(NextAspiration(-30000, 0, -30000, 30000).nextDepth);
    EXPECT_EQ(NextAspiration(15000, 15000, 14950, 15050).alpha, -30000) << "the tablebase root score";
}

TEST_F(SearchDriver, IterationLinesInBothDialects) {
    SetPosition(START);
    mainContext.rootDepth = 5;
    winnerSelDepth = 9;
    nodeCount = 1234;
    PvLine line{};
    line.count = 2;
    line.moves[0] = TextToMove(*mainContext.current, "e2e4");
    line.moves[1] = MakeMoveCode(PAWN, 12, 28);  // e7e5 in Black's view
    auto print = [&](int16_t score) {
        timeControl.startTime = ClockMs();
        testing::internal::CaptureStdout();
        PrintIteration(mainContext, MakeSearchResult(line.moves[0], score), line);
        return testing::internal::GetCapturedStdout();
    };
    ProtocolMode = MODE_UCI;
    EXPECT_EQ(print(-19998).rfind("info depth  5 score mate -1 nodes       1234 time ", 0), 0u);
    // A tablebase win stays in centipawns; under half a second nps is 0.
    std::string out = print(15000);
    EXPECT_EQ(out.rfind("info depth  5 seldepth  9 score cp  15000 nodes       1234 time ", 0), 0u) << out;
    EXPECT_NE(out.find(" nps 0 pv e2e4 e7e5 \n"), std::string::npos) << out;

    ProtocolMode = MODE_CONSOLE;
    out = print(19997);
    EXPECT_EQ(out.rfind(" 5  19997 ", 0), 0u) << out;
    EXPECT_NE(out.find("       1234 e2e4 e7e5 \nMate in 2 \n"), std::string::npos) << out;
    EXPECT_NE(print(-19998).find("\nMated to 1 \n"), std::string::npos);
    // Mate lines print whether progress lines are on or off.
    settings.postThinking = 0;
    EXPECT_EQ(print(19999), "Mate in 1 \n");
    EXPECT_EQ(print(100), "");
}

TEST_F(SearchDriver, BestMoveLines) {
    SetPosition(START);
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
    EXPECT_EQ(print(0, 0), "bestmove 0000\n");
    ProtocolMode = MODE_CONSOLE;
    nodeCount = 7000;
    timeControl.elapsed = 2000;
    EXPECT_EQ(print(result, e7e5), "Bestmove: e2e4   Score: -25   Pondermove: e7e5   Knps: 3\n");
    timeControl.elapsed = 0;
    EXPECT_EQ(print(result, 0), "Bestmove: e2e4   Score: -25    Knps: 0\n");
}

TEST_F(SearchDriver, SeveralThreadsGiveALegalMoveAndFindTheMate) {
    settings.postThinking = 0;
    settings.maxDepth = 5;
    for (int threads : {2, 4}) {
        settings.threadCount = uint8_t(threads);
        for (const char* fen : {KIWIPETE, "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - - 0 1"}) {
            SetPosition(fen);
            std::string out;
            EXPECT_TRUE(IsRootMove(ResultMove(Search(out)))) << fen << " threads " << threads;
            EXPECT_TRUE(winnerThread >= 1 && winnerThread <= threads);
        }
        // The back-rank mate is found and announced whichever thread wins.
        SetPosition("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
        std::string out;
        uint64_t result = Search(out);
        EXPECT_EQ(Text(ResultMove(result), 0), "a1a8");
        EXPECT_EQ(ResultScore(result), 19999);
        EXPECT_NE(out.find("Mate in 1 \n"), std::string::npos) << out;
    }
}

TEST_F(SearchDriver, TimedSearchEndsAfterItsLimit) {
    // Tolerant on purpose: a 0.1 s move-time limit ends a search that would otherwise run long.
    SetPosition(KIWIPETE);
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
    EXPECT_TRUE(IsRootMove(ResultMove(result)));
    EXPECT_GE(elapsed, 100);
    EXPECT_LT(elapsed, 3000);
}

}  // namespace
