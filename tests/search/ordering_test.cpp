#include "search/ordering.h"

#include <gtest/gtest.h>

#include <vector>

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

TEST(Ordering, KillerAndHistoryUpdates) {
    SearchThread& thread = FreshThread();
    const Move a = Quiet(1, 18), b = Quiet(6, 21);
    UpdateKillers(thread, 3, a);
    UpdateKillers(thread, 3, a);
    EXPECT_EQ(thread.killers[3][0], a);
    EXPECT_EQ(thread.killers[3][1], 0u);
    UpdateKillers(thread, 3, b);
    UpdateKillers(thread, 3, a);
    EXPECT_EQ(thread.killers[3][0], a);
    EXPECT_EQ(thread.killers[3][1], b);

    thread.history[0][1][18] = 65000;
    UpdateHistory(thread, 40, a);
    EXPECT_EQ(thread.history[0][1][18], 1064);
    thread.positionStack[0].side = 1;
    UpdateHistory(thread, 3, a);
    EXPECT_EQ(thread.history[1][1][18], 9);
    EXPECT_EQ(HistoryOf(thread, a), 9);
}

TEST(Ordering, PickKillerTakesTheKillerNearestTheEnd) {
    SearchThread& thread = FreshThread();
    const Move a = Quiet(1, 18), b = Quiet(6, 21), c = Quiet(1, 16), d = Quiet(6, 23);
    thread.killers[5][0] = a;
    thread.killers[5][1] = b;
    MoveEntry list[4] = {{a, 0}, {c, 0}, {b, 0}, {d, 0}};
    EXPECT_TRUE(PickKiller(thread, 5, &list[3], list));
    EXPECT_EQ(list[3].move, b) << "killer 1, nearer the end than killer 0";
    EXPECT_EQ(list[1].move, c);
    EXPECT_EQ(list[2].move, d);
    EXPECT_TRUE(PickKiller(thread, 5, &list[2], list));
    EXPECT_EQ(list[2].move, a);
    EXPECT_FALSE(PickKiller(thread, 5, &list[1], list));
    EXPECT_EQ(list[1].move, c);

    // The first entry of a list is never reported as a killer, even when it is one.
    MoveEntry single[1] = {{a, 0}};
    EXPECT_FALSE(PickKiller(thread, 5, &single[0], single));
    EXPECT_FALSE(PickKiller(thread, 6, &list[3], list)) << "no killers at ply 6";
}

TEST(Ordering, PickHistoryNeedsAStrictlyHigherCounter) {
    SearchThread& thread = FreshThread();
    const Move m7 = Quiet(1, 7), m10a = Quiet(1, 10), m10b = Quiet(2, 10), m5 = Quiet(1, 5);
    thread.history[0][1][7] = 7;
    thread.history[0][1][10] = 10;
    thread.history[0][2][10] = 10;
    thread.history[0][1][5] = 5;
    MoveEntry list[4] = {{m7, 0}, {m10a, 0}, {m10b, 0}, {m5, 0}};
    PickHistory(thread, &list[3], list);
    EXPECT_EQ(list[3].move, m10b) << "among equal counters the one nearest the slot";
    EXPECT_EQ(list[2].move, m5);
    PickHistory(thread, &list[2], list);
    EXPECT_EQ(list[2].move, m10a);
    thread.history[0][1][5] = 7;
    PickHistory(thread, &list[1], list);
    EXPECT_EQ(list[1].move, m5) << "an equal counter does not displace the slot";
}

TEST(Ordering, CaptureSelectionPrefersTheEntryNearestTheEnd) {
    MoveEntry list[5] = {{1, 85}, {2, 16}, {3, 85}, {4, -3}, {5, 21}};
    PickBestCapture(&list[4], list);
    EXPECT_EQ(list[4].move, 3u);
    EXPECT_EQ(list[2].move, 5u);
    PickBestCapture(&list[3], list);
    EXPECT_EQ(list[3].move, 1u);
    PickBestCapture(&list[2], list);
    EXPECT_EQ(list[2].move, 5u);
    PickBestCapture(&list[1], list);
    EXPECT_EQ(list[1].move, 2u);
    EXPECT_EQ(list[0].move, 4u);
}

TEST(Ordering, SortMovesDescendingPartitionsAroundTheFirstEntry) {
    MoveEntry list[7] = {{1, 3}, {2, 7}, {3, 3}, {4, -5}, {5, 9}, {6, 3}, {7, 0}};
    SortMovesDescending(list, 0, 6);
    std::vector<int> scores, moves;
    for (const MoveEntry& e : list) scores.push_back(e.score), moves.push_back(int(e.move));
    EXPECT_EQ(scores, (std::vector<int>{9, 7, 3, 3, 3, 0, -5}));
    // The fixed partition order decides where equal scores end up.
    EXPECT_EQ(moves, (std::vector<int>{5, 2, 1, 3, 6, 7, 4}));

    MoveEntry part[4] = {{1, 1}, {2, 5}, {3, 4}, {4, 8}};
    SortMovesDescending(part, 1, 2);
    EXPECT_EQ(part[1].move, 2u);
    SortMovesDescending(part, 1, 3);
    EXPECT_EQ(part[0].move, 1u) << "entries outside the range stay";
    EXPECT_EQ(part[1].move, 4u);
    EXPECT_EQ(part[3].move, 3u);
}

}  // namespace
