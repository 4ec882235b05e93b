// The tablebase registry: which Syzygy tables exist, their lazy loading and the DTZ cache.
#pragma once

#include <atomic>
#include <cstdint>

#include "board/position.h"

constexpr int TBPIECES = 6;       // largest material of the registry, kings included
constexpr int TBMAX_PIECE = 254;  // registry records of materials without pawns
constexpr int TBMAX_PAWN = 256;   // registry records of materials with pawns
constexpr int HSHMAX = 5;         // slots of one tableHash bucket
constexpr int DTZ_CACHE_SIZE = 64;

constexpr uint32_t WDL_MAGIC = 0x5D23E871;
constexpr uint32_t DTZ_MAGIC = 0xA50C66D7;

// One compression header of a table file, with the decoding arrays built from it.
struct PairsData {
    const uint8_t* indexTable;  // 6-byte entries: block (32-bit), offset (16-bit)
    const uint8_t* sizeTable;   // 16-bit per block: values in the block minus 1
    const uint8_t* data;        // compressed blocks of 2^blockSize bytes
    const uint8_t* offset;      // 16-bit first symbol per code length, from minLen on
    uint8_t* symLen;            // per symbol: length of its expansion minus 1
    const uint8_t* symPat;      // 3 bytes per symbol: left and right 12-bit halves
    int32_t blockSize;
    int32_t idxBits;
    int32_t minLen;  // the single stored value when idxBits is 0
    uint32_t base[33];  // canonical code thresholds, indexed by code length minus minLen
    // Bounds of the sections above, checked while decoding so that a corrupt file cannot lead outside them.
    int32_t maxLen;
    uint32_t symbolCount;
    uint64_t indexEntries;
    uint32_t blocks;      // entries of sizeTable
    uint32_t realBlocks;  // blocks present in data
};

// Decoding data of one side to move in one file group.
struct TableSide {
    PairsData* pairs;
    int32_t factor[TBPIECES];
    uint8_t pieces[TBPIECES];  // piece codes in table order: colour * 8 + kind, colours as stored
    uint8_t norm[TBPIECES];    // group sizes at the first position of each group
};

struct TableEntry {
    const uint8_t* data;  // start of the mapped file
    uint64_t key;         // material key of the material as named
    uint64_t mapping;     // bytes mapped
    std::atomic<uint8_t> ready;
    uint8_t num;
    uint8_t symmetric;
    uint8_t hasPawns;
    uint8_t encType;   // materials without pawns: 0 three unique pieces lead, 2 the two kings lead
    uint8_t pawns[2];  // materials with pawns: pawns of the leading colour, then of the other
    uint8_t pieceCount[16];  // pieces of each code (colour * 8 + kind) of the named material
    TableSide side[4][2];    // per file group (one without pawns) and side to move; DTZ uses side 0
    // DTZ only: per file group the flags byte of its pairs header, the value maps and their starts.
    uint8_t flags[4];
    const uint8_t* map;
    uint32_t mapLength;
    uint16_t mapIdx[4][4];
};

struct TableHashSlot {
    Relaxed<uint64_t> key;  // cleared by a loading thread while others look keys up
    TableEntry* entry;
};

struct DtzCacheSlot {
    uint64_t key1;
    uint64_t key2;
    TableEntry* entry;
};

extern char wdlDirectory[128];
extern char dtzDirectory[128];
extern TableEntry pieceTables[TBMAX_PIECE];
extern int pieceTableCount;
extern TableEntry pawnTables[TBMAX_PAWN];
extern int pawnTableCount;
extern TableHashSlot tableHash[1024][HSHMAX];
extern DtzCacheSlot dtzCache[DTZ_CACHE_SIZE];

void InitTablebases(const char* dtzPath, const char* wdlPath);
// Registers the material if its WDL file exists in wdlDirectory.
void RegisterTable(const char* name);

// Both colours' pieces of one kind (PAWN .. KING).
inline Bitboard KindSet(const Position& pos, int kind) {
    switch (kind) {
        case PAWN: return Pawns(pos);
        case KNIGHT: return Knights(pos);
        case BISHOP: return Bishops(pos);
        case ROOK: return Rooks(pos);
        case QUEEN: return Queens(pos);
        default: return Kings(pos);
    }
}

// Real colours: with mirror 0 White's pieces come first (in the name) or are hashed as White's (in the key).
void MaterialName(const Position& pos, int mirror, char* text);
uint64_t MaterialKey(const Position& pos, int mirror);
uint64_t MaterialKeyOfName(const char* name, int mirror);
uint64_t KvKKey();

// Maps a whole file read-only; an unopenable file or a failed mapping ends the process with its message.
// An empty file cannot be mapped: it yields nullptr and size 0 so that the caller drops it as corrupt.
const uint8_t* MapTableFile(const char* path, uint64_t& size);
void UnmapTableFile(const uint8_t* data, uint64_t size);

TableHashSlot* FindTable(uint64_t key);

// The lazy loading steps that precede every table lookup; nullptr with success 0 when there is no usable table.
TableEntry* LookupWdlEntry(const Position& pos, uint64_t key, int& success);
TableEntry* LookupDtzEntry(const Position& pos, uint64_t key, int& success);
void LoadDtzTable(const char* name, uint64_t key1, uint64_t key2);
