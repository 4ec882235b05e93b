// The static evaluation of a position.
#pragma once

#include <cstdint>

#include "board/position.h"

struct PawnHashTable;

// Score of pos from the side to move's view, in centipawns. The position is flipped and flipped back during
// the call. The pawn structures come from pawnHash, which is filled as a side effect; a search thread
// passes its own table, and without one (nullptr) they are computed.
int16_t Evaluate(Position& pos, PawnHashTable* pawnHash);

// The same score, with every term recorded into EvalTrace (cleared first). The pawn structure is computed
// afresh rather than taken from a pawn hash, so that its cells are complete.
int16_t EvaluateTraced(Position& pos);
