#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "engine_process.h"
#include "search/search.h"

namespace {

const std::string PROMPT = "\nferrolune> ";
const std::string WELCOME = "\nWelcome in ferrolune\ntype \"help\" to show commands list\n";

// Small tables and no tablebases keep the console's start quick.
const std::string SMALL_INI =
    "[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[BOOK]\nBook=0\n[TABLEBASE]\nSyzygy=0\n";

struct ConsoleRun {
    std::string out;  // everything after the welcome lines
    int status;
};

ConsoleRun Console(const std::string& lines, const std::string& name) {
    auto dir = FreshWorkDir("console_" + name);
    std::ofstream(dir / "ferrolune.ini", std::ios::binary) << SMALL_INI;
    EngineRun run = RunEngineWith("console\n" + lines, dir);
    std::filesystem::remove_all(dir);
    auto at = run.out.find(WELCOME);
    return {at == std::string::npos ? "<no welcome>\n" + run.out : run.out.substr(at + WELCOME.size()), run.status};
}

// The drawing PrintBoard makes of a FEN, produced in this process.
std::string DrawnBoard(const char* fen, int parsed = 1) {
    mainContext.current = NewGame();
    EXPECT_EQ(ParseFen(mainContext, fen, nullptr), parsed) << fen;
    testing::internal::CaptureStdout();
    PrintBoard(*mainContext.current);
    return testing::internal::GetCapturedStdout();
}

const char* const START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
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
std::string GetboardAfter(const std::string& move) {
    mainContext.current = NewGame();
    EXPECT_EQ(ParseFen(mainContext, START, move.c_str()), 1) << move;
    char fen[FEN_BUFFER_SIZE];
    WriteFen(*mainContext.current, fen);
    return PROMPT + "FEN: " + fen + "\n";
}

std::string Unknown(const std::string& line) { return "Error (unknown command): " + line + "\n"; }

}  // namespace

TEST(ConsoleTranscript, HelpUnknownAndQuit) {
    ConsoleRun run = Console("help\nbb\nhelp \nHELP\n\nturnx\nquit\nhelp\n", "help");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, PROMPT + HELP + PROMPT + Unknown("bb") + PROMPT + Unknown("help ") + PROMPT +
                           Unknown("HELP") + PROMPT + Unknown("") + PROMPT + Unknown("turnx") + PROMPT);

    // Any line beginning with "q" leaves, and so does the end of input.
    for (const char* quit : {"qwerty\n", ""}) {
        run = Console(std::string("turn\n") + quit, "quit");
        EXPECT_EQ(run.status, 0) << quit;
        EXPECT_EQ(run.out, PROMPT + "Turn: WHITE\n" + PROMPT) << quit;
    }
}

TEST(ConsoleTranscript, NumberCommandsAndTheirErrors) {
    const std::string depthError = "Error (depth out of bound): Insert depth between 2 and 63\n";
    const std::string timeError = "Error (movetime out of bound): Insert movetime > 0 \n";
    // "sdx" reads as "sd" without a number.
    ConsoleRun run = Console("sd 64\nsd 9999\nsd 2\nsd 1\nsdx\nst 0\nstop\nst 5\nq\n", "numbers");
    EXPECT_EQ(run.out, PROMPT + depthError + PROMPT + PROMPT + PROMPT + depthError + PROMPT + depthError + PROMPT +
                           timeError + PROMPT + timeError + PROMPT + PROMPT);
}

TEST(ConsoleTranscript, TestPositionsSetTheBoard) {
    struct Named {
        const char* word;
        const char* fen;
    };
    // A representative few of the named test positions, including one with Black to move.
    const std::vector<Named> positions = {
        {"n1", "3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 "},
        {"m1", "5k2/8/6r1/5K2/8/8/7p/8 b - - "},
        {"fianc", "6k1/pbp2npp/1p3p2/8/8/1P4P1/PBP2P1P/6K1 w - - "},
    };
    std::string input, expected;
    for (const Named& p : positions) {
        input += std::string(p.word) + "\ngetboard\n";
        expected += PROMPT + PROMPT + "FEN: " + p.fen + "\n";
    }
    // A test position word must stand alone.
    input += "m1 \nn2\nq\n";
    expected += PROMPT + Unknown("m1 ") + PROMPT + Unknown("n2") + PROMPT;
    EXPECT_EQ(Console(input, "positions").out, expected);
}

TEST(ConsoleTranscript, BoardTurnInvertNewAndUndo) {
    const std::string start = DrawnBoard(START);
    ConsoleRun run = Console(
        "b\nturn\ninv\nturn\ngetboard\nnew\nundo\ngetboard\n"
        "e2e4\ngetboard\ne7e5x\nundo\nundo\ngetboard\ne2e5\nb1c3\ngetboardxyz\nq\n",
        "board");
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
    ConsoleRun run = Console(std::string("setboard ") + mateIn1 + "\na1a8\nsetboard\ngetboard\nq\n", "setboard");
    EXPECT_EQ(run.out, PROMPT + DrawnBoard(mateIn1) + PROMPT + DrawnBoard("R5k1/5ppp/8/8/8/8/8/6K1 b - - 1 1") +
                           "1-0 {White mates}\n" + PROMPT + DrawnBoard(START) + PROMPT + START_FEN + PROMPT);
}

TEST(ConsoleTranscript, GamesLongerThanTheStackGoOn) {
    std::string moves;
    for (int i = 0; i < 150; ++i) moves += "g1f3\ng8f6\nf3g1\nf6g8\n";
    ConsoleRun run = Console(moves + "getboard\nsd 2\ngo\ngetboard\nq\n", "long");
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
    ConsoleRun run = Console(std::string("setboard ") + badCastling + "\ngetboard\ne1g1\nkey\n" +
                                 "setboard 4k3/8/8/8/8/8/8/4X3 w - - 0 1\ngetboard\nsd 2\ngo\ngetboard\nq\n",
                             "rejected");
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
    ConsoleRun run = Console("gen\nlegal\nq\n", "listings");
    EXPECT_EQ(run.out, PROMPT + startMoves + "Total Legal moves: 20\n" + PROMPT + "\nAll moves:    20\n" +
                           startMoves + "\nLegal moves:    20\n" + startMoves + "\nCheck moves:    0\n" + PROMPT);

    // In check the evasions follow; a pinned move is generated but not legal.
    run = Console("setboard 4k3/8/8/8/8/8/4q3/R3K3 w - - 0 1\nlegal\nq\n", "evasions");
    auto evasions = run.out.find("\nEvasion moves:    ");
    ASSERT_NE(evasions, std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nLegal moves:    1\nMove: e1e2\n"), std::string::npos) << run.out;
}

TEST(ConsoleTranscript, KeyShowsFullAndIncrementalKeys) {
    ConsoleRun run = Console("key\ninv\nkey\nq\n", "key");
    std::vector<std::string> values;
    for (size_t at = 0; (at = run.out.find("HashKey (", at)) != std::string::npos; ++at) {
        auto colon = run.out.find(": ", at);
        values.push_back(run.out.substr(colon + 2, run.out.find('\n', colon) - colon - 2));
    }
    ASSERT_EQ(values.size(), 4u) << run.out;
    EXPECT_EQ(values[0], values[1]);
    // Turning the board over keeps the stored key while the computed one follows the side to move.
    EXPECT_EQ(values[3], values[1]);
    EXPECT_NE(values[2], values[3]);
    EXPECT_EQ(run.out.substr(0, PROMPT.size() + 17), PROMPT + "HashKey (full): " + values[0].substr(0, 1));
}

TEST(ConsoleTranscript, OverlongLinesAreRefusedWhole) {
    std::string longHelp(304, ' ');
    longHelp.replace(0, 4, "help");
    std::string longQuit = "q" + std::string(400, 'x');
    std::string fits(254, 'y');
    ConsoleRun run = Console(longHelp + "\n" + longQuit + "\n" + fits + "\nturn\nq\n", "overlong");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, PROMPT + Unknown(longHelp.substr(0, 255)) + PROMPT + Unknown(longQuit.substr(0, 255)) +
                           PROMPT + Unknown(fits) + PROMPT + "Turn: WHITE\n" + PROMPT);

    // Any bytes at all are answered, never fatal.
    std::string junk("\x01\xff\xfe\tcd\r\n\x7f", 9);
    run = Console(junk + "\nq\n", "junk");
    EXPECT_EQ(run.status, 0);
}

TEST(ConsoleTranscript, HashCommands) {
    const std::string sizeError =
        "Error: insert a number between 4 and 8192 \n"
        "tellusererror Error (size out of bound): Insert size between 4 and 8192\n";
    ConsoleRun run = Console("hstore 7\nhprobe\nclear\nhprobe\nmemory 9000\nmemory\nmemory 2\nhprobe\nq\n", "hash");
    EXPECT_EQ(run.out, PROMPT + "Stored with aging: 7\n" + PROMPT + "Hash Probe OK" + PROMPT + PROMPT +
                           "Hash Probe KO" + PROMPT + sizeError + PROMPT + sizeError + PROMPT +
                           "Allocated 2 MB for the Hash Table\n" + PROMPT + "Hash Probe KO" + PROMPT);
}

TEST(ConsoleTranscript, EntryThreadsAndEngineMove) {
    auto dir = FreshWorkDir("console_entry");
    std::ofstream(dir / "ferrolune.ini", std::ios::binary) << SMALL_INI;
    EngineRun run = RunEngineWith("c\nthread 2\nthread 0\nthread 25\nthread\nsd 2\ngo\nundo\ngetboard\nq\n", dir);
    std::filesystem::remove_all(dir);
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
