// Tablebase probes: WDL and DTZ values of a position and the root move filter.
#pragma once

#include <cstdint>

#include "board/position.h"
#include "board/types.h"

// WDL values from the side to move's view: -2 loss, -1 blessed loss, 0 draw, 1 cursed win, 2 win.
// success: 0 failed (a table missing or corrupt), 1 exact, 2 from a capture that reaches beta.
// The probes make moves into the records after pos, which must be free stack records.
int ProbeWdl(Position* pos, int& success);
// Signed distance in plies to the next zeroing move, 100 added to the magnitude when the fifty-move rule
// decides; 0 for a draw.
int ProbeDtz(Position* pos, int& success);
// Keeps the root moves of [firstMove, lastMove) that preserve the tablebase result, each scored by its DTZ,
// sorted highest first; score receives TB_WIN, TB_CURSED_WIN, 0 for a draw, or the negatives for losses.
// Returns 0 when a probe failed (the list end is then unchanged).
int RootProbe(Position* pos, MoveEntry* firstMove, int16_t& score, MoveEntry*& lastMove);

int ProbeAlphaBeta(Position* pos, int alpha, int beta, int& success);
int ProbeWdlTable(const Position& pos, int& success);
// success -1: the table stores only the other side to move.
int ProbeDtzTable(const Position& pos, int wdl, int& success);
