#include <cstdio>

#include "frontend/config.h"
#include "frontend/minIni.h"
#include "search/timeman.h"
#include "support.h"

namespace {

// Loads a settings file of the given text (none when text is null) and returns what the load printed.
std::string Load(const char* text) {
    ScratchDir dir("settings");
    if (text) dir.Write("ferrolune.ini", text);
    return Printed([&] { LoadSettings((dir.path / "ferrolune.ini").string().c_str()); });
}

// Every setting on one line: depth threads post hash(MB/entries) pawn(MB/entries) book use rand syzygy
// [dtz] [wdl] men | five time settings | three 720000 defaults.
std::string Summary() {
    char s[1024];
    const TimeControl& t = timeControl;
    std::snprintf(s, sizeof s, "%d %d %u %d/%llu %d/%llu %s %u %u %u [%s] [%s] %d | %d %d %d %d %d | %d %d %d",
                  settings.maxDepth, settings.threadCount, settings.postThinking, settings.hashSizeMB,
                  (unsigned long long)settings.hashEntries, settings.pawnHashSizeMB,
                  (unsigned long long)settings.pawnHashEntries, settings.bookFile, settings.useBook,
                  settings.randomBook, settings.useSyzygy, settings.dtzPath, settings.wdlPath, settings.tbProbeLimit,
                  t.SuddenDeath, t.MoreTime, t.LessTime, t.FastGame, t.FastOpening, t.moveTimeLimit, t.myTime,
                  t.allocated);
    return s;
}

const std::string DEFAULTS =
    "63 2 1 8192/536870912 24/1048576 Tellarin_12.9c.bin 1 1 1 [] [] 5 | 20 5 5 5 15 | 720000 720000 720000";

}  // namespace

TEST(Settings, MissingBinaryAndOutOfRangeGiveDefaults) {
    EXPECT_EQ(Summary(), DEFAULTS) << "the process starts with the settings of a missing file";
    EXPECT_EQ(Load(nullptr), "Thread allocated for lazySMP: 2\n");
    EXPECT_EQ(Summary(), DEFAULTS);
    std::string binary;
    for (int i = 0; i < 4096; ++i) binary += char((i * 131 + 7) & 0xFF);
    Load(binary.c_str());
    EXPECT_EQ(Summary(), DEFAULTS);
    // Settings changed by commands are not kept when the file is read again.
    timeControl.moveTimeLimit = 500;
    Load("[ENGINE]\n");
    EXPECT_EQ(Summary(), DEFAULTS);

    Load("[ENGINE]\nMaxDepth=64\nThread=0\nHashSize=0\nHashPawnSize=30\n[TABLEBASE]\nSyzygyMen=8\n"
         "[TIME]\nSuddenDeath=9\nMoreTime=16\nLessTime=4\nFastGame=-1\nFastOpening=4\n");
    EXPECT_EQ(Summary(), "63 1 1 256/16777216 4/262144 Tellarin_12.9c.bin 1 1 1 [] [] 5 | 20 5 5 5 15 | "
                         "720000 720000 720000");
    // Values far outside the byte fields must not wrap into range.
    EXPECT_EQ(Load("[ENGINE]\nMaxDepth=258\nThread=260\n"), "Thread allocated for lazySMP: 1\n");
    EXPECT_EQ(settings.maxDepth, 63);
}

TEST(Settings, AcceptedValuesAndDerivedSizes) {
    EXPECT_EQ(Load("[engine]\nmaxdepth: 2\nTHREAD = 24\nPostThinking=F\nHashSize=0x100\nHashPawnSize=16\n"
                   "[BOOK]\nBookFile=\"my book.bin\" ; comment\nBook=no\nRandBook=false\n"
                   "[TABLEBASE]\nSyzygy=0\ndtzPath=/tb/dtz\nwdlPath = /tb/wdl \nSyzygyMen=7\n"
                   "[TIME]\nSuddenDeath=40\nMoreTime=15\nLessTime=10\nFastGame=15\nFastOpening=5\n"),
              "Thread allocated for lazySMP: 24\n");
    EXPECT_EQ(Summary(), "2 24 0 256/16777216 16/1048576 my book.bin 0 0 0 [/tb/dtz] [/tb/wdl] 7 | 40 15 10 15 5 | "
                         "720000 720000 720000");

    // Below 4 MB the table is sized as for 16 MB, but the requested size is stored. "x" reads as 0, and
    // only the first letter of a boolean counts ("o" of "off" is neither yes nor no).
    Load(("[ENGINE]\nHashSize=2\nHashPawnSize=1\nMaxDepth=x\n[BOOK]\nBook=maybe\nRandBook=off\nBookFile=" +
          std::string(150, 'b') + "\n")
             .c_str());
    EXPECT_EQ(Summary(), "63 2 1 2/1048576 1/1048576 " + std::string(99, 'b') +
                             " 1 1 1 [] [] 5 | 20 5 5 5 15 | 720000 720000 720000");
    // Depth 2 is the shallowest accepted.
    Load("[ENGINE]\nMaxDepth=1\n");
    EXPECT_EQ(settings.maxDepth, 63);
}

// Copying the shipped example unchanged must give the engine of no settings file at all.
TEST(Settings, ExampleFileGivesTheDefaults) {
    const std::string example = FERROLUNE_SOURCE_DIR "/ferrolune.example.ini";
    const std::string text = ReadFile(example);
    ASSERT_FALSE(text.empty()) << example;
    Load(text.c_str());
    EXPECT_EQ(Summary(), DEFAULTS);
}
