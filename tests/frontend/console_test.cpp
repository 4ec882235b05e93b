#include <chrono>
#include <regex>

#include "frontend/gameend.h"
#include "frontend/selftest.h"
#include "support.h"

namespace {

const std::string PROMPT = "\nferrolune> ";
const std::string WELCOME = "\nWelcome in ferrolune\ntype \"help\" to show commands list\n";

// A console session; its output after the welcome lines.
EngineRun Console(const std::string& lines) {
    EngineRun run = RunEngine("console\n" + lines);
    const auto at = run.out.find(WELCOME);
    run.out = at == std::string::npos ? "<no welcome>\n" + run.out : run.out.substr(at + WELCOME.size());
    return run;
}

// The drawing PrintBoard makes of a FEN, produced in this process.
std::string DrawnBoard(const char* fen, int parsed = 1) {
    mainContext.current = NewGame();
    EXPECT_EQ(ParseFen(mainContext, fen, nullptr), parsed) << fen;
    return Printed([] { PrintBoard(*mainContext.current); });
}

const std::string START_FEN = "FEN: rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - \n";

const std::string HELP =
    "new            - new game\n"
    "perft          - run perft test\n"
    "setboard [FEN] - set position from FEN\n"
    "getboard       - get FEN position\n"
    "b              - show ChessBoard\n"
    "turn           - show Turn\n"
    "inv            - invert ChessBoard\n"
    "go             - start search\n"
    "undo           - undo last move\n"
    "memory [MB]    - Allocate MB for HashTable\n";

// What "getboard" prints once the move text has been played from the start position.
std::string GetboardAfter(const std::string& move) { return PROMPT + "FEN: " + FenOf(*LoadGame(START, move.c_str())) + "\n"; }

std::string Unknown(const std::string& line) { return "Error (unknown command): " + line + "\n"; }

}  // namespace

TEST(ConsoleTranscript, HelpUnknownAndQuit) {
    EngineRun run = Console("help\nbb\nhelp \nHELP\n\nturnx\nquit\nhelp\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, PROMPT + HELP + PROMPT + Unknown("bb") + PROMPT + Unknown("help ") + PROMPT +
                           Unknown("HELP") + PROMPT + Unknown("") + PROMPT + Unknown("turnx") + PROMPT);

    // Any line beginning with "q" leaves, and so does the end of input.
    for (const char* quit : {"qwerty\n", ""}) {
        run = Console(std::string("turn\n") + quit);
        EXPECT_EQ(run.status, 0) << quit;
        EXPECT_EQ(run.out, PROMPT + "Turn: WHITE\n" + PROMPT) << quit;
    }
    // Lines that end in CR LF, as a Windows console or interface sends them, are the same commands.
    run = RunEngine("console\r\nhelp\r\nbb\r\n\r\nturn\r\nquit\r\n");
    EXPECT_EQ(run.out, RunEngine("console\nhelp\nbb\n\nturn\nquit\n").out);
    EXPECT_NE(run.out.find(PROMPT + Unknown("bb") + PROMPT + Unknown("") + PROMPT + "Turn: WHITE\n"), std::string::npos);
}

TEST(ConsoleTranscript, NumberCommandsAndTheirErrors) {
    const std::string depthError = "Error (depth out of bound): Insert depth between 2 and 63\n";
    const std::string timeError = "Error (movetime out of bound): Insert movetime > 0 \n";
    // "sdx" reads as "sd" without a number.
    EngineRun run = Console("sd 64\nsd 9999\nsd 2\nsd 1\nsdx\nst 0\nstop\nst 5\nq\n");
    EXPECT_EQ(run.out, PROMPT + depthError + PROMPT + PROMPT + PROMPT + depthError + PROMPT + depthError + PROMPT +
                           timeError + PROMPT + timeError + PROMPT + PROMPT);
}

// "st" counts seconds: under "st 1" a search of the start position, which no depth limit ends, runs about one.
TEST(ConsoleTranscript, MoveTimeInSeconds) {
    const auto start = std::chrono::steady_clock::now();
    EngineRun run = Console("st 1\ngo\nq\n");
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NE(run.out.find("Bestmove: "), std::string::npos) << run.out;
    EXPECT_GE(seconds, 0.8) << run.out;
}

// Named test positions, one with Black to move; the word must stand alone.
TEST(ConsoleTranscript, TestPositionsSetTheBoard) {
    EXPECT_EQ(Console("n1\ngetboard\nm1\ngetboard\nm1 \nn2\nq\n").out,
              PROMPT + PROMPT + "FEN: 3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 \n" + PROMPT + PROMPT +
                  "FEN: 5k2/8/6r1/5K2/8/8/7p/8 b - - \n" + PROMPT + Unknown("m1 ") + PROMPT + Unknown("n2") + PROMPT);
}

TEST(ConsoleTranscript, BoardTurnInvertNewAndUndo) {
    const std::string start = DrawnBoard(START);
    EngineRun run = Console(
        "b\nturn\ninv\nturn\ngetboard\nnew\nundo\ngetboard\n"
        "e2e4\ngetboard\ne7e5x\nundo\nundo\ngetboard\ne2e5\nb1c3\ngetboardxyz\nq\n");
    const std::string afterE4 = DrawnBoard("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    const std::string afterE5 = DrawnBoard("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2");
    const std::string afterNc3 = DrawnBoard("rnbqkbnr/pppppppp/8/8/8/2N5/PPPPPPPP/R1BQKBNR b KQkq - 1 1");
    EXPECT_EQ(run.out, PROMPT + start + PROMPT + "Turn: WHITE\n" + PROMPT + PROMPT + "Turn: BLACK\n" + PROMPT +
                           "FEN: rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - \n" + PROMPT + PROMPT +
                           PROMPT + START_FEN + PROMPT + afterE4 + PROMPT +
                           "FEN: rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 \n" + PROMPT + afterE5 +
                           PROMPT + PROMPT + PROMPT + START_FEN + PROMPT + "Illegal move: e2e5\n" + start + PROMPT +
                           afterNc3 + PROMPT + "FEN: rnbqkbnr/pppppppp/8/8/8/2N5/PPPPPPPP/R1BQKBNR b KQkq - \n" +
                           PROMPT);
}

TEST(ConsoleTranscript, SetBoardAndGameEnd) {
    const char* mateIn1 = "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1";
    EngineRun run = Console(std::string("setboard ") + mateIn1 + "\na1a8\nsetboard\ngetboard\nq\n");
    EXPECT_EQ(run.out, PROMPT + DrawnBoard(mateIn1) + PROMPT + DrawnBoard("R5k1/5ppp/8/8/8/8/8/6K1 b - - 1 1") +
                           "1-0 {White mates}\n" + PROMPT + DrawnBoard(START) + PROMPT + START_FEN + PROMPT);
}

TEST(ConsoleTranscript, GamesLongerThanTheStackGoOn) {
    std::string moves;
    for (int i = 0; i < 150; ++i) moves += "g1f3\ng8f6\nf3g1\nf6g8\n";
    EngineRun run = Console(moves + "getboard\nsd 2\ngo\ngetboard\nq\n");
    EXPECT_EQ(run.out.find("Illegal"), std::string::npos);
    const auto at = run.out.rfind(PROMPT + START_FEN);
    ASSERT_NE(at, std::string::npos) << run.out.substr(run.out.size() - 2000);
    // The move printed is the move played, by White.
    const auto best = run.out.find("Bestmove: ", at);
    ASSERT_NE(best, std::string::npos);
    EXPECT_NE(run.out.find(GetboardAfter(run.out.substr(best + 10, 4)), best), std::string::npos) << run.out.substr(at);
}

TEST(ConsoleTranscript, RejectedFenLeavesAPositionToPlayFrom) {
    // The castling field fails after "K": the right is dropped (a bishop stands on h1), the key is
    // recomputed, and the board drawn is the one read.
    const char* badCastling = "4k3/8/8/8/8/8/8/4K2B w KX - 0 1";
    const std::string drawn = DrawnBoard(badCastling, 0);
    EngineRun run = Console(std::string("setboard ") + badCastling + "\ngetboard\ne1g1\nkey\n" +
                                 "setboard 4k3/8/8/8/8/8/8/4X3 w - - 0 1\ngetboard\nsd 2\ngo\ngetboard\nq\n");
    const std::string head = PROMPT + drawn + PROMPT + "FEN: 4k3/8/8/8/8/8/8/4K2B w - - \n" + PROMPT +
                             "Illegal move: e1g1\n" + drawn + PROMPT + "HashKey (full): ";
    ASSERT_EQ(run.out.substr(0, head.size()), head) << run.out;
    const std::string keys = run.out.substr(head.size(), run.out.find(PROMPT, head.size()) - head.size());
    const std::string full = keys.substr(0, keys.find('\n'));
    EXPECT_EQ(keys, full + "\nHashKey (inc) : " + full + "\n");

    // A board without a white king is drawn as read, but play goes on from the start position.
    std::string rest = run.out.substr(head.size() + keys.size());
    const std::string kingless = PROMPT + DrawnBoard("4k3/8/8/8/8/8/8/4X3 w - - 0 1", 0) + PROMPT + START_FEN + PROMPT;
    ASSERT_EQ(rest.substr(0, kingless.size()), kingless) << rest;
    const auto best = rest.find("Bestmove: ");
    ASSERT_NE(best, std::string::npos) << rest;
    EXPECT_NE(rest.find(GetboardAfter(rest.substr(best + 10, 4)), best), std::string::npos) << rest;
}

TEST(ConsoleTranscript, MoveListings) {
    const std::string startMoves =
        "Move: h2h4\nMove: g2g4\nMove: f2f4\nMove: e2e4\nMove: d2d4\nMove: c2c4\nMove: b2b4\nMove: a2a4\n"
        "Move: h2h3\nMove: g2g3\nMove: f2f3\nMove: e2e3\nMove: d2d3\nMove: c2c3\nMove: b2b3\nMove: a2a3\n"
        "Move: g1h3\nMove: g1f3\nMove: b1c3\nMove: b1a3\n";
    EngineRun run = Console("gen\nlegal\nq\n");
    EXPECT_EQ(run.out, PROMPT + startMoves + "Total Legal moves: 20\n" + PROMPT + "\nAll moves:    20\n" +
                           startMoves + "\nLegal moves:    20\n" + startMoves + "\nCheck moves:    0\n" + PROMPT);

    // Every kind of move, in the generators' order (the listing starts from the end of the list).
    run = Console("setboard r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1\ngen\nq\n");
    std::string listed;
    for (size_t at = 0; (at = run.out.find("Move: ", at)) != std::string::npos; at += 6) listed += run.out.substr(at + 6, 4) + " ";
    EXPECT_EQ(listed, "d5e6 g2h3 e5f7 e5d7 e5g6 e2a6 f3f6 f3h3 e1g1 e1c1 g2g4 a2a4 d5d6 g2g3 b2b3 a2a3 e5c6 e5g4 e5c4 e5d3 "
                      "c3b5 c3a4 c3d1 c3b1 e2b5 e2c4 e2d3 e2f1 e2d1 d2h6 d2g5 d2f4 d2e3 d2c1 h1g1 h1f1 a1d1 a1c1 a1b1 "
                      "f3h5 f3f5 f3g4 f3f4 f3g3 f3e3 f3d3 e1f1 e1d1 ");

    // In check the evasions follow; a pinned move is generated but not legal.
    run = Console("setboard 4k3/8/8/8/8/8/4q3/R3K3 w - - 0 1\nlegal\nq\n");
    auto evasions = run.out.find("\nEvasion moves:    ");
    ASSERT_NE(evasions, std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nLegal moves:    1\nMove: e1e2\n"), std::string::npos) << run.out;
}

TEST(ConsoleTranscript, OverlongLinesAreRefusedWhole) {
    std::string longHelp(304, ' ');
    longHelp.replace(0, 4, "help");
    std::string longQuit(401, 'x');
    longQuit[0] = 'q';
    std::string fits(254, 'y');
    EngineRun run = Console(longHelp + "\n" + longQuit + "\n" + fits + "\nturn\nq\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, PROMPT + Unknown(longHelp.substr(0, 255)) + PROMPT + Unknown(longQuit.substr(0, 255)) +
                           PROMPT + Unknown(fits) + PROMPT + "Turn: WHITE\n" + PROMPT);

    // Any bytes at all are answered, never fatal.
    std::string junk("\x01\xff\xfe\tcd\r\n\x7f", 9);
    run = Console(junk + "\nq\n");
    EXPECT_EQ(run.status, 0);
}

TEST(ConsoleTranscript, HashCommands) {
    const std::string sizeError =
        "Error: insert a number between 4 and 8192 \n"
        "tellusererror Error (size out of bound): Insert size between 4 and 8192\n";
    EngineRun run = Console("hstore 7\nhprobe\nclear\nhprobe\nmemory 9000\nmemory\nmemory 2\nhprobe\nq\n");
    EXPECT_EQ(run.out, PROMPT + "Stored with aging: 7\n" + PROMPT + "Hash Probe OK" + PROMPT + PROMPT +
                           "Hash Probe KO" + PROMPT + sizeError + PROMPT + sizeError + PROMPT +
                           "Allocated 2 MB for the Hash Table\n" + PROMPT + "Hash Probe KO" + PROMPT);
}

TEST(ConsoleTranscript, EntryThreadsAndEngineMove) {
    EngineRun run = RunEngine("c\nthread 2\nthread 0\nthread 25\nthread\nsd 2\ngo\nundo\ngetboard\nq\n");
    EXPECT_EQ(run.status, 0);
    const std::string entry = "enter 'console' for console mode... Allocated 1 MB for the Hash Table\n"
                              "Allocated 1 MB for the HashPawn Table for Thread 1\n" + WELCOME + PROMPT;
    auto at = run.out.find(entry);
    ASSERT_NE(at, std::string::npos) << run.out;
    std::string rest = run.out.substr(at + entry.size());
    const std::string threads = "Allocated 1 MB for the HashPawn Table for Thread 1\n"
                                "Allocated 1 MB for the HashPawn Table for Thread 2\n"
                                "Thread allocated for search: 2";
    EXPECT_EQ(rest.substr(0, threads.size() + 5 * PROMPT.size()), threads + PROMPT + PROMPT + PROMPT + PROMPT + PROMPT);

    // "go" searches to the set depth, plays its move, and "undo" takes it back.
    auto best = rest.find("\nBestmove: ");
    ASSERT_NE(best, std::string::npos) << rest;
    EXPECT_EQ(rest.substr(rest.find('\n', best + 1) + 1), PROMPT + PROMPT + START_FEN + PROMPT);
}

// The exchange self-test: 25 blocks with the reference move and score, and the exchange values of the tested
// move and of the capture the search would try first; the game is left at the last test position. The
// exchange values themselves are checked in see_test.
TEST(ConsoleTranscript, ExchangeSelfTestAndScore) {
    EngineRun run = Console("see\ngetboard\nsetboard rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1\n"
                             "score\nq\n");
    EXPECT_EQ(run.status, 0);
    const std::regex block("\nTestCase [ 0-9]{2} {22}Score: {10}[ 0-9-]{5}\nMove: {11}[ a-h1-8qrbn]{8} {6}SEE move: {7}"
                           "[ 0-9-]{8}\nBest: {11}[ a-h1-8qrbn]{8} {6}SEE best: {7}[ 0-9-]{8}\n");
    EXPECT_EQ(std::distance(std::sregex_iterator(run.out.begin(), run.out.end(), block), std::sregex_iterator()), 25);
    EXPECT_NE(run.out.find("\nTestCase  1                      Score:           -125\n"
                           "Move:               c3d4      SEE move:              0\n"
                           "Best:               c3d4      SEE best:              0\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nTestCase 24                      Score:              0\n"
                           "Move:              d7d8q      SEE move:           -875\n"
                           "Best:               f3f8      SEE best:          10000\n"), std::string::npos);
    EXPECT_NE(run.out.find("FEN: 5k2/p2P2pp/1b6/1p6/1Nn1P1n1/8/PPP4P/R2QK1NR w KQ - \n"), std::string::npos);
    // The evaluation table after 1.e4, from Black's side, and the score.
    EXPECT_NE(run.out.find("| Material      |   800|   600|   650|  1000|   975|     .|\n"), std::string::npos);
    EXPECT_NE(run.out.find("\nScore: -22\n"), std::string::npos) << run.out;
}

TEST(ConsoleTranscript, ProgressBarTruncatesPercentAndWidth) {
    const auto bar = [](double fraction) { return Printed([&] { PrintProgress(fraction); }); };
    // The tablebase test's fractions are single precision, just below 0.04 and 0.08.
    EXPECT_EQ(bar(100000 / 2500000.0f), "\r  3% [||" + std::string(58, ' ') + "]");
    EXPECT_EQ(bar(200000 / 2500000.0f), "\r  7% [||||" + std::string(56, ' ') + "]");
    EXPECT_EQ(bar(1.0), "\r100% [" + std::string(60, '|') + "]");
}

// What the engine announces when a move ends the game; the position is left as it was.
TEST(GameEnd, ResultLines) {
    const char* shuffle = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";
    const auto result = [](const char* fen, const std::string& moves = "") {
        const Position* pos = LoadGame(fen, moves.c_str());
        const Position saved = *pos;
        const std::string out = Printed([] { CheckGameEnd(mainContext); });
        EXPECT_EQ(mainContext.current, pos);
        EXPECT_EQ(pos->key, saved.key);
        return out;
    };
    EXPECT_EQ(result(START, "f2f3 e7e5 g2g4 d8h4"), "0-1 {Black mates}\n");
    EXPECT_EQ(result("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1"), "1/2-1/2 {Stalemate}\n");
    EXPECT_EQ(result("6rk/5Qpp/8/8/8/8/8/6K1 b - - 0 1"), "");
    EXPECT_EQ(result("4k3/8/8/8/8/8/8/R3K3 w - - 99 80"), "");
    EXPECT_EQ(result("4k3/8/8/8/8/8/8/R3K3 w - - 100 80"), "1/2-1/2 {Draw by 50 move rule}\n");
    EXPECT_EQ(result(START, shuffle), "1/2-1/2 {Draw by repetition}\n");
    EXPECT_EQ(result(START, std::string(shuffle) + " g1f3 g8f6 f3g1 f6g8"), "");  // the fourth time
    // The three findings are independent of each other.
    EXPECT_EQ(result("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 92 1", shuffle),
              "1/2-1/2 {Draw by repetition}\n1/2-1/2 {Draw by 50 move rule}\n");
    EXPECT_EQ(result("6k1/5ppp/8/8/8/8/8/R5K1 w - - 120 1", "a1a8"),
              "1/2-1/2 {Draw by 50 move rule}\n1-0 {White mates}\n");
}
