#include "search/ordering.h"

#include <cstring>
#include <utility>

void ClearKillers(SearchThread& thread) { memset(thread.killers, 0, sizeof(thread.killers)); }

void ClearHistory(SearchThread& thread) { memset(thread.history, 0, sizeof(thread.history)); }

void UpdateKillers(SearchThread& thread, uint8_t ply, Move move) {
    Move* killers = thread.killers[ply];
    if (killers[0] == move) return;
    killers[1] = killers[0];
    killers[0] = move;
}

void UpdateHistory(SearchThread& thread, uint8_t depth, Move move) {
    uint16_t& counter = thread.history[thread.current->side & 1][MoveFrom(move)][MoveTo(move)];
    counter = uint16_t(counter + uint16_t(depth * depth));
}

bool PickKiller(const SearchThread& thread, uint8_t ply, MoveEntry* slot, MoveEntry* listStart) {
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

void PickHistory(const SearchThread& thread, MoveEntry* slot, MoveEntry* listStart) {
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

void PickBestCapture(MoveEntry* slot, MoveEntry* listStart) {
    MoveEntry* best = slot;
    for (MoveEntry* entry = slot - 1; entry >= listStart; --entry)
        if (entry->score > best->score) best = entry;
    if (best != slot) std::swap(*best, *slot);
}
