// The search threads: every iteration runs on fresh threads, one per thread context (lazy SMP).
#pragma once

#include <cstdint>
#include <mutex>

#include "search/context.h"

// Odd-numbered threads search the iteration's depth, even-numbered ones a ply deeper.
constexpr uint8_t DEPTH_OFFSETS[MAX_THREADS] = {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1,
                                                0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1};

// Context i - 1 serves thread i.
extern SearchThread threadContexts[MAX_THREADS];

// The iteration's result: written once per iteration by the first thread to finish, under ResultMutex();
// read by the driver after all threads have been joined.
std::mutex& ResultMutex();
extern uint8_t winnerThread;  // 0 while no thread has finished
extern uint64_t winnerResult;
extern uint8_t winnerSelDepth;
extern PvLine winnerPV;

// Runs one iteration of main's root position on settings.threadCount threads and returns the winner's
// result; meaningful only when searchStop is clear.
uint64_t RunIteration(SearchThread& main);

// The thread routine: one root search of the context, then the bid for the iteration's result.
void tSearch(SearchThread* thread);

// Pawn tables of `entries` slots for the search threads numbered 1..count, context i - 1 being thread i, each
// announced with sizeMB.
void AllocThreadPawnTables(SearchThread* contexts, int count, uint64_t entries, int sizeMB);
