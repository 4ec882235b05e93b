// Pawn structure of one side and the per-thread cache of its results.
#pragma once

#include <cstdint>

#include "board/position.h"
#include "board/types.h"

struct PawnHashEntry {
    uint64_t key;     // pawn key of the scored side; 0 marks an empty slot
    Bitboard pawns;   // all pawns, in the scored side's view, when stored
    Bitboard passed;  // the scored side's passed pawns
    uint8_t healthyCount;
    int16_t score;
    uint32_t epoch;  // the table's epoch when stored; an entry of another epoch reads as empty
};
static_assert(sizeof(PawnHashEntry) == 32);

// No pawn-structure score reaches this value.
constexpr int PAWN_HASH_MISS = 30002;

struct PawnStructure {
    int16_t score;
    Bitboard passed;
    uint8_t healthyCount;
};

// The pawns of both sides in the scored side's view, which decide its pawn structure.
struct PawnPlacement {
    Bitboard own;
    Bitboard enemy;
    bool operator==(const PawnPlacement&) const = default;
};

// One per search thread; direct-mapped, entryCount a power of two.
struct PawnHashTable {
    PawnHashEntry* entries;
    uint64_t entryCount;
    // A clear moves to the next epoch instead of writing zeros over the table.
    uint32_t epoch;
    // Structures used lately, for each colour, direct-mapped by placement. Most moves leave the pawns
    // alone, so an evaluation usually finds its structures here, in memory the processor holds close,
    // without building a key or reading the large table. The placement {all, all} matches nothing: own
    // and enemy pawns never share a square.
    static constexpr int RECENT_BITS = 8;
    struct Recent {
        PawnPlacement placement{~Bitboard(0), ~Bitboard(0)};
        PawnStructure structure{};
    } recent[2][1 << RECENT_BITS];
};

// The pawn-structure score for the side to move of pos. With Trace the terms are also added into the
// pawn cells of traceRow (a row of EvalTrace).
template <bool Trace>
PawnStructure ComputePawnStructure(const Position& pos, int16_t* traceRow);

inline PawnStructure EvaluatePawnStructure(const Position& pos) { return ComputePawnStructure<false>(pos, nullptr); }

// The pawns of both colours, each in its own colour's view, and the side key of the side to move.
uint64_t PawnKey(const Position& pos);

// The pawn structure of pos's side to move: from the table, or computed and stored on a miss. Without a
// table (nullptr) it is computed.
PawnStructure CachedPawnStructure(PawnHashTable* table, const Position& pos);

// CachedPawnStructure in two steps, so that reading the table overlaps with other work. The start takes
// the pawns in the scored side's view and that side's colour; when no recent structure matches, it builds
// the key and asks for the table's slot. The finish reads the slot, or computes and stores; pos is the
// thread's position turned to the scored side.
struct PawnLookup {
    PawnHashTable* table;           // nullptr when the thread has none
    PawnHashTable::Recent* recent;
    bool found;                     // recent holds the structure
    uint64_t key;
    PawnHashEntry* slot;
};
// Both are inline for the common case, a structure found among the recent ones.
namespace pawn_lookup_detail {
PawnLookup StartMissed(PawnHashTable* table, PawnHashTable::Recent& recent, PawnPlacement placement, uint32_t side);
PawnStructure FinishMissed(const PawnLookup& lookup, const Position& pos);
}  // namespace pawn_lookup_detail

inline PawnLookup StartPawnLookup(PawnHashTable* table, PawnPlacement placement, uint32_t side) {
    if (!table) return {nullptr, nullptr, false, 0, nullptr};
    const uint64_t mix = (placement.own * 0x9E3779B97F4A7C15ull) ^ (placement.enemy * 0xD6E8FEB86659FD93ull);
    PawnHashTable::Recent& recent = table->recent[side & 1][mix >> (64 - PawnHashTable::RECENT_BITS)];
    if (recent.placement == placement) return {table, &recent, true, 0, nullptr};
    return pawn_lookup_detail::StartMissed(table, recent, placement, side);
}

inline PawnStructure FinishPawnLookup(const PawnLookup& lookup, const Position& pos) {
    if (!lookup.table) return EvaluatePawnStructure(pos);
    if (lookup.found) return lookup.recent->structure;
    return pawn_lookup_detail::FinishMissed(lookup, pos);
}

// Replaces the table by a zero-filled one of `entries` slots (a power of two). A failed allocation prints a
// message and leaves pawnHash null: its owner evaluates without a cache.
void AllocPawnHash(PawnHashTable*& pawnHash, uint64_t entries, int sizeMB, bool announce, int threadNumber);
// Empties the table (none: nothing to do); its memory stays.
void ClearPawnHash(PawnHashTable* table);
void FreePawnHash(PawnHashTable*& pawnHash);
