#include "search/ordering.h"

#include <gtest/gtest.h>

namespace {

SearchThread& FreshThread() {
    static SearchThread thread;
    ClearKillers(thread);
    ClearHistory(thread);
    thread.positionStack[0] = Position{};
    thread.current = &thread.positionStack[0];
    return thread;
}

Move Quiet(int from, int to) { return MakeMoveCode(2, from, to); }

TEST(Ordering, KillersAndHistory) {
    SearchThread& thread = FreshThread();
    const Move a = Quiet(1, 18), b = Quiet(6, 21), c = Quiet(1, 16), d = Quiet(6, 23);
    UpdateKillers(thread, 5, a);
    UpdateKillers(thread, 5, a);
    EXPECT_EQ(thread.killers[5][1], 0u) << "a repeated killer does not fill both slots";
    UpdateKillers(thread, 5, b);
    UpdateKillers(thread, 5, a);
    EXPECT_EQ(thread.killers[5][0], a);
    EXPECT_EQ(thread.killers[5][1], b);

    // The killer nearest the end is taken first; the first entry of a list is never reported.
    MoveEntry list[4] = {{a, 0}, {c, 0}, {b, 0}, {d, 0}};
    EXPECT_TRUE(PickKiller(thread, 5, &list[3], list));
    EXPECT_EQ(list[3].move, b);
    EXPECT_EQ(list[2].move, d);
    EXPECT_TRUE(PickKiller(thread, 5, &list[2], list));
    EXPECT_EQ(list[2].move, a);
    EXPECT_FALSE(PickKiller(thread, 5, &list[1], list));
    MoveEntry single[1] = {{a, 0}};
    EXPECT_FALSE(PickKiller(thread, 5, &single[0], single));

    // Counters are per side and halve before they would overflow.
    thread.history[0][1][18] = 65000;
    UpdateHistory(thread, 40, a);
    EXPECT_EQ(thread.history[0][1][18], 1064);
    thread.positionStack[0].side = 1;
    UpdateHistory(thread, 3, a);
    EXPECT_EQ(HistoryOf(thread, a), 9);
}

}  // namespace
