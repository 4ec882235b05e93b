// The tablebase registry: which Syzygy tables exist, their lazy loading and the DTZ cache.
#pragma once

#include <cstdint>

#include "board/position.h"
#include "tablebases/tbfile.h"

constexpr int TBMAX_PIECE = 254;  // registry records of materials without pawns
constexpr int TBMAX_PAWN = 256;   // registry records of materials with pawns
constexpr int HSHMAX = 5;         // slots of one tableHash bucket
constexpr int DTZ_CACHE_SIZE = 64;

constexpr uint32_t WDL_MAGIC = 0x5D23E871;
constexpr uint32_t DTZ_MAGIC = 0xA50C66D7;

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
