// The alpha-beta search below the root and the root search of one iteration.
#pragma once

#include <cstdint>

#include "board/types.h"
#include "search/context.h"

// Starts a new game: the search count (hashAge) back to 0 and the main context's stack holding only the
// start position, whose record it returns; the caller stores it in current.
Position* NewGame();

// Principal-variation search of the thread's current position below the root. Scores are from the side to
// move's view; mated at ply p scores p - MATE. tbLimit is the largest piece count probed in the tablebases.
// pv receives the node's line when a move raises alpha.
int16_t AlphaBeta(SearchThread& thread, int16_t depth, uint8_t ply, int16_t alpha, int16_t beta, uint8_t tbLimit,
                  PvLine& pv);

// A search result: the move in the low 32 bits, the signed 16-bit score in the next 16.
constexpr uint64_t MakeSearchResult(Move move, int16_t score) { return uint64_t(uint16_t(score)) << 32 | move; }
constexpr Move ResultMove(uint64_t result) { return Move(result); }
constexpr int16_t ResultScore(uint64_t result) { return int16_t(uint16_t(result >> 32)); }

// One iteration of one thread at the root (ply 0); every root move is searched.
uint64_t SearchRoot(SearchThread& thread, int depth, int16_t alpha, int16_t beta, MoveEntry* rootStart,
                    MoveEntry* rootEnd, uint8_t tbLimit, PvLine& line);
