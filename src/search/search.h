// The per-thread search context, the alpha-beta search and the root search of one iteration.
#pragma once

#include <cstdint>
#include <cstring>
#include <thread>

#include "board/makemove.h"
#include "board/position.h"
#include "board/types.h"

struct PawnHashTable;

// The position stack and its current record come first, from Board.
struct SearchThread : Board {
    Move killers[64][2];
    uint16_t history[2][64][64];
    uint8_t threadId;  // 0 in the main context, 1..N in the thread contexts
    std::thread threadHandle;
    uint8_t rootDepth;
    uint8_t selDepth;
    int16_t rootAlpha;
    int16_t rootBeta;
    MoveEntry* rootMovesEnd;
    MoveEntry rootMoves[256];
    uint8_t tbProbeLimit;
    uint64_t* threadResult;
    PawnHashTable* pawnHash;
};

// A principal variation; entries past count hold 0 or moves left from an earlier line.
struct PvLine {
    uint8_t count;
    Move moves[64];
};

// The line becomes m followed by the first 63 moves of child; the count stops at the 64 moves it can hold.
inline void AdoptLine(PvLine& line, Move m, const PvLine& child) {
    line.moves[0] = m;
    std::memcpy(line.moves + 1, child.moves, sizeof(Move) * 63);
    line.count = uint8_t(child.count < 64 ? child.count + 1 : 64);
}

// The main context: it holds the game.
extern SearchThread mainContext;

enum : uint32_t { MODE_CONSOLE = 0, MODE_UCI = 2 };
// The active front end, set by start-up: selects the dialect of the search output and whether a console
// search is untimed.
extern uint32_t ProtocolMode;

// Starts a new game: the search count (hashAge) back to 0 and the main context's stack holding only the
// start position, whose record it returns; the caller stores it in current.
Position* NewGame();

// Shared between threads; each is written by one party and polled by the others.
extern Relaxed<uint32_t> searchStop;
extern Relaxed<uint32_t> iterationAbort;
// The running search may not end with a best move yet ("go ponder" or "go infinite"); cleared by the input
// monitor on "ponderhit" or "stop", and by the time allocation when the opponent is short of time.
extern Relaxed<uint32_t> pondering;
// The running search was started by "go infinite": no book, no time allocation.
extern Relaxed<uint32_t> infiniteSearch;
// The GUI accepts a ponder move (set by "isready"; cleared when the opponent is short of time).
extern Relaxed<uint32_t> ponderEnabled;

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
