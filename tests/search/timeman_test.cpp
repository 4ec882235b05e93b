#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/search.h"
#include "search/timeman.h"

namespace {

// Default tuning, a move number past the opening, and a console search without a move-time limit,
// so AllocateTime computes without starting a timer.
TimeControl Clocks(int myTime, int oppTime, int increment = 0, int movesToGo = 0) {
    TimeControl tc{20, 5, 5, 5, 15, 720000, movesToGo, increment, myTime, oppTime, 720000, 0, 0};
    return tc;
}

struct ConsoleMode {
    uint32_t saved = ProtocolMode;
    ConsoleMode() { ProtocolMode = MODE_CONSOLE; }
    ~ConsoleMode() { ProtocolMode = saved; }
};

TEST(AllocateTime, AllotmentExamples) {
    ConsoleMode mode;
    testing::internal::CaptureStdout();

    TimeControl even = Clocks(30000, 30000);
    EXPECT_EQ(AllocateTime(even, 30), 20);
    EXPECT_EQ(even.allocated, 1500);

    TimeControl ahead = Clocks(30000, 20000);
    EXPECT_EQ(AllocateTime(ahead, 30), 15);
    EXPECT_EQ(ahead.allocated, 2000);

    // Behind on the clock and a fast game; the increment is added since 1000 - 33 - 100 > 500.
    TimeControl fast = Clocks(1000, 2000, 100);
    EXPECT_EQ(AllocateTime(fast, 30), 30);
    EXPECT_EQ(fast.allocated, 133);

    TimeControl toGo = Clocks(6000, 6000, 0, 10);
    EXPECT_EQ(AllocateTime(toGo, 30), 0);
    EXPECT_EQ(toGo.allocated, 600);

    // The last move before the time control gets the whole clock; the increment would leave too little.
    TimeControl last = Clocks(6000, 6000, 300, 1);
    AllocateTime(last, 30);
    EXPECT_EQ(last.allocated, 6000);

    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("#DEBUG: Allocated Time: 1500  myTime: 30000 moveSpeed 20\n"), std::string::npos);
    EXPECT_NE(out.find("#DEBUG: Allocated Time: 600  myTime: 6000 moveSpeed 0\n"), std::string::npos);
}

TEST(AllocateTime, DivisorBoundaries) {
    ConsoleMode mode;
    testing::internal::CaptureStdout();
    // 1500 centiseconds with an increment of 200 is still a fast game; one more of either is not.
    TimeControl a = Clocks(1500, 1500, 200);
    EXPECT_EQ(AllocateTime(a, 30), 25);
    TimeControl b = Clocks(1501, 1501, 200);
    EXPECT_EQ(AllocateTime(b, 30), 20);
    TimeControl c = Clocks(1500, 1500, 201);
    EXPECT_EQ(AllocateTime(c, 30), 20);
    // Move number 20 is still the opening.
    TimeControl d = Clocks(30000, 30000);
    EXPECT_EQ(AllocateTime(d, 20), 35);
    EXPECT_EQ(AllocateTime(d, 21), 20);
    // SuddenDeath 10 with MoreTime 15 would divide by -5.
    TimeControl e = Clocks(30000, 100);
    e.SuddenDeath = 10;
    e.MoreTime = 15;
    EXPECT_EQ(AllocateTime(e, 30), 1);
    EXPECT_EQ(e.allocated, 30000);
    testing::internal::GetCapturedStdout();
}

TEST(AllocateTime, ShortOpponentClockStopsPondering) {
    ConsoleMode mode;
    testing::internal::CaptureStdout();
    ponderEnabled = 1;
    pondering = 1;
    TimeControl plenty = Clocks(30000, 1200);
    AllocateTime(plenty, 30);
    EXPECT_EQ(ponderEnabled.load(), 1u);
    EXPECT_EQ(pondering.load(), 1u);
    TimeControl shortClock = Clocks(30000, 1199);
    AllocateTime(shortClock, 30);
    EXPECT_EQ(ponderEnabled.load(), 0u);
    EXPECT_EQ(pondering.load(), 0u);
    testing::internal::GetCapturedStdout();
}

// Waits (generously) for the timer to raise the stop flag; returns the milliseconds it took, or -1.
int WaitForStop(int32_t start, int patienceMs) {
    for (int i = 0; i < patienceMs; ++i) {
        if (searchStop) return int32_t(uint32_t(ClockMs()) - uint32_t(start));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return -1;
}

TEST(Timer, StopsTheSearchAfterTheLimitAndRetires) {
    ConsoleMode mode;
    testing::internal::CaptureStdout();
    // A console search with a move-time limit is timed: the limit is 5 centiseconds.
    TimeControl tc = Clocks(720000, 720000);
    tc.moveTimeLimit = 5;
    tc.startTime = ClockMs();
    BindTimerToSearch(tc.startTime);
    iterationAbort = 0;
    AllocateTime(tc, 30);
    int took = WaitForStop(tc.startTime, 5000);
    EXPECT_GE(took, 50);
    EXPECT_NE(took, -1);
    EXPECT_EQ(iterationAbort.load(), 1u);

    // A retired timer never stops anything.
    tc.startTime = ClockMs();
    BindTimerToSearch(tc.startTime);
    AllocateTime(tc, 30);
    EXPECT_EQ(searchStop.load(), 0u);
    RetireTimer();
    EXPECT_EQ(WaitForStop(tc.startTime, 200), -1);

    // Nor does one started for an earlier search, once the next search has begun.
    tc.startTime = ClockMs();
    BindTimerToSearch(tc.startTime);
    AllocateTime(tc, 30);
    BindTimerToSearch(tc.startTime + 1);
    EXPECT_EQ(WaitForStop(tc.startTime, 200), -1);
    RetireTimer();
    testing::internal::GetCapturedStdout();
}

}  // namespace
