#include "search/ordering.h"

#include <cstring>

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
