#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "engine_process.h"
#include "frontend/selftest.h"

TEST(SelfTest, ProgressBarTruncatesPercentAndWidth) {
    auto bar = [](double fraction) {
        testing::internal::CaptureStdout();
        PrintProgress(fraction);
        return testing::internal::GetCapturedStdout();
    };
    // The tablebase test's fractions are single precision, just below 0.04 and 0.08.
    EXPECT_EQ(bar(100000 / 2500000.0f), "\r  3% [||" + std::string(58, ' ') + "]");
    EXPECT_EQ(bar(200000 / 2500000.0f), "\r  7% [||||" + std::string(56, ' ') + "]");
    EXPECT_EQ(bar(1.0), "\r100% [" + std::string(60, '|') + "]");
}

TEST(SelfTest, ExchangeTestPrintsTwentyFiveBlocks) {
    auto dir = FreshWorkDir("see");
    std::ofstream(dir / "ferrolune.ini") << "[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[TABLEBASE]\nSyzygy=0\n";
    EngineRun run = RunEngineWith("console\nsee\ngetboard\nq\n", dir);
    std::filesystem::remove_all(dir);
    EXPECT_EQ(run.status, 0);

    const std::regex block(
        "\nTestCase ([ 0-9]{2}) {22}Score: {10}([ 0-9-]{5})\n"
        "Move: {11}([ a-h1-8qrbn]{8}) {6}SEE move: {7}([ 0-9-]{8})\n"
        "Best: {11}([ a-h1-8qrbn]{8}) {6}SEE best: {7}([ 0-9-]{8})\n");
    const char* references[25][2] = {
        {"c3d4", "-125"}, {"d3e5", "150"},  {"d3e5", "-1025"}, {"e5f6", "325"},  {"b3a1", "500"},
        {"e5d4", "0"},    {"e6d8", "625"},  {"c8c3", "-625"},  {"c7c3", "-625"}, {"e5f3", "725"},
        {"b4c3", "0"},    {"f6d5", "-225"}, {"f6d5", "-850"},  {"h6g5", "100"},  {"h6g5", "100"},
        {"c8c1", "0"},    {"b5c4", "0"},    {"b5c4", "0"},     {"d5e7", "0"},    {"d3e4", "275"},
        {"g3b8", "0"},    {"e4f6", "-225"}, {"g3c7", "175"},   {"d7d8q", "0"},   {"d7d8q", "-625"},
    };
    int n = 0;
    for (std::sregex_iterator it(run.out.begin(), run.out.end(), block), end; it != end; ++it, ++n) {
        const std::smatch& m = *it;
        ASSERT_LT(n, 25);
        EXPECT_EQ(std::stoi(m[1]), n + 1);
        EXPECT_EQ(std::stoi(m[2]), std::stoi(references[n][1])) << n + 1;
        EXPECT_EQ(std::regex_replace(m[3].str(), std::regex(" "), ""), references[n][0]);
        // When the best capture is the tested move both exchanges agree.
        if (m[3] == m[5]) {
            EXPECT_EQ(m[4], m[6]) << n + 1;
        }
    }
    EXPECT_EQ(n, 25) << run.out;
    // The game position is left at the last test position.
    EXPECT_NE(run.out.find("FEN: 5k2/p2P2pp/1b6/1p6/1Nn1P1n1/8/PPP4P/R2QK1NR w KQ - \n"), std::string::npos);
}
