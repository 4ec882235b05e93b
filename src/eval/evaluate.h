// The static evaluation of a thread's current position.
#pragma once

#include <cstdint>

struct SearchThread;

// Score of the thread's current position from the side to move's view, in centipawns. The position is
// flipped and flipped back during the call; the thread's pawn hash is filled as a side effect.
int16_t Evaluate(SearchThread& thread);

// The same score, with every term recorded into EvalTrace (cleared first). The pawn structure is computed
// afresh rather than taken from the pawn hash, so that its cells are complete.
int16_t EvaluateTraced(SearchThread& thread);
