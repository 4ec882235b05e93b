#include "frontend/config.h"

#include <cassert>
#include <cstdio>

#include "frontend/minIni.h"
#include "search/timeman.h"
#include "search/tt.h"

// The values a run without a settings file ends up with.
EngineSettings settings{63,      2,       1, 8192, uint64_t(1) << 29, 24, uint64_t(1) << 20,
                        "Tellarin_12.9c.bin", 1, 1, 1, "", "", 5};

namespace {

// Both tables are sized by the transposition table's rule; a pawn entry being twice a hash record, a
// pawn table fills between once and twice its configured size.
uint64_t EntriesForMB(int32_t mb) {
    uint64_t entries = HashEntriesForMB(mb);
    assert(entries > 0 && entries <= (uint64_t(1) << 29));
    assert(entries != 0 && (entries & (entries - 1)) == 0);
    return entries;
}

int32_t InRange(int32_t v, int32_t lo, int32_t hi, int32_t fallback) { return (v >= lo && v <= hi) ? v : fallback; }

}  // namespace

void LoadSettings(const char* Filename) {
    settings.maxDepth = uint8_t(InRange(IniGetLong("ENGINE", "MaxDepth", 64, Filename), 2, 63, 63));
    settings.threadCount = uint8_t(InRange(IniGetLong("ENGINE", "Thread", 2, Filename), 1, 24, 1));
    std::printf("Thread allocated for lazySMP: %i\n", settings.threadCount);
    settings.postThinking = uint32_t(IniGetBool("ENGINE", "PostThinking", 1, Filename));

    settings.hashSizeMB = InRange(IniGetLong("ENGINE", "HashSize", 8192, Filename), 1, 8192, 256);
    settings.hashEntries = EntriesForMB(settings.hashSizeMB);
    settings.pawnHashSizeMB = InRange(IniGetLong("ENGINE", "HashPawnSize", 24, Filename), 1, 24, 4);
    settings.pawnHashEntries = EntriesForMB(settings.pawnHashSizeMB);

    IniGetString("BOOK", "BookFile", "Tellarin_12.9c.bin", settings.bookFile, sizeof settings.bookFile, Filename);
    settings.useBook = uint32_t(IniGetBool("BOOK", "Book", 1, Filename));
    settings.randomBook = uint32_t(IniGetBool("BOOK", "RandBook", 1, Filename));
    settings.useSyzygy = uint32_t(IniGetBool("TABLEBASE", "Syzygy", 1, Filename));
    IniGetString("TABLEBASE", "dtzPath", "", settings.dtzPath, sizeof settings.dtzPath, Filename);
    IniGetString("TABLEBASE", "wdlPath", "", settings.wdlPath, sizeof settings.wdlPath, Filename);
    settings.tbProbeLimit = InRange(IniGetLong("TABLEBASE", "SyzygyMen", 5, Filename), 3, 7, 5);

    timeControl.moveTimeLimit = 720000;
    timeControl.myTime = 720000;
    timeControl.allocated = 720000;

    timeControl.SuddenDeath = InRange(IniGetLong("TIME", "SuddenDeath", 20, Filename), 10, 40, 20);
    timeControl.MoreTime = InRange(IniGetLong("TIME", "MoreTime", 5, Filename), 5, 15, 5);
    timeControl.LessTime = InRange(IniGetLong("TIME", "LessTime", 5, Filename), 5, 15, 5);
    timeControl.FastGame = InRange(IniGetLong("TIME", "FastGame", 5, Filename), 5, 15, 5);
    timeControl.FastOpening = InRange(IniGetLong("TIME", "FastOpening", 15, Filename), 5, 15, 15);
}
