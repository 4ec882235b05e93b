// The per-thread search context and the alpha-beta search.
#pragma once

#include <cstdint>
#include <thread>

#include "board/position.h"
#include "board/types.h"

struct PawnHashTable;

struct SearchThread {
    PositionStack positionStack;
    Position* current;
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

// The main context: it holds the game.
extern SearchThread mainContext;

// Shared between threads; each is written by one party and polled by the others.
extern Relaxed<uint32_t> searchStop;
extern Relaxed<uint32_t> iterationAbort;
// Moves made by all threads. Each thread adds to a counter on its own cache line, so that counting does
// not make the threads fight over one line; reading sums them. Assigning a value restarts the count.
class NodeCounter {
  public:
    static constexpr int SLOTS = 32;
    NodeCounter& operator+=(uint64_t n) {
        slots[slot].count += n;
        return *this;
    }
    NodeCounter& operator=(uint64_t n) {
        for (Slot& s : slots) s.count = 0;
        slots[0].count = n;
        return *this;
    }
    operator uint64_t() const {
        uint64_t sum = 0;
        for (const Slot& s : slots) sum += s.count;
        return sum;
    }
    // The calling thread counts into slot id (a search thread's threadId, 0 for every other thread).
    static void UseSlot(int id) { slot = id & (SLOTS - 1); }

  private:
    struct alignas(64) Slot {
        Relaxed<uint64_t> count;
    };
    Slot slots[SLOTS];
    static inline thread_local int slot = 0;
};

extern NodeCounter nodeCount;

// Principal-variation search of the thread's current position below the root. Scores are from the side to
// move's view; mated at ply p scores p - MATE. tbLimit is the largest piece count probed in the tablebases.
// pv receives the node's line when a move raises alpha.
int16_t AlphaBeta(SearchThread& thread, int16_t depth, uint8_t ply, int16_t alpha, int16_t beta, uint8_t tbLimit,
                  PvLine& pv);
