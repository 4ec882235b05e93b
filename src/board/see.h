// Static exchange evaluation: the material result of a move followed by the best sequence of recaptures
// on its destination square, each side taking with its least valuable attacker and free to stop.
#pragma once

#include <cstdint>

#include "board/position.h"
#include "board/types.h"

// Exchange values by piece code; an empty square is worth 0.
inline constexpr int32_t SeeValues[8] = {0, 100, 300, 325, 500, 975, 10000, 0};

// Material balance of m for the side to move at pos. The record after pos is used as scratch space,
// and making m there counts in nodeCount.
int32_t See(Position* pos, Move m);

// True when m loses material; a capture of a piece worth at least the mover is never tested further.
bool SeeIsNegative(Position* pos, Move m);
