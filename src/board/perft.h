// Perft: leaf count of the legal move tree, the check of move generation and making moves.
#pragma once

#include <cstdint>

#include "board/position.h"

// Counts on the context's stack (the game's, in the console) from its current record, which is the same
// afterwards; the records above it are overwritten. A position without legal moves met before the last ply
// counts 1 when stalemated and 0 when mated. A depth that would run past the end of the stack counts 0.
uint64_t Perft(StackWithCursor& context, uint32_t depth);
