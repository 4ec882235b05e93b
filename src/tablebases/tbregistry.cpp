#include "tablebases/tbregistry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "platform/mappedfile.h"
#include "tablebases/tbdecode.h"

char wdlDirectory[128];
char dtzDirectory[128];
// Value-initialised: with their atomic members left to default initialisation these tables would be set up by
// code run before main.
constinit TableEntry pieceTables[TBMAX_PIECE]{};
int pieceTableCount;
constinit TableEntry pawnTables[TBMAX_PAWN]{};
int pawnTableCount;
constinit TableHashSlot tableHash[1024][HSHMAX]{};
DtzCacheSlot dtzCache[DTZ_CACHE_SIZE];

namespace {

// Made on first use: with MinGW-w64's threads a std::mutex is not initialised as a constant, and no code of
// the engine may run before main (the portable executable chooses its code there).
std::mutex& TablebaseLock() {
    static std::mutex tablebaseLock;
    return tablebaseLock;
}

constexpr char PIECE_LETTERS[] = "KQRBNP";

int CodeOfLetter(char c) {
    switch (c) {
        case 'K': return KING;
        case 'Q': return QUEEN;
        case 'R': return ROOK;
        case 'B': return BISHOP;
        case 'N': return KNIGHT;
        case 'P': return PAWN;
        default: return 0;
    }
}

// counts[colour][kind] with real colours, 0 White.
void CountPieces(const Position& pos, int counts[2][7]) {
    Bitboard white = pos.side == 0 ? pos.own : Opponent(pos);
    Bitboard black = Occupied(pos) ^ white;
    for (int kind = PAWN; kind <= KING; ++kind) {
        Bitboard set = KindSet(pos, kind);
        counts[0][kind] = PopCount(set & white);
        counts[1][kind] = PopCount(set & black);
    }
    counts[0][0] = counts[1][0] = 0;
}

// Material key of counts[colour][kind]: White's pieces hash in row 8 + kind, Black's in row kind.
uint64_t KeyOfCounts(const int counts[2][7], int mirror) {
    uint64_t key = 0;
    for (int colour = 0; colour < 2; ++colour)
        for (int kind = PAWN; kind <= KING; ++kind) {
            int row = (colour ^ mirror) == 0 ? 8 + kind : kind;
            for (int n = 0; n < counts[colour][kind]; ++n) key ^= PieceKeys[row][n];
        }
    return key;
}

bool CountsOfName(const char* name, int counts[2][7]) {
    std::memset(counts, 0, sizeof(int) * 14);
    int colour = 0;
    for (const char* p = name; *p; ++p) {
        if (*p == 'v') {
            if (++colour > 1) return false;
            continue;
        }
        int code = CodeOfLetter(*p);
        if (!code) return false;
        ++counts[colour][code];
    }
    return colour == 1;
}

[[noreturn]] void Fatal(const char* message) {
    fputs(message, stdout);
    fflush(stdout);
    std::exit(1);
}

void InsertKey(uint64_t key, TableEntry* entry) {
    TableHashSlot* bucket = tableHash[key >> 54];
    for (int i = 0; i < HSHMAX; ++i)
        if (!bucket[i].entry) {
            bucket[i].key = key;
            bucket[i].entry = entry;
            return;
        }
    Fatal("HSHMAX too low!\n");
}

void ReportCorrupt() {
    fputs("Corrupted table.\n", stdout);
    fflush(stdout);
}

// Maps the file and lays it out; false (after the message) when it is not a usable table of that kind.
bool LoadTableFile(TableEntry& entry, const char* path, uint32_t magic, bool isWdl) {
    uint64_t size = 0;
    entry.data = MapTableFile(path, size);
    entry.mapping = size;
    bool good = entry.data && size >= 4 &&
                (uint32_t(entry.data[0]) | uint32_t(entry.data[1]) << 8 | uint32_t(entry.data[2]) << 16 |
                 uint32_t(entry.data[3]) << 24) == magic;
    if (good) good = isWdl ? ParseWdlFile(entry) : ParseDtzFile(entry);
    if (!good) {
        ReportCorrupt();
        UnmapTableFile(entry.data, entry.mapping);
        entry.data = nullptr;
        entry.mapping = 0;
    }
    return good;
}

void ReleaseDtzEntry(TableEntry*& entry) {
    if (!entry) return;
    FreeTableData(*entry);
    UnmapTableFile(entry->data, entry->mapping);
    delete entry;
    entry = nullptr;
}

void ResetEntry(TableEntry& e) {
    if (e.data) {
        FreeTableData(e);
        UnmapTableFile(e.data, e.mapping);
    }
    e.data = nullptr;
    e.key = 0;
    e.mapping = 0;
    e.ready.store(0, std::memory_order_relaxed);
    e.num = e.symmetric = e.hasPawns = e.encType = 0;
    e.pawns[0] = e.pawns[1] = 0;
    std::memset(e.pieceCount, 0, sizeof(e.pieceCount));
    std::memset(e.side, 0, sizeof(e.side));
    std::memset(e.flags, 0, sizeof(e.flags));
    e.map = nullptr;
    e.mapLength = 0;
    std::memset(e.mapIdx, 0, sizeof(e.mapIdx));
}

bool SetDirectory(char (&dir)[128], const char* path) {
    if (std::strlen(path) > sizeof(dir) - 1) return false;
    std::strcpy(dir, path);
    return true;
}

}  // namespace

uint64_t KvKKey() { return PieceKeys[14][0] ^ PieceKeys[6][0]; }

void MaterialName(const Position& pos, int mirror, char* text) {
    int counts[2][7];
    CountPieces(pos, counts);
    char* out = text;
    for (int half = 0; half < 2; ++half) {
        int colour = half ^ mirror;
        *out++ = 'K';
        for (int letter = 1; letter <= 5; ++letter)
            for (int n = 0; n < counts[colour][CodeOfLetter(PIECE_LETTERS[letter])]; ++n)
                *out++ = PIECE_LETTERS[letter];
        if (half == 0) *out++ = 'v';
    }
    *out = 0;
}

uint64_t MaterialKey(const Position& pos, int mirror) {
    int counts[2][7];
    CountPieces(pos, counts);
    return KeyOfCounts(counts, mirror);
}

uint64_t MaterialKeyOfName(const char* name, int mirror) {
    int counts[2][7];
    if (!CountsOfName(name, counts)) return 0;
    return KeyOfCounts(counts, mirror);
}

const uint8_t* MapTableFile(const char* path, uint64_t& size) {
    const uint8_t* data = nullptr;
    switch (MapFileReadOnly(path, data, size)) {
        case MapFileResult::Mapped: return data;
        case MapFileResult::OpenFailed:
            printf("Could not open %s for reading.\n", path);
            fflush(stdout);
            std::exit(1);
        case MapFileResult::MappingFailed: Fatal("CreateFileMapping() failed.\n");
        case MapFileResult::ViewFailed: Fatal("MapViewOfFile() failed.\n");
    }
    return nullptr;
}

void UnmapTableFile(const uint8_t* data, uint64_t size) { UnmapFile(data, size); }

void RegisterTable(const char* name) {
    char path[300];
    snprintf(path, sizeof(path), "%s/%s.rtbw", wdlDirectory, name);
    FILE* f = fopen(path, "rb");
    if (!f) return;
    fclose(f);

    int counts[2][7];
    if (!CountsOfName(name, counts)) return;
    uint64_t key = KeyOfCounts(counts, 0);
    uint64_t key2 = KeyOfCounts(counts, 1);
    bool hasPawns = counts[0][PAWN] + counts[1][PAWN] > 0;

    TableEntry* entry;
    if (!hasPawns) {
        if (pieceTableCount == TBMAX_PIECE) Fatal("TBMAX_PIECE limit too low!\n");
        entry = &pieceTables[pieceTableCount++];
    } else {
        if (pawnTableCount == TBMAX_PAWN) Fatal("TBMAX_PAWN limit too low!\n");
        entry = &pawnTables[pawnTableCount++];
    }
    ResetEntry(*entry);
    entry->key = key;
    int num = 0, unique = 0;
    for (int colour = 0; colour < 2; ++colour)
        for (int kind = PAWN; kind <= KING; ++kind) {
            num += counts[colour][kind];
            unique += counts[colour][kind] == 1;
            entry->pieceCount[colour * 8 + kind] = uint8_t(counts[colour][kind]);
        }
    entry->num = uint8_t(num);
    entry->symmetric = key == key2;
    entry->hasPawns = hasPawns;
    if (hasPawns) {
        // The colour with fewer pawns, but at least one, leads.
        entry->pawns[0] = uint8_t(counts[0][PAWN]);
        entry->pawns[1] = uint8_t(counts[1][PAWN]);
        if (counts[1][PAWN] && (!counts[0][PAWN] || counts[0][PAWN] > counts[1][PAWN]))
            std::swap(entry->pawns[0], entry->pawns[1]);
    } else {
        entry->encType = unique >= 3 ? 0 : 2;
    }
    InsertKey(key, entry);
    if (key2 != key) InsertKey(key2, entry);
}

void InitTablebases(const char* dtzPath, const char* wdlPath) {
    dtzDirectory[0] = wdlDirectory[0] = 0;
    // A directory that does not fit is refused whole rather than shortened into another directory.
    const bool dtzFits = SetDirectory(dtzDirectory, dtzPath);
    const bool wdlFits = SetDirectory(wdlDirectory, wdlPath);
    if (!dtzFits || !wdlFits)
        fputs("Tablebase path longer than 127 characters ignored.\n", stdout);

    // A second initialisation starts from an empty registry; no search runs meanwhile.
    for (int i = 0; i < pieceTableCount; ++i) ResetEntry(pieceTables[i]);
    for (int i = 0; i < pawnTableCount; ++i) ResetEntry(pawnTables[i]);
    pieceTableCount = pawnTableCount = 0;
    for (auto& bucket : tableHash)
        for (auto& slot : bucket) {
            slot.key = 0;
            slot.entry = nullptr;
        }
    for (auto& slot : dtzCache) {
        ReleaseDtzEntry(slot.entry);
        slot = {0, 0, nullptr};
    }

    const char* env = getenv("RTBZDIR");
    if (env && std::strlen(env) <= 99) {
        std::strcpy(dtzDirectory, env);
        fputs("$DTZDIR loaded\n", stdout);
    }
    env = getenv("RTBWDIR");
    if (env && std::strlen(env) <= 99) {
        std::strcpy(wdlDirectory, env);
        fputs("$WDLDIR loaded\n", stdout);
    }

    char name[16];
    auto L = [](int i) { return PIECE_LETTERS[i]; };
    for (int i = 1; i <= 5; ++i) {
        snprintf(name, sizeof(name), "K%cvK", L(i));
        RegisterTable(name);
    }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j) {
            snprintf(name, sizeof(name), "K%cvK%c", L(i), L(j));
            RegisterTable(name);
        }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j) {
            snprintf(name, sizeof(name), "K%c%cvK", L(i), L(j));
            RegisterTable(name);
        }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j)
            for (int k = 1; k <= 5; ++k) {
                snprintf(name, sizeof(name), "K%c%cvK%c", L(i), L(j), L(k));
                RegisterTable(name);
            }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j)
            for (int k = j; k <= 5; ++k) {
                snprintf(name, sizeof(name), "K%c%c%cvK", L(i), L(j), L(k));
                RegisterTable(name);
            }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j)
            for (int k = i; k <= 5; ++k)
                for (int l = (k == i ? j : k); l <= 5; ++l) {
                    snprintf(name, sizeof(name), "K%c%cvK%c%c", L(i), L(j), L(k), L(l));
                    RegisterTable(name);
                }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j)
            for (int k = j; k <= 5; ++k)
                for (int l = 1; l <= 5; ++l) {
                    snprintf(name, sizeof(name), "K%c%c%cvK%c", L(i), L(j), L(k), L(l));
                    RegisterTable(name);
                }
    for (int i = 1; i <= 5; ++i)
        for (int j = i; j <= 5; ++j)
            for (int k = j; k <= 5; ++k)
                for (int l = k; l <= 5; ++l) {
                    snprintf(name, sizeof(name), "K%c%c%c%cvK", L(i), L(j), L(k), L(l));
                    RegisterTable(name);
                }

    printf("Found %d tablebases.\n", pieceTableCount + pawnTableCount);
    fflush(stdout);
    InitIndexTables();
}

TableHashSlot* FindTable(uint64_t key) {
    TableHashSlot* bucket = tableHash[key >> 54];
    for (int i = 0; i < HSHMAX; ++i)
        if (bucket[i].key == key && bucket[i].entry) return &bucket[i];
    return nullptr;
}

TableEntry* LookupWdlEntry(const Position& pos, uint64_t key, int& success) {
    TableHashSlot* slot = FindTable(key);
    if (!slot) {
        success = 0;
        return nullptr;
    }
    TableEntry* entry = slot->entry;
    if (!entry->ready.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> guard(TablebaseLock());
        if (!entry->ready.load(std::memory_order_relaxed)) {
            char name[16], path[300];
            MaterialName(pos, slot->key != entry->key, name);
            snprintf(path, sizeof(path), "%s/%s.rtbw", wdlDirectory, name);
            if (!LoadTableFile(*entry, path, WDL_MAGIC, true)) {
                slot->key = 0;  // the material is never found again
                success = 0;
                return nullptr;
            }
            entry->ready.store(1, std::memory_order_release);
        }
    }
    return entry;
}

void LoadDtzTable(const char* name, uint64_t key1, uint64_t key2) {
    dtzCache[0] = {key1, key2, nullptr};
    TableHashSlot* slot = FindTable(key1);
    if (!slot) return;
    const TableEntry& wdl = *slot->entry;
    TableEntry* entry = new TableEntry{};
    char path[300];
    snprintf(path, sizeof(path), "%s/%s.rtbz", dtzDirectory, name);
    entry->key = wdl.key;
    entry->num = wdl.num;
    entry->symmetric = wdl.symmetric;
    entry->hasPawns = wdl.hasPawns;
    entry->pawns[0] = wdl.pawns[0];
    entry->pawns[1] = wdl.pawns[1];
    entry->encType = wdl.encType;
    std::memcpy(entry->pieceCount, wdl.pieceCount, sizeof(entry->pieceCount));
    if (!LoadTableFile(*entry, path, DTZ_MAGIC, false)) {
        delete entry;
        return;
    }
    entry->ready.store(1, std::memory_order_relaxed);
    dtzCache[0].entry = entry;
}

TableEntry* LookupDtzEntry(const Position& pos, uint64_t key, int& success) {
    if (key != dtzCache[0].key1 && key != dtzCache[0].key2) {
        int found = 0;
        for (int i = 1; i < DTZ_CACHE_SIZE; ++i)
            if (dtzCache[i].key1 == key || dtzCache[i].key2 == key) {
                found = i;
                break;
            }
        if (found) {
            DtzCacheSlot hit = dtzCache[found];
            for (int i = found; i > 0; --i) dtzCache[i] = dtzCache[i - 1];
            dtzCache[0] = hit;
        } else {
            TableHashSlot* slot = FindTable(key);
            if (!slot) {
                success = 0;
                return nullptr;
            }
            char name[16];
            int mirror = key != slot->entry->key;
            MaterialName(pos, mirror, name);
            ReleaseDtzEntry(dtzCache[DTZ_CACHE_SIZE - 1].entry);
            for (int i = DTZ_CACHE_SIZE - 1; i > 0; --i) dtzCache[i] = dtzCache[i - 1];
            LoadDtzTable(name, MaterialKey(pos, mirror), MaterialKey(pos, !mirror));
        }
    }
    if (!dtzCache[0].entry) success = 0;
    return dtzCache[0].entry;
}
