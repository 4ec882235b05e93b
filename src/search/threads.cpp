#include "search/threads.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <thread>

#include "eval/pawns.h"
#include "search/ordering.h"
#include "search/search.h"
#include "search/tt.h"
#include "settings/settings.h"

constinit SearchThread threadContexts[MAX_THREADS]{};

// Made on first use: with MinGW-w64's threads a std::mutex is not initialised as a constant, and no code of
// the engine may run before main (the portable executable chooses its code there).
std::mutex& ResultMutex() {
    static std::mutex resultMutex;
    return resultMutex;
}
uint8_t winnerThread;
uint64_t winnerResult;
uint8_t winnerSelDepth;
PvLine winnerPV;

namespace {
// Each context's result record: written by its thread, handed to the context once the thread is joined.
// Fixed storage, so nothing is left to free.
uint64_t threadResults[MAX_THREADS];

void PrepareContext(SearchThread& t, const SearchThread& main, int id) {
    std::memcpy(t.positionStack.Records(), main.positionStack.Records(), STACK_SIZE * sizeof(Position));
    std::memcpy(t.rootMoves, main.rootMoves, sizeof t.rootMoves);
    t.threadId = uint8_t(id);
    t.current = t.positionStack.Records() + (main.current - main.positionStack.Records());
    t.rootMovesEnd = t.rootMoves + (main.rootMovesEnd - main.rootMoves);
    t.threadResult = nullptr;
    t.rootDepth = uint8_t(main.rootDepth + DEPTH_OFFSETS[id - 1]);
    t.rootAlpha = main.rootAlpha;
    t.rootBeta = main.rootBeta;
    t.tbProbeLimit = main.tbProbeLimit;
    t.selDepth = 0;
    if (main.rootDepth == 1) {
        ClearKillers(t);
        ClearHistory(t);
    }
}
}  // namespace

uint64_t RunIteration(SearchThread& main) {
    int count = std::clamp(int(settings.threadCount), 1, MAX_THREADS);
    for (int i = 1; i <= count; ++i) PrepareContext(threadContexts[i - 1], main, i);

    // A thread that cannot be created leaves the iteration to those already running; when not even the
    // first can be created, the calling thread searches in its place, so a search always has a result.
    int started = 0;
    for (int i = 1; i <= count; ++i) {
        try {
            threadContexts[i - 1].threadHandle = new std::thread(tSearch, &threadContexts[i - 1]);
        } catch (const std::system_error&) {
            std::printf("#DEBUG: search thread %d could not be created\n", i);
            std::fflush(stdout);
            break;
        }
        started = i;
    }
    if (started == 0) {
        tSearch(&threadContexts[0]);
        threadContexts[0].threadResult = &threadResults[0];
    }
    for (int i = 1; i <= started; ++i) {
        threadContexts[i - 1].threadHandle->join();
        delete threadContexts[i - 1].threadHandle;
        threadContexts[i - 1].threadHandle = nullptr;
        threadContexts[i - 1].threadResult = &threadResults[i - 1];
    }

    if (winnerThread == 0) return 0;
    return *threadContexts[winnerThread - 1].threadResult;
}

void tSearch(SearchThread* thread) {
    SearchThread& t = *thread;
    NodeCounter::UseSlot(t.threadId);
    uint64_t& record = threadResults[t.threadId - 1];
    PvLine line;
    std::memset(&line, 0, sizeof line);
    record = SearchRoot(t, t.rootDepth, t.rootAlpha, t.rootBeta, t.rootMoves, t.rootMovesEnd, t.tbProbeLimit,
                        line);
    {
        std::lock_guard<std::mutex> lock(ResultMutex());
        if (winnerThread == 0 && !iterationAbort && !searchStop) {
            // Every other thread unwinds at its next node.
            iterationAbort = 1;
            winnerThread = t.threadId;
            winnerResult = record;
            winnerSelDepth = t.selDepth;
            winnerPV = line;
        }
    }
    ParkSlotRun();
}

void AllocThreadPawnTables(SearchThread* contexts, int count, uint64_t entries, int sizeMB) {
    for (int i = 1; i <= count; ++i) AllocPawnHash(contexts[i - 1].pawnHash, entries, sizeMB, true, i);
}
