#include "search/timeman.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "platform/clock.h"
#include "search/context.h"

TimeControl timeControl;

namespace {
// Each timer started takes a new generation; a timer whose generation is no longer current retires.
Relaxed<uint32_t> timerGeneration;
// startTime of the search that timers may stop.
Relaxed<int32_t> timedSearchStart;

bool TimerCurrent(const TimeControl& tc, uint32_t generation) {
    return timerGeneration == generation && timedSearchStart == tc.startTime;
}
}  // namespace

int32_t ClockMs() {
    return int32_t(uint32_t(uint64_t(WallClockMs())));
}

int AllocateTime(TimeControl& tc, int moveNumber) {
    searchStop = 0;
    int divisor = 0;
    if (tc.movesToGo > 0) {
        tc.allocated = tc.myTime / tc.movesToGo;
    } else {
        divisor = tc.SuddenDeath;
        if (tc.myTime > tc.oppTime) divisor -= tc.MoreTime;
        if (tc.myTime < tc.oppTime) divisor += tc.LessTime;
        if (tc.myTime <= 1500 && tc.increment <= 200) divisor += tc.FastGame;
        if (moveNumber <= 20) divisor += tc.FastOpening;
        // Legal settings (SuddenDeath 10 with MoreTime 10..15) can drive the divisor to zero or below.
        divisor = std::max(divisor, 1);
        tc.allocated = int32_t(float(tc.myTime) / float(divisor));
    }
    if (tc.increment > 0 && tc.myTime - tc.allocated - tc.increment > 500) tc.allocated += tc.increment;
    std::printf("#DEBUG: Allocated Time: %i  myTime: %i moveSpeed %i\n", tc.allocated, tc.myTime, divisor);

    // No pondering while the opponent is short of time.
    if (tc.oppTime < 1200) {
        ponderEnabled = 0;
        pondering = 0;
    }

    timerGeneration += 1;
    timedSearchStart = tc.startTime;
    if (ProtocolMode == MODE_CONSOLE && tc.moveTimeLimit == DEFAULT_MOVE_TIME) {
        std::fflush(stdout);
        return divisor;
    }
    // The timer keeps its own copy of what it reads, so the record stays free for the front end and the
    // driver (the search writes elapsed while a "ponderhit" allocates).
    TimeControl limits{};
    limits.moveTimeLimit = tc.moveTimeLimit;
    limits.allocated = tc.allocated;
    limits.startTime = tc.startTime;
    try {
        std::thread(tTimer, limits, timerGeneration.load()).detach();
    } catch (const std::system_error&) {
        std::printf("#DEBUG Errore nella creazione del thread 1\n");
        std::fflush(stdout);
        std::exit(1);
    }
    std::fflush(stdout);
    return divisor;
}

void tTimer(TimeControl tc, uint32_t generation) {
    while (!searchStop && TimerCurrent(tc, generation)) {
        SleepMs(1);
        int32_t centiseconds = int32_t(uint32_t(ClockMs()) - uint32_t(tc.startTime)) / 10;
        if ((centiseconds > tc.moveTimeLimit || centiseconds > tc.allocated) && TimerCurrent(tc, generation)) {
            searchStop = 1;
            iterationAbort = 1;
            return;
        }
    }
}

void BindTimerToSearch(int32_t startTime) { timedSearchStart = startTime; }

void RetireTimer() { timerGeneration += 1; }
