// The transposition table shared by all search threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

// The search generation, stamped into every record a search writes; also the count of searches in the
// current game.
extern uint8_t hashAge;

// Kinds of bound kept in a record's Flags field.
constexpr int BoundNone = 0;
constexpr int BoundExact = 1;
constexpr int BoundUpper = 2;  // the score is at most this
constexpr int BoundLower = 3;  // the score is at least this

// Probe results no real score can take: a record that may not be used, and no record at all.
constexpr int16_t HashNoCut = 30001;
constexpr int16_t HashMiss = 30002;

// check = key XOR data, so a record torn by a concurrent writer fails the key test and reads as a miss.
// The words are only touched through relaxed atomic operations (see tt.cpp); a record whose check
// is 0 is empty.
struct HashRecord {
    uint64_t check;
    uint64_t data;
};
static_assert(sizeof(HashRecord) == 16);

// Fields of the data word.
constexpr int HashDepth(uint64_t data) { return int(data & 63); }
constexpr int HashFlags(uint64_t data) { return int((data >> 6) & 3); }
constexpr int HashAge(uint64_t data) { return int((data >> 8) & 0xFF); }
constexpr int16_t HashScore(uint64_t data) { return int16_t(uint16_t(data >> 16)); }
constexpr Move HashBest(uint64_t data) { return Move(data >> 32); }

// Lines of four records (64 bytes) per block, as a shift. A clear empties the table by moving it to a new
// epoch, without touching it: a block not made live in the current epoch reads as empty, and the first
// store into it makes it live and zeroes its lines. Four lines to a block keep the blocks' entries at 8
// bytes per 256 bytes of table.
constexpr unsigned BLOCK_SHIFT = 2;
constexpr uint64_t BLOCK_LINES = uint64_t(1) << BLOCK_SHIFT;

// Tables up to this size keep every block's lines in place, block b at line 4b. Larger ones give a block a
// slot of a pool, the next free one, the first time it is stored into in an epoch, and a clear starts the
// pool again from its first slot. A search then touches memory in proportion to what it stores, not to the
// table's size: the system never has to back gigabytes at once.
constexpr std::size_t LARGEST_IN_PLACE_BYTES = std::size_t(64) << 20;

struct TranspositionTable {
    // The blocks' lines, and the start of the table's one mapping (of mappedBytes). Records are read and
    // written by lines of four (64 bytes; the lines start on a page boundary).
    HashRecord* records = nullptr;
    uint64_t entries = 0;  // N, a power of two; 0 while no table is allocated
    int sizeMB = 0;
    std::size_t mappedBytes = 0;
    // Per block: the epoch it was last made live in (high 32 bits) and the slot that holds its lines (low 32
    // bits; in place, the block's own number). Read with acquire loads and written with release stores, so a
    // reader that sees a block live also sees its lines zeroed.
    uint64_t* blocks = nullptr;
    uint64_t blockCount = 0;
    // The table's clear count: every clear and every allocation moves it on. Never 0, the epoch of a block
    // never made live, nor 2^32 - 1, that of a block being made live; changed only while no search runs.
    uint32_t epoch = 0;
    bool pooled = false;
    uint64_t slotCapacity = 0;  // slots in the pool (pooled tables only)
    std::atomic<uint64_t> slotsUsed{0};
};

extern TranspositionTable transpositionTable;

// Records for a size in megabytes: the largest power of two of bytes not above the size, in 16-byte records
// (a request below 4 MB counts as 16 MB).
constexpr uint64_t HashEntriesForMB(int megabytes) {
    uint64_t bytes = megabytes < 4 ? uint64_t(1) << 24 : uint64_t(megabytes) << 20;
    uint64_t power = 1;
    while (power <= bytes) power <<= 1;
    return power / 32;
}
// Releases the previous table and maps a zeroed one of entries + 4 records, pooled when it is larger than
// LARGEST_IN_PLACE_BYTES. Prints the allocation message, or the failure message; after a failure probes
// miss and stores are dropped until a later allocation works.
void AllocateHashTable(uint64_t entries, int megabytes);
// The same with the kind chosen by the caller; the search sees the same table either way.
void AllocateHashTableOfKind(uint64_t entries, int megabytes, bool pooled);
void ClearHashTable();
// Record i as every reader sees it: all zero when its block is not live.
HashRecord ReadHashRecord(uint64_t i);
// Asks for what a probe of the key is likely to need soon. Always inlined: GCC takes a function whose only
// work is prefetching for one without effects and drops every call to it.
[[gnu::always_inline]] inline void PrefetchHash(uint64_t key) {
    const TranspositionTable& tt = transpositionTable;
    if (!tt.records) return;
    const uint64_t index = key & (tt.entries - 1);
    __builtin_prefetch(tt.blocks + (index >> (2 + BLOCK_SHIFT)));
    // Where a pooled block's lines lie is known only once its entry has arrived.
    if (tt.pooled) return;
    __builtin_prefetch(tt.records + index);
    __builtin_prefetch(tt.records + index + 3);
}
// Writes every addressable record to "DumpHash/dump.csv".
void DumpHashTable();

// Returns the usable score, HashNoCut or HashMiss. On a hit the record's data word is copied to data.
int16_t ProbeHash(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta);
void StoreHash(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move);
// The same on the bucket at an explicit index; the key is still the position's.
int16_t ProbeHashAt(const Position& pos, uint64_t& data, uint8_t depth, uint8_t ply, int16_t alpha, int16_t beta,
                    uint64_t index);
void StoreHashAt(const Position& pos, uint8_t depth, uint8_t ply, int flags, int16_t score, Move move,
                 uint64_t index);
// A thread that has stored into a pooled table takes its slots in runs; before it ends it hands back what is
// left of its run, for the next thread to use. A thread that does not loses at most one run until the next
// clear.
void ParkSlotRun();
