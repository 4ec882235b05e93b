#include "frontend/config.h"

#include <cassert>
#include <cstdio>

#include "book/book.h"
#include "frontend/minIni.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"

namespace {

// An integer key: its default where the file or the key is missing, and the fallback that replaces any
// value outside low..high, the default included.
struct IntegerKey {
    const char* section;
    const char* name;
    int32_t byDefault, low, high, fallback;
};

constexpr IntegerKey MAX_DEPTH{"ENGINE", "MaxDepth", 64, 2, 63, 63};
constexpr IntegerKey THREAD{"ENGINE", "Thread", 2, 1, MAX_THREADS, 1};
constexpr IntegerKey HASH_SIZE{"ENGINE", "HashSize", MAX_HASH_MB, 1, MAX_HASH_MB, 256};
constexpr IntegerKey HASH_PAWN_SIZE{"ENGINE", "HashPawnSize", 24, 1, 24, 4};
constexpr IntegerKey SYZYGY_MEN{"TABLEBASE", "SyzygyMen", 5, 3, 7, 5};
// The "TIME" keys default to the values the time control starts with, which are also their fallbacks.
constexpr TimeControl TIME_DEFAULTS{};
constexpr IntegerKey SUDDEN_DEATH{"TIME", "SuddenDeath", TIME_DEFAULTS.SuddenDeath, 10, 40, TIME_DEFAULTS.SuddenDeath};
constexpr IntegerKey MORE_TIME{"TIME", "MoreTime", TIME_DEFAULTS.MoreTime, 5, 15, TIME_DEFAULTS.MoreTime};
constexpr IntegerKey LESS_TIME{"TIME", "LessTime", TIME_DEFAULTS.LessTime, 5, 15, TIME_DEFAULTS.LessTime};
constexpr IntegerKey FAST_GAME{"TIME", "FastGame", TIME_DEFAULTS.FastGame, 5, 15, TIME_DEFAULTS.FastGame};
constexpr IntegerKey FAST_OPENING{"TIME", "FastOpening", TIME_DEFAULTS.FastOpening, 5, 15, TIME_DEFAULTS.FastOpening};
// "PostThinking", "Book", "RandBook" and "Syzygy" are on by default; "dtzPath" and "wdlPath" are empty.
constexpr int SWITCH_DEFAULT = 1;

// Each read gives the key's value in the file, or its default where there is no file (file null) or no key.
// Without a file the reads are constant expressions, so that the settings of a run without a file are
// initialised as a constant rather than by code run before main.
constexpr int32_t ReadInteger(const IntegerKey& key, const char* file) {
    const int32_t value = file ? IniGetLong(key.section, key.name, key.byDefault, file) : key.byDefault;
    return value >= key.low && value <= key.high ? value : key.fallback;
}
constexpr uint32_t ReadSwitch(const char* section, const char* name, const char* file) {
    return uint32_t(file ? IniGetBool(section, name, SWITCH_DEFAULT, file) : SWITCH_DEFAULT);
}
template <int Size>
constexpr void ReadText(const char* section, const char* name, const char* byDefault, char (&text)[Size],
                        const char* file) {
    if (file) {
        IniGetString(section, name, byDefault, text, Size, file);
        return;
    }
    int i = 0;
    for (; i < Size - 1 && byDefault[i]; ++i) text[i] = byDefault[i];
    text[i] = '\0';
}

// Both tables are sized by the transposition table's rule; a pawn entry being twice a hash record, a
// pawn table fills between once and twice its configured size.
constexpr uint64_t EntriesForMB(int32_t mb) {
    uint64_t entries = HashEntriesForMB(mb);
    assert(entries > 0 && entries <= (uint64_t(1) << 29));
    assert(entries != 0 && (entries & (entries - 1)) == 0);
    return entries;
}

constexpr EngineSettings ReadSettings(const char* file) {
    EngineSettings s{};
    s.maxDepth = uint8_t(ReadInteger(MAX_DEPTH, file));
    s.threadCount = uint8_t(ReadInteger(THREAD, file));
    s.postThinking = ReadSwitch("ENGINE", "PostThinking", file);
    s.hashSizeMB = ReadInteger(HASH_SIZE, file);
    s.hashEntries = EntriesForMB(s.hashSizeMB);
    s.pawnHashSizeMB = ReadInteger(HASH_PAWN_SIZE, file);
    s.pawnHashEntries = EntriesForMB(s.pawnHashSizeMB);
    ReadText("BOOK", "BookFile", DEFAULT_BOOK_FILE, s.bookFile, file);
    s.useBook = ReadSwitch("BOOK", "Book", file);
    s.randomBook = ReadSwitch("BOOK", "RandBook", file);
    s.useSyzygy = ReadSwitch("TABLEBASE", "Syzygy", file);
    ReadText("TABLEBASE", "dtzPath", "", s.dtzPath, file);
    ReadText("TABLEBASE", "wdlPath", "", s.wdlPath, file);
    s.tbProbeLimit = ReadInteger(SYZYGY_MEN, file);
    return s;
}

}  // namespace

// What a run without a settings file has.
constinit EngineSettings settings = ReadSettings(nullptr);

void LoadSettings(const char* Filename) {
    settings = ReadSettings(Filename);
    std::printf("Thread allocated for lazySMP: %i\n", settings.threadCount);

    timeControl.moveTimeLimit = TIME_DEFAULTS.moveTimeLimit;
    timeControl.myTime = TIME_DEFAULTS.myTime;
    timeControl.allocated = TIME_DEFAULTS.allocated;

    timeControl.SuddenDeath = ReadInteger(SUDDEN_DEATH, Filename);
    timeControl.MoreTime = ReadInteger(MORE_TIME, Filename);
    timeControl.LessTime = ReadInteger(LESS_TIME, Filename);
    timeControl.FastGame = ReadInteger(FAST_GAME, Filename);
    timeControl.FastOpening = ReadInteger(FAST_OPENING, Filename);
}
