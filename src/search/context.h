// The per-thread search context, the main context that holds the game, and the flags the threads share.
#pragma once

#include <cstdint>
#include <cstring>
#include <thread>

#include "board/makemove.h"
#include "board/position.h"
#include "board/types.h"

struct PawnHashTable;

// The position stack and its current record come first, from StackWithCursor.
struct SearchThread : StackWithCursor {
    Move killers[64][2];
    uint16_t history[2][64][64];
    uint8_t threadId;  // 0 in the main context, 1..N in the thread contexts
    // Made for each iteration and deleted once joined. A pointer, so that the contexts, process-wide
    // objects, are initialised as constants and destroyed by no code of their own.
    std::thread* threadHandle;
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

// A principal variation. Nothing reads the entries past count, which may hold anything: a line is begun by
// setting its count alone, and only the moves a line holds are copied.
struct PvLine {
    uint8_t count;
    Move moves[64];
};

// The line becomes m followed by the first 63 moves of child; the count stops at the 64 moves it can hold.
inline void AdoptLine(PvLine& line, Move m, const PvLine& child) {
    const int copied = child.count < 64 ? child.count : 63;
    line.moves[0] = m;
    std::memcpy(line.moves + 1, child.moves, sizeof(Move) * copied);
    line.count = uint8_t(copied + 1);
}

// Search threads at most, each with a context of its own beside the main one.
constexpr int MAX_THREADS = 24;

// The main context: it holds the game.
extern SearchThread mainContext;

enum : uint32_t { MODE_CONSOLE = 0, MODE_UCI = 2 };
// The active front end, set by start-up: selects the dialect of the search output and whether a console
// search is untimed.
extern uint32_t ProtocolMode;

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
