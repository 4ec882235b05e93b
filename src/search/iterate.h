// Iterative deepening and the search output.
#pragma once

#include <cstdint>

#include "board/types.h"
#include "search/search.h"

// The second move of the last accepted principal variation, 0 if none: the move to ponder on.
extern Move lastPonderMove;

// The whole search of the position at main's current record. The caller has set timeControl.startTime
// and the time allocation with its timer.
uint64_t SearchMain(SearchThread& main);

// The root window after an iteration that reported the score `reported` (tbScore is the tablebase root
// score, 0 without one), and whether the next iteration goes one ply deeper or repeats the depth.
struct AspirationStep {
    int16_t alpha;
    int16_t beta;
    bool nextDepth;
};
AspirationStep NextAspiration(int16_t reported, int16_t tbScore, int16_t alpha, int16_t beta);

// The progress line of the iteration at main's rootDepth, in the dialect of ProtocolMode.
void PrintIteration(const SearchThread& main, uint64_t result, const PvLine& line);
// The line's moves, the first seen by the side to move at main's current record.
void PrintPv(const SearchThread& main, const PvLine& line);
// The final answer; called after the best move was made on the game position.
void PrintBestMove(uint64_t result, Move ponderMove);
