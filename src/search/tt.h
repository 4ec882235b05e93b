// The transposition table shared by all search threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

// The search generation, also the count of searches in the current game.
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
// The words are only touched through relaxed atomic loads and stores (see tt.cpp); a record whose check
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

// Lines per pool slot of a large table, as a shift. Four lines to a slot keep the slot numbers of an 8 GB
// table in 128 MB, while the slots a search zeroes stay a few dozen MB a second.
constexpr unsigned POOL_BLOCK_SHIFT = 2;
constexpr uint64_t POOL_BLOCK_MASK = (uint64_t(1) << POOL_BLOCK_SHIFT) - 1;

struct TranspositionTable {
    // entries + 4 records: the extra four let the bucket of the last index run past it. Records are read
    // and written by lines of four (64 bytes; the records start on a page boundary). Also the start of the
    // table's one mapping, of mappedBytes.
    HashRecord* records = nullptr;
    uint64_t entries = 0;  // N, a power of two; 0 while no table is allocated
    int sizeMB = 0;
    std::size_t mappedBytes = 0;
    uint64_t lineCount = 0;
    // Clearing gigabytes between searches must cost nothing and keep the pages, so a clear only moves the
    // table to a new epoch, and a line not made live in the current epoch reads as four empty records.
    // Making a line live zeroes it. The epoch, and the line's record of it, are read with acquire loads
    // and written with release stores, so a reader that sees a line live also sees its zeroing.
    //
    // A table of up to 64 MB keeps its lines in place, with the epoch each line was last made live in.
    uint8_t* lineEpochs = nullptr;
    uint8_t epoch = 0;  // changed only while no search runs; 0 is never current again after a clear
    uint64_t sweepCursor = 0;
    // A larger table gives each block of four lines a slot in a pool when the block is first written in an
    // epoch, and a clear starts the pool again from its first slot. A search then touches memory in
    // proportion to what it stores, not to the table's size: the kernel never has to fault gigabytes in,
    // and the lines a search stores lie close together, on few pages.
    uint32_t* blockSlots = nullptr;  // per block: the slot it was last given
    uint64_t* slotOwners = nullptr;  // per slot: block | generation << 32 of the block it was given to
    uint32_t generation = 0;  // the pool's epoch; changed only while no search runs
    uint64_t slotCapacity = 0;
    std::atomic<uint64_t> slotsUsed{0};
    // Set by the first store after a clear, so that clearing an untouched table costs nothing.
    Relaxed<uint32_t> written;
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
// Releases the previous table and maps a zeroed one of entries + 4 records. Prints the allocation message,
// or the failure message; after a failure probes miss and stores are dropped until a later allocation works.
void AllocateHashTable(uint64_t entries, int megabytes);
void ClearHashTable();
// Record i as every reader sees it: all zero when its line belongs to an earlier epoch.
HashRecord ReadHashRecord(uint64_t i);
// Asks for the bucket of a key that a probe is likely to need soon. Always inlined: GCC takes a function
// whose only work is prefetching for one without effects and drops every call to it.
[[gnu::always_inline]] inline void PrefetchHash(uint64_t key) {
    const TranspositionTable& tt = transpositionTable;
    if (!tt.records) return;
    const uint64_t index = key & (tt.entries - 1);
    if (tt.blockSlots) {
        // The pool's lines sit in the caches already; the slot number is what is far away.
        __builtin_prefetch(tt.blockSlots + (index >> (2 + POOL_BLOCK_SHIFT)));
        return;
    }
    __builtin_prefetch(tt.records + index);
    __builtin_prefetch(tt.records + index + 3);
    __builtin_prefetch(tt.lineEpochs + (index >> 2));
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
