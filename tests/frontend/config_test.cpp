#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "frontend/config.h"
#include "search/timeman.h"

namespace {

std::filesystem::path WriteSettings(const std::string& text, bool create = true) {
    static int counter = 0;
    auto p = std::filesystem::temp_directory_path() /
             ("ferrolune_cfg_" + std::to_string(::getpid()) + "_" + std::to_string(counter++) + ".ini");
    if (create) std::ofstream(p, std::ios::binary) << text;
    return p;
}

void Load(const std::filesystem::path& p) {
    testing::internal::CaptureStdout();
    LoadSettings(p.string().c_str());
    testing::internal::GetCapturedStdout();
    std::filesystem::remove(p);
}

void ExpectDefaults() {
    EXPECT_EQ(settings.maxDepth, 63);
    EXPECT_EQ(settings.threadCount, 2);
    EXPECT_EQ(settings.postThinking, 1u);
    EXPECT_EQ(settings.hashSizeMB, 8192);
    EXPECT_EQ(settings.hashEntries, uint64_t(1) << 29);
    EXPECT_EQ(settings.pawnHashSizeMB, 24);
    EXPECT_EQ(settings.pawnHashEntries, uint64_t(1) << 20);
    EXPECT_STREQ(settings.bookFile, "Tellarin_12.9c.bin");
    EXPECT_EQ(settings.useBook, 1u);
    EXPECT_EQ(settings.randomBook, 1u);
    EXPECT_EQ(settings.useSyzygy, 1u);
    EXPECT_STREQ(settings.dtzPath, "");
    EXPECT_STREQ(settings.wdlPath, "");
    EXPECT_EQ(settings.tbProbeLimit, 5);
    EXPECT_EQ(timeControl.SuddenDeath, 20);
    EXPECT_EQ(timeControl.MoreTime, 5);
    EXPECT_EQ(timeControl.LessTime, 5);
    EXPECT_EQ(timeControl.FastGame, 5);
    EXPECT_EQ(timeControl.FastOpening, 15);
    EXPECT_EQ(timeControl.moveTimeLimit, 720000);
    EXPECT_EQ(timeControl.myTime, 720000);
    EXPECT_EQ(timeControl.allocated, 720000);
}

}  // namespace

TEST(Settings, MissingEmptyAndBinaryFilesGiveDefaults) {
    Load(WriteSettings("", false));
    ExpectDefaults();
    Load(WriteSettings(""));
    ExpectDefaults();
    std::string binary;
    for (int i = 0; i < 4096; ++i) binary += char((i * 131 + 7) & 0xFF);
    Load(WriteSettings(binary));
    ExpectDefaults();
    // A directory cannot be read as a file.
    auto dir = WriteSettings("", false);
    std::filesystem::create_directory(dir);
    testing::internal::CaptureStdout();
    LoadSettings(dir.string().c_str());
    testing::internal::GetCapturedStdout();
    std::filesystem::remove(dir);
    ExpectDefaults();
}

TEST(Settings, OutOfRangeValuesTakeFallbacks) {
    Load(WriteSettings(
        "[ENGINE]\nMaxDepth=64\nThread=0\nHashSize=0\nHashPawnSize=30\n"
        "[TABLEBASE]\nSyzygyMen=8\n"
        "[TIME]\nSuddenDeath=9\nMoreTime=16\nLessTime=4\nFastGame=-1\nFastOpening=4\n"));
    EXPECT_EQ(settings.maxDepth, 63);
    EXPECT_EQ(settings.threadCount, 1);
    EXPECT_EQ(settings.hashSizeMB, 256);
    EXPECT_EQ(settings.hashEntries, uint64_t(1) << 24);
    EXPECT_EQ(settings.pawnHashSizeMB, 4);
    EXPECT_EQ(settings.pawnHashEntries, uint64_t(1) << 18);
    EXPECT_EQ(settings.tbProbeLimit, 5);
    EXPECT_EQ(timeControl.SuddenDeath, 20);
    EXPECT_EQ(timeControl.MoreTime, 5);
    EXPECT_EQ(timeControl.LessTime, 5);
    EXPECT_EQ(timeControl.FastGame, 5);
    EXPECT_EQ(timeControl.FastOpening, 15);

    // Values far outside the byte fields must not wrap into range.
    Load(WriteSettings("[ENGINE]\nMaxDepth=258\nThread=260\n"));
    EXPECT_EQ(settings.maxDepth, 63);
    EXPECT_EQ(settings.threadCount, 1);
}

TEST(Settings, AcceptedValuesAndDerivedSizes) {
    Load(WriteSettings(
        "[engine]\nmaxdepth: 2\nTHREAD = 24\nPostThinking=F\nHashSize=0x100\nHashPawnSize=16\n"
        "[BOOK]\nBookFile=\"my book.bin\" ; comment\nBook=no\nRandBook=false\n"
        "[TABLEBASE]\nSyzygy=0\ndtzPath=/tb/dtz\nwdlPath = /tb/wdl \nSyzygyMen=7\n"
        "[TIME]\nSuddenDeath=40\nMoreTime=15\nLessTime=10\nFastGame=15\nFastOpening=5\n"));
    EXPECT_EQ(settings.maxDepth, 2);
    EXPECT_EQ(settings.threadCount, 24);
    EXPECT_EQ(settings.postThinking, 0u);
    EXPECT_EQ(settings.hashSizeMB, 256);
    EXPECT_EQ(settings.hashEntries, uint64_t(1) << 24);
    EXPECT_EQ(settings.pawnHashSizeMB, 16);
    EXPECT_EQ(settings.pawnHashEntries, uint64_t(1) << 20);
    EXPECT_STREQ(settings.bookFile, "my book.bin");
    EXPECT_EQ(settings.useBook, 0u);
    EXPECT_EQ(settings.randomBook, 0u);
    EXPECT_EQ(settings.useSyzygy, 0u);
    EXPECT_STREQ(settings.dtzPath, "/tb/dtz");
    EXPECT_STREQ(settings.wdlPath, "/tb/wdl");
    EXPECT_EQ(settings.tbProbeLimit, 7);
    EXPECT_EQ(timeControl.SuddenDeath, 40);
    EXPECT_EQ(timeControl.MoreTime, 15);
    EXPECT_EQ(timeControl.LessTime, 10);
    EXPECT_EQ(timeControl.FastGame, 15);
    EXPECT_EQ(timeControl.FastOpening, 5);

    // Below 4 MB the table is sized as for 16 MB, but the requested size is what is stored.
    Load(WriteSettings("[ENGINE]\nHashSize=2\nHashPawnSize=1\nMaxDepth=x\n[BOOK]\nBook=maybe\nRandBook=off\n"
                       "BookFile=" + std::string(150, 'b') + "\n"));
    EXPECT_EQ(settings.hashSizeMB, 2);
    EXPECT_EQ(settings.hashEntries, uint64_t(1) << 20);
    EXPECT_EQ(settings.pawnHashSizeMB, 1);
    EXPECT_EQ(settings.pawnHashEntries, uint64_t(1) << 20);
    EXPECT_EQ(settings.maxDepth, 63);  // "x" reads as 0
    EXPECT_EQ(settings.useBook, 1u);
    EXPECT_EQ(settings.randomBook, 1u);  // only the first letter counts, and "o" is neither yes nor no
    EXPECT_EQ(std::string(settings.bookFile), std::string(99, 'b'));
}

TEST(Settings, PrintsTheThreadCount) {
    auto p = WriteSettings("[ENGINE]\nThread=7\n");
    testing::internal::CaptureStdout();
    LoadSettings(p.string().c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Thread allocated for lazySMP: 7\n");
    std::filesystem::remove(p);
}
