// Move ordering: killer and history tables of a search thread and the selection steps over move lists.
#pragma once

#include <cstdint>

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
// Brings a killer of the ply into the slot; false when none remains (always false on the first entry).
bool PickKiller(const SearchThread& thread, uint8_t ply, MoveEntry* slot, MoveEntry* listStart);
// Brings into the slot the remaining move with the strictly highest history counter.
void PickHistory(const SearchThread& thread, MoveEntry* slot, MoveEntry* listStart);
// Brings into the slot the remaining entry with the highest score; on ties the one nearest the end wins.
void PickBestCapture(MoveEntry* slot, MoveEntry* listStart);
