#include "board/makemove.h"
#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "settings/settings.h"
#include "support.h"
#include "tablebases/tbprobe.h"

namespace {

// An untimed console search of the game position; its output goes to out.
uint64_t Search(std::string& out) {
    timeControl.startTime = ClockMs();
    uint64_t result = 0;
    out = Printed([&] { result = SearchMain(mainContext); });
    return result;
}

bool IsRootMove(Move m) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(*mainContext.current, list);
    return std::any_of(list, end, [m](const MoveEntry& e) { return e.move == m; });
}

TEST(Iterate, SingleLegalMoveDepthLimitAndThreads) {
    settings.useSyzygy = 0;
    settings.threadCount = 1;
    // Only h1h2: the rook holds the g-file. One line at depth 0, nothing searched.
    LoadGame("6r1/8/8/8/8/8/8/k6K w - - 0 1");
    std::string out;
    EXPECT_EQ(ResultMove(Search(out)), TextToMove(*mainContext.current, "h1h2"));
    EXPECT_EQ(out.rfind(" 0      0 ", 0), 0u) << out;
    EXPECT_EQ(out.find('\n'), out.size() - 1) << out;
    EXPECT_NE(out.find("          0 h1h2 \n"), std::string::npos) << out;

    // maxDepth 2: lines for depths 1 and 2 only (re-searches repeat a depth).
    LoadGame(START);
    settings.maxDepth = 2;
    EXPECT_TRUE(IsRootMove(ResultMove(Search(out))));
    EXPECT_EQ(out.rfind(" 1 ", 0), 0u) << out;
    EXPECT_NE(out.find("\n 2 "), std::string::npos) << out;
    EXPECT_EQ(out.find("\n 3 "), std::string::npos) << out;

    // Several threads: a legal move, and the back-rank mate announced whichever thread wins.
    settings.maxDepth = 5;
    for (int threads : {2, 4}) {
        settings.threadCount = uint8_t(threads);
        LoadGame("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
        EXPECT_TRUE(IsRootMove(ResultMove(Search(out)))) << "threads " << threads;
        EXPECT_GE(winnerThread, 1);
        EXPECT_LE(winnerThread, threads);
        LoadGame("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
        const uint64_t result = Search(out);
        EXPECT_EQ(ResultMove(result), TextToMove(*mainContext.current, "a1a8"));
        EXPECT_EQ(ResultScore(result), 19999);
        EXPECT_NE(out.find("Mate in 1 \n"), std::string::npos) << out;
    }

    // The move to ponder on is the reply the line expects: the second move of the last line printed.
    settings.threadCount = 1;
    settings.maxDepth = 4;
    settings.postThinking = 1;
    LoadGame("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    const Move best = ResultMove(Search(out));
    std::istringstream lastLine(out.substr(out.rfind('\n', out.size() - 2) + 1));
    std::string word, first, second;
    for (int i = 0; i < 4; ++i) lastLine >> word;  // depth, score, time and nodes
    lastLine >> first >> second;
    EXPECT_EQ(TextToMove(*mainContext.current, first.c_str()), best) << out;
    EXPECT_EQ(lastPonderMove, TextToMove(*MakeMove(mainContext.current, best), second.c_str())) << out;
}

TEST(Iterate, PrintedLinesInBothDialects) {
    LoadGame(START);
    mainContext.rootDepth = 5;
    winnerSelDepth = 9;
    nodeCount = 1234;
    PvLine line{};
    line.count = 2;
    const Move e2e4 = TextToMove(*mainContext.current, "e2e4");
    const Move e7e5 = MakeMoveCode(PAWN, 12, 28);  // in Black's view
    line.moves[0] = e2e4;
    line.moves[1] = e7e5;
    auto print = [&](int16_t score) {
        timeControl.startTime = ClockMs();
        return Printed([&] { PrintIteration(mainContext, MakeSearchResult(e2e4, score), line); });
    };
    ProtocolMode = MODE_UCI;
    EXPECT_EQ(print(-19998).rfind("info depth  5 score mate -1 nodes       1234 time ", 0), 0u);
    EXPECT_EQ(print(19997).rfind("info depth  5 score mate  2 nodes       1234 time ", 0), 0u);
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

    // The best move line is printed with the game advanced by the best move.
    mainContext.current = MakeMove(mainContext.current, e2e4);
    const uint64_t result = MakeSearchResult(e2e4, -25);
    auto best = [&](uint64_t r, Move ponder) { return Printed([&] { PrintBestMove(r, ponder); }); };
    nodeCount = 7000;
    timeControl.elapsed = 2000;
    EXPECT_EQ(best(result, e7e5), "Bestmove: e2e4   Score: -25   Pondermove: e7e5   Knps: 3\n");
    timeControl.elapsed = 0;
    EXPECT_EQ(best(result, 0), "Bestmove: e2e4   Score: -25    Knps: 0\n");
    ProtocolMode = MODE_UCI;
    EXPECT_EQ(best(result, e7e5), "bestmove e2e4\n") << "no ponder move unless pondering is on";
    ponderEnabled = 1;
    EXPECT_EQ(best(result, e7e5), "bestmove e2e4 ponder e7e5\n");
    // A second move left over from another line, here one from an empty square, is not named.
    EXPECT_EQ(best(result, MakeMoveCode(KNIGHT, 20, 37)), "bestmove e2e4\n");
    EXPECT_EQ(best(0, 0), "bestmove 0000\n");
}

TEST(Iterate, TablebaseRootSearchesOnlyTheKeptMoves) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KRvK.rtbw");
    LoadTables(tables.parent_path().string());
    std::string out;
    settings.threadCount = 1;
    settings.maxDepth = 6;
    settings.postThinking = 0;
    LoadGame("8/8/8/4k3/8/8/8/KR6 w - - 0 1");
    const Move first = ResultMove(Search(out));

    // Late in the 50 moves the filter keeps only the fastest wins; the root's hash record, whose key
    // ignores the clock, still names the move of the first search.
    LoadGame("8/8/8/4k3/8/8/8/KR6 w - - 68 1");
    MoveEntry kept[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(*mainContext.current, kept);
    int16_t score = 0;
    Printed([&] { ASSERT_EQ(RootProbe(mainContext.current, kept, score, end), 1); });
    const auto isKept = [&](Move m) { return std::any_of(kept, end, [m](const MoveEntry& e) { return e.move == m; }); };
    ASSERT_FALSE(isKept(first)) << "the first search no longer leaves a removed move in the table";
    EXPECT_TRUE(isKept(ResultMove(Search(out))));
}

}  // namespace
