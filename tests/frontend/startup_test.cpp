#include "support.h"

namespace {

const std::string RULE(79, '-');
const std::string BANNER_HEAD = RULE + "\nferrolune chess engine by Odrevan\nVersion 1.0\n\n";
const std::string PROMPT = RULE + "\n\nenter 'console' for console mode... ";

// Everything between the two rules belongs to the settings load, which prints its own line.
std::string AfterSettings(const std::string& out) {
    auto pos = out.find(RULE + "\n\n");
    return pos == std::string::npos ? out : out.substr(pos);
}

TEST(Startup, BannerPromptModeLinesAndArguments) {
    ScratchDir dir("startup");
    // Empty lines and unknown lines are ignored; "quit" ends with status 0.
    EngineRun run = RunEngine("\n\nhello\nquit\n", dir.path);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.substr(0, BANNER_HEAD.size()), BANNER_HEAD);
    EXPECT_EQ(AfterSettings(run.out), PROMPT);
    // End of input while waiting for a mode line ends quietly.
    run = RunEngine("", dir.path);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(AfterSettings(run.out), PROMPT);
    // A line of any length or any bytes never crashes the mode loop.
    EXPECT_EQ(RunEngine(std::string(5000, 'x') + std::string("\0\x01\xff\n", 4) + "quit\n", dir.path).status, 0);
    // Each front end returns to end the program, on "quit" or at the end of its input.
    for (const char* input : {"console\nquit\n", "uci\nquit\n", "c\n", "ucinewgame\n"})
        EXPECT_EQ(RunEngine(input, dir.path).status, 0) << input;

    // --help and --version answer at once, without the banner or the settings file; an unknown argument is
    // refused rather than starting an engine that waits for input.
    EngineRun help = RunEngine("", dir.path, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.find(RULE), std::string::npos);
    for (const char* mode : {"ferrolune  ", "perft DEPTH", "bench [DEPTH", "--help", "--version"})
        EXPECT_NE(help.out.find(mode), std::string::npos) << mode;
    EXPECT_EQ(RunEngine("", dir.path, "-h").out, help.out);

    // A portable x86-64 build names the level of its code on a line of its own; a native build names none.
    run = RunEngine("", dir.path, "--version");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out == "ferrolune 1.0\n" || run.out == "ferrolune 1.0\nx86-64\n" ||
                run.out == "ferrolune 1.0\nx86-64-v2\n" || run.out == "ferrolune 1.0\nx86-64-v3\n")
        << run.out;

    run = RunEngine("quit\n", dir.path, "--hash");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "ferrolune: unknown argument '--hash'\n" + help.out);
}

TEST(Startup, PerftMode) {
    EngineRun run = RunEngine("", SMALL_INI, "perft 3 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "8902\n");
    // An unquoted FEN arrives split into fields.
    run = RunEngine("", SMALL_INI, "perft 2 8/3P4/8/8/8/8/5q1p/5K1k w - - 0 1");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1\n");
    for (const char* bad : {"perft 3 'not a fen'", "perft 3x 8/8/8/8/8/8/8/K6k w - - 0 1", "perft 3"}) {
        run = RunEngine("", SMALL_INI, bad);
        EXPECT_EQ(run.status, 1) << bad;
        ASSERT_FALSE(run.out.empty()) << bad;
        EXPECT_EQ(run.out.find('\n'), run.out.size() - 1) << run.out;  // one line
    }
}

// The node count of the fixed benchmark is the search's signature: it changes with the order of any
// generated list, an ordering or pruning rule, an evaluation term, the table's replacement or a key.
TEST(Startup, BenchSignature) {
    EngineRun run = RunEngine("", SMALL_INI, "bench");
    EXPECT_EQ(run.status, 0);
    std::string signature = ReadFile(FERROLUNE_SOURCE_DIR "/bench/signature.txt");
    signature.erase(signature.find_last_not_of(" \r\n") + 1);
    EXPECT_NE(run.out.find("\nNodes searched: " + signature + "\n"), std::string::npos) << run.out;
}

}  // namespace
