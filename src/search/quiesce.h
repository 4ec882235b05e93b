// The quiescence search: captures, promotions, evasions and, near the main search's leaves, quiet checks.
#pragma once

#include <cstdint>

#include "search/context.h"

// The quiescence search never goes beyond this ply; deeper children are scored statically.
constexpr int QUIESCE_MAX_PLY = 127;

// qdepth counts down from 0 at the main search's leaves; quiet checks are tried while it is 0 or -1.
// The result is at least alpha, except for a mated side (ply - MATE). tbLimit is only passed down.
int16_t Quiesce(SearchThread& thread, int16_t qdepth, uint8_t ply, int16_t alpha, int16_t beta, uint8_t tbLimit);
// The same, for a caller that already has Evaluate(*thread.current, thread.pawnHash) and Checkers(*thread.current)
// of the current position.
int16_t QuiesceEvaluated(SearchThread& thread, int16_t evaluation, Bitboard checkers, int16_t qdepth, uint8_t ply,
                         int16_t alpha, int16_t beta, uint8_t tbLimit);
