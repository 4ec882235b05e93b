// Move ordering: killer and history tables of a search thread and the selection steps over move lists.
#pragma once

#include <cstdint>
#include <utility>

#include "board/types.h"
#include "search/context.h"

inline uint16_t HistoryOf(const SearchThread& thread, Move m) {
    return thread.history[thread.current->side & 1][MoveFrom(m)][MoveTo(m)];
}

void ClearKillers(SearchThread& thread);
void ClearHistory(SearchThread& thread);
void UpdateKillers(SearchThread& thread, uint8_t ply, Move move);
// Adds depth squared; the counters wrap around at 65536.
void UpdateHistory(SearchThread& thread, uint8_t depth, Move move);

// Lists are consumed from their end: slot is the last unconsumed entry, listStart the first of the list.
// Defined here, as every move of every node passes through one of them.

// Brings a killer of the ply into the slot; false when none remains (always false on the first entry).
inline bool PickKiller(const SearchThread& thread, uint8_t ply, MoveEntry* slot, MoveEntry* listStart) {
    if (slot == listStart) return false;
    const Move killer0 = thread.killers[ply][0], killer1 = thread.killers[ply][1];
    if (slot->move == killer0 || slot->move == killer1) return true;
    for (MoveEntry* entry = slot - 1; entry >= listStart; --entry) {
        if (entry->move == killer0 || entry->move == killer1) {
            std::swap(*entry, *slot);
            return true;
        }
    }
    return false;
}

// Brings into the slot the remaining move with the strictly highest history counter.
inline void PickHistory(const SearchThread& thread, MoveEntry* slot, MoveEntry* listStart) {
    MoveEntry* best = slot;
    uint16_t bestCounter = HistoryOf(thread, slot->move);
    for (MoveEntry* entry = slot - 1; entry >= listStart; --entry) {
        uint16_t counter = HistoryOf(thread, entry->move);
        if (counter > bestCounter) {
            best = entry;
            bestCounter = counter;
        }
    }
    if (best != slot) std::swap(*best, *slot);
}

// Brings into the slot the remaining entry with the highest score; on ties the one nearest the end wins.
inline void PickBestCapture(MoveEntry* slot, MoveEntry* listStart) {
    MoveEntry* best = slot;
    for (MoveEntry* entry = slot - 1; entry >= listStart; --entry)
        if (entry->score > best->score) best = entry;
    if (best != slot) std::swap(*best, *slot);
}
