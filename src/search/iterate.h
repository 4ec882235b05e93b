// Iterative deepening, the root search and the search output.
#pragma once

#include <cstdint>

#include "board/types.h"

// The second move of the last accepted principal variation, 0 if none: the move to ponder on.
extern Move lastPonderMove;
// The GUI accepts a ponder move (set by "isready"; cleared when the opponent is short of time).
extern Relaxed<uint32_t> ponderEnabled;

// A search result: the move in the low 32 bits, the signed 16-bit score in the next 16.
constexpr uint64_t MakeSearchResult(Move move, int16_t score) { return uint64_t(uint16_t(score)) << 32 | move; }
constexpr Move ResultMove(uint64_t result) { return Move(result); }
constexpr int16_t ResultScore(uint64_t result) { return int16_t(uint16_t(result >> 32)); }
