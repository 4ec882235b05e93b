#include <chrono>
#include <thread>

#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/timeman.h"
#include "support.h"

namespace {

// Default tuning; a console search with the default move-time limit, so no timer starts.
TimeControl Clocks(int myTime, int oppTime, int increment = 0, int movesToGo = 0) {
    return TimeControl{20, 5, 5, 5, 15, 720000, movesToGo, increment, myTime, oppTime, 720000, 0, 0};
}

TEST(AllocateTime, DivisorAndAllotment) {
    struct Case {
        TimeControl tc;
        int moveNumber, divisor, allocated;
    } cases[] = {
        {Clocks(30000, 30000), 30, 20, 1500},
        {Clocks(30000, 20000), 30, 15, 2000},
        // The last move before the control takes the whole clock; the increment would leave too little.
        {Clocks(6000, 6000, 300, 1), 30, 0, 6000},
        // 1500 with an increment of 200 is still a fast game; one more is not.
        {Clocks(1500, 1500, 200), 30, 25, 60 + 200},
        {Clocks(1501, 1501, 200), 30, 20, 75 + 200},
        {Clocks(30000, 30000), 20, 35, 857},  // still the opening
        // SuddenDeath 10 with MoreTime 15 would divide by -5.
        {TimeControl{10, 15, 5, 5, 15, 720000, 0, 0, 30000, 20000, 720000, 0, 0}, 30, 1, 30000},
    };
    testing::internal::CaptureStdout();
    for (Case& c : cases) {
        EXPECT_EQ(AllocateTime(c.tc, c.moveNumber), c.divisor) << c.tc.myTime << " " << c.tc.oppTime;
        EXPECT_EQ(c.tc.allocated, c.allocated) << c.tc.myTime << " " << c.tc.oppTime;
    }
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("#DEBUG: Allocated Time: 1500  myTime: 30000 moveSpeed 20\n", 0), 0u) << out;

    // No pondering against a clock below 12 seconds.
    ponderEnabled = 1;
    pondering = 1;
    for (int oppTime : {1200, 1199}) {
        TimeControl tc = Clocks(30000, oppTime);
        Printed([&] { AllocateTime(tc, 30); });
        EXPECT_EQ(ponderEnabled + pondering, oppTime == 1200 ? 2u : 0u) << oppTime;
    }
}

// A timer stops its own search once the limit has passed, and nothing once retired or once a later search
// has begun.
TEST(Timer, StopsOnlyItsOwnSearch) {
    TimeControl tc = Clocks(720000, 720000);
    tc.moveTimeLimit = 5;  // centiseconds: a move-time limit makes even a console search timed
    const auto stops = [&](int patienceMs, auto afterStart) {
        tc.startTime = ClockMs();
        BindTimerToSearch(tc.startTime);
        searchStop = 0, iterationAbort = 0;
        Printed([&] { AllocateTime(tc, 30); });
        afterStart();
        for (int i = 0; i < patienceMs && !searchStop; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return searchStop && iterationAbort && ClockMs() - tc.startTime >= 50;
    };
    EXPECT_TRUE(stops(5000, [] {}));
    EXPECT_FALSE(stops(200, [] { RetireTimer(); }));
    EXPECT_FALSE(stops(200, [&] { BindTimerToSearch(tc.startTime + 1); }));
    RetireTimer();
}

}  // namespace
