#include "eval/pawns.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "board/attacks.h"
#include "eval/evaltables.h"
#include "eval/trace.h"

template <bool Trace>
PawnStructure ComputePawnStructure(const Position& pos, int16_t* traceRow) {
    const Bitboard allPawns = Pawns(pos);
    const Bitboard ownPawns = allPawns & pos.own;
    const Bitboard enemyPawns = allPawns & ~pos.own;
    int score = 0;
    Bitboard passed = 0;
    int healthy = 0;

    for (Bitboard b = ownPawns; b;) {
        const int sq = PopLsb(b);
        const int file = FileOf(sq), rank = RankOf(sq);
        score += 100 + PawnPst[sq];
        TraceAdd<Trace>(traceRow, TRACE_PAWN_MATERIAL, 100);
        TraceAdd<Trace>(traceRow, TRACE_PAWN_PST, PawnPst[sq]);

        if (!(PassedMask[sq] & enemyPawns) || rank == 6) {
            score += PassedBonus[rank];
            passed |= SquareBit(sq);
            TraceAdd<Trace>(traceRow, TRACE_PASSED, PassedBonus[rank]);
        }
        const bool isolated = !(AdjacentFiles[file] & ownPawns);
        if (isolated) {
            score -= 10;
            TraceAdd<Trace>(traceRow, TRACE_ISOLATED, -10);
        }
        // The pawn itself and the own pawns in front of it on its file.
        const int stacked = PopCount(ownPawns & FileMask[file] & (~Bitboard(0) << sq));
        if (stacked > 1) {
            score -= 10 * stacked;
            TraceAdd<Trace>(traceRow, TRACE_DOUBLED, -10 * stacked);
        }
        if (!(isolated && stacked > 1)) ++healthy;
    }

    if (ownPawns) {
        // Backward: a pawn on rank 2 or 3 that cannot be supported, whose stop square an enemy pawn
        // guards, and that no enemy pawn blocks on its own file.
        for (Bitboard b = ownPawns & 0xFFFF00ull; b;) {
            const int sq = PopLsb(b);
            const int file = FileOf(sq);
            const Bitboard upToOwnRank = (SquareBit(8 * (RankOf(sq) + 1))) - 1;
            if ((PawnAttacks[sq + 8] & enemyPawns) && !(AdjacentFiles[file] & ownPawns & upToOwnRank) &&
                !(FileMask[file] & enemyPawns & ~upToOwnRank)) {
                score -= 10;
                TraceAdd<Trace>(traceRow, TRACE_BACKWARD, -10);
            }
        }

        // Distortion: files whose neighbour differs in holding an own pawn on rank r or higher.
        int distortion = 0;
        for (int r = 0; r < 8; ++r) {
            const unsigned files = FileSet(ownPawns >> (8 * r));
            distortion += PopCount((files ^ (files >> 1)) & 0x7F);
        }
        score -= distortion;
        TraceAdd<Trace>(traceRow, TRACE_DISTORTION, -distortion);

        const unsigned files = FileSet(ownPawns);
        const int islands = PopCount(files & ~(files << 1) & 0xFF);
        int dispersion = 3 * islands * islands - PopCount(ownPawns);
        if (dispersion < 0) dispersion = -dispersion;
        score -= dispersion;
        TraceAdd<Trace>(traceRow, TRACE_DISPERSION, -dispersion);
    }
    return {int16_t(score), passed, uint8_t(healthy)};
}

template PawnStructure ComputePawnStructure<false>(const Position&, int16_t*);
template PawnStructure ComputePawnStructure<true>(const Position&, int16_t*);

namespace {

uint64_t PlacementKey(PawnPlacement placement, uint32_t colour) {
    const int side = int(colour & 1);
    uint64_t key = SideKeys[side];
    for (Bitboard b = placement.own; b;) key ^= PieceKeys[side * 8 + PAWN][PopLsb(b)];
    // The opponent's pawns are hashed in the opponent's own view, as the position key does.
    for (Bitboard b = placement.enemy; b;) key ^= PieceKeys[(side ^ 1) * 8 + PAWN][PopLsb(b) ^ 56];
    return key;
}

}  // namespace

uint64_t PawnKey(const Position& pos) {
    const Bitboard pawns = Pawns(pos);
    return PlacementKey({pawns & pos.own, pawns & ~pos.own}, pos.side);
}

namespace pawn_lookup_detail {

PawnLookup StartMissed(PawnHashTable* table, PawnHashTable::Recent& recent, PawnPlacement placement,
                       uint32_t side) {
    recent.placement = placement;
    const uint64_t key = PlacementKey(placement, side);
    PawnHashEntry* slot = &table->entries[key & (table->entryCount - 1)];
    __builtin_prefetch(slot);
    return {table, &recent, false, key, slot};
}

PawnStructure FinishMissed(const PawnLookup& lookup, const Position& pos) {
    PawnStructure& recent = lookup.recent->structure;
    PawnHashEntry& slot = *lookup.slot;
    const uint64_t key = lookup.key;
    const Bitboard pawns = Pawns(pos);
    const uint32_t epoch = lookup.table->epoch;
    if (slot.epoch == epoch) {
        if (slot.key == key && slot.pawns == pawns) return recent = {slot.score, slot.passed, slot.healthyCount};
    } else if (key == 0 && pawns == 0) {
        return recent = {0, 0, 0};  // what the zeroed slot of a cleared table holds
    }
    recent = EvaluatePawnStructure(pos);
    slot = {key, pawns, recent.passed, recent.healthyCount, recent.score, epoch};
    return recent;
}

}  // namespace pawn_lookup_detail

PawnStructure CachedPawnStructure(PawnHashTable* table, const Position& pos) {
    const Bitboard pawns = Pawns(pos);
    return FinishPawnLookup(StartPawnLookup(table, {pawns & pos.own, pawns & ~pos.own}, pos.side), pos);
}

void AllocPawnHash(PawnHashTable*& pawnHash, uint64_t entries, int sizeMB, bool announce, int threadNumber) {
    FreePawnHash(pawnHash);
    // Indexing masks with entries - 1, so only a power of two will do; round a stray size down.
    if (entries == 0) entries = 1;
    while (entries & (entries - 1)) entries &= entries - 1;
    PawnHashEntry* slots = nullptr;
    if (entries <= SIZE_MAX / sizeof(PawnHashEntry))
        slots = static_cast<PawnHashEntry*>(calloc(size_t(entries), sizeof(PawnHashEntry)));
    PawnHashTable* table = slots ? new (std::nothrow) PawnHashTable{slots, entries, 0, {}} : nullptr;
    if (!table) {
        free(slots);
        printf("HashPawn Table Memory Allocation Failed!\n");
        fflush(stdout);
        return;
    }
    pawnHash = table;
    if (announce) {
        printf("Allocated %i MB for the HashPawn Table for Thread %i\n", sizeMB, threadNumber);
        fflush(stdout);
    }
}

void ClearPawnHash(PawnHashTable* table) {
    if (!table) return;
    for (auto& colour : table->recent)
        for (PawnHashTable::Recent& recent : colour) recent = {};
    // The pages stay, and every entry of an earlier epoch reads as empty. Zeros are written only when the
    // epoch wraps round, and the zeroed entries belong to epoch 0.
    if (++table->epoch == 0) memset(static_cast<void*>(table->entries), 0, size_t(table->entryCount) * sizeof(PawnHashEntry));
}

void FreePawnHash(PawnHashTable*& pawnHash) {
    if (!pawnHash) return;
    free(pawnHash->entries);
    delete pawnHash;
    pawnHash = nullptr;
}
