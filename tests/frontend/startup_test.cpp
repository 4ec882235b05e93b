#include <gtest/gtest.h>

#include <string>

#include "engine_process.h"

namespace {

const std::string RULE(79, '-');
const std::string BANNER_HEAD = RULE + "\nferrolune chess engine by Odrevan\nVersion 1.0\n\n";
const std::string PROMPT = RULE + "\n\nenter 'console' for console mode... ";

// Everything between the two rules belongs to the settings load, which prints its own line.
std::string AfterSettings(const std::string& out) {
    auto pos = out.find(RULE + "\n\n");
    return pos == std::string::npos ? out : out.substr(pos);
}

}  // namespace

TEST(Startup, BannerPromptAndModeLines) {
    auto dir = FreshWorkDir("startup");

    // Empty lines and unknown lines are ignored; "quit" ends with status 0.
    EngineRun run = RunEngineWith("\n\nhello\nquit\n", dir);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.substr(0, BANNER_HEAD.size()), BANNER_HEAD);
    EXPECT_EQ(AfterSettings(run.out), PROMPT);

    // End of input while waiting for a mode line ends quietly.
    run = RunEngineWith("", dir);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(AfterSettings(run.out), PROMPT);

    // A line of any length or any bytes never crashes the mode loop.
    EXPECT_EQ(RunEngineWith(std::string(5000, 'x') + std::string("\0\x01\xff\n", 4) + "quit\n", dir).status, 0);
    // Each front end returns to end the program, on "quit" or at the end of its input.
    for (const char* input : {"console\nquit\n", "uci\nquit\n", "c\n", "ucinewgame\n"})
        EXPECT_EQ(RunEngineWith(input, dir).status, 0) << input;
}

// --help and --version answer at once, without the banner or the settings file; an unknown argument is
// refused rather than starting an engine that waits for input.
TEST(Startup, HelpVersionAndUnknownArguments) {
    auto dir = FreshWorkDir("args");
    EngineRun help = RunEngineWith("", dir, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.find(RULE), std::string::npos);
    for (const char* mode : {"ferrolune  ", "perft DEPTH", "bench [DEPTH", "--help", "--version"})
        EXPECT_NE(help.out.find(mode), std::string::npos) << mode;
    EXPECT_EQ(RunEngineWith("", dir, "-h").out, help.out);

    EngineRun run = RunEngineWith("", dir, "--version");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "ferrolune 1.0\n");

    run = RunEngineWith("quit\n", dir, "--hash");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "ferrolune: unknown argument '--hash'\n" + help.out);
}
