#include "search/tt.h"

#include <thread>
#include <vector>

#include "frontend/config.h"
#include "search/iterate.h"
#include "search/timeman.h"
#include "support.h"

namespace {

// Every test runs on a table that keeps its records in place and on one that pools them.
class TranspositionTableTest : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        Printed([] { AllocateHashTable(HashEntriesForMB(GetParam()), GetParam()); });
        hashAge = 7;
    }
    // Keys of one bucket: the same low bits, different high bits.
    static Position At(uint64_t n) {
        Position pos{};
        pos.key = 0x1234 + (n + 1) * transpositionTable.entries;
        return pos;
    }
    static void Store(uint64_t n, int depth, int flags = BoundExact, int score = 0, Move move = 0, int ply = 0) {
        StoreHash(At(n), uint8_t(depth), uint8_t(ply), flags, int16_t(score), move);
    }
    static int Probe(uint64_t n, int depth = 0, int ply = 0, int alpha = -30000, int beta = 30000) {
        uint64_t data = 0;
        return ProbeHash(At(n), data, uint8_t(depth), uint8_t(ply), int16_t(alpha), int16_t(beta));
    }
    static uint64_t Data(uint64_t n) {
        uint64_t data = 0;
        ProbeHash(At(n), data, 0, 0, 0, 0);
        return data;
    }
};

TEST_P(TranspositionTableTest, RecordPackingAndSameKeyReplacement) {
    EXPECT_EQ(HashEntriesForMB(100), uint64_t(1) << 22) << "the largest power of two that fits";
    const Move first = MakeMoveCode(2, 1, 18), second = MakeMoveCode(1, 12, 28);
    Store(0, 5, BoundExact, -123, first);
    EXPECT_EQ(Probe(0), -123);
    const uint64_t data = Data(0);
    EXPECT_TRUE(HashDepth(data) == 5 && HashFlags(data) == BoundExact && HashAge(data) == 7);
    EXPECT_EQ(HashBest(data), first);

    // The same key takes its own record again; move 0 keeps the earlier best move.
    Store(0, 2, BoundLower, 40, 0);
    EXPECT_EQ(HashBest(Data(0)), first);
    Store(0, 3, BoundLower, 41, second);
    EXPECT_EQ(HashBest(Data(0)), second);
    const uint64_t index = At(0).key & (transpositionTable.entries - 1);
    EXPECT_EQ(ReadHashRecord(index + 1).check, 0u) << "a second record was used";
    Store(1, 66);
    EXPECT_EQ(HashDepth(Data(1)), 2) << "depths keep their low six bits";
}

TEST_P(TranspositionTableTest, ReplacementByAgeThenDepth) {
    // All four of this search's age: the shallowest goes, the earliest on ties.
    const int depths[4] = {5, 3, 3, 4};
    for (int i = 0; i < 4; ++i) Store(i, depths[i], BoundExact, 0, MakeMoveCode(2, i, 20));
    Store(4, 9);
    EXPECT_EQ(Probe(1), HashMiss);
    EXPECT_NE(Probe(2), HashMiss);
    EXPECT_EQ(HashBest(Data(4)), 0u) << "a replaced record takes move 0 as given";
    ClearHashTable();
    for (int i = 0; i < 4; ++i) Store(i, i == 3 ? 3 : 4);
    Store(4, 4);
    EXPECT_EQ(Probe(3), HashMiss) << "the last record goes only when strictly shallower";

    // Older ages go first, however deep, the smallest age (a plain byte) first.
    ClearHashTable();
    const int ages[4] = {250, 5, 3, 10};
    for (int i = 0; i < 4; ++i) hashAge = uint8_t(ages[i]), Store(i, i == 0 ? 1 : 60);
    Store(4, 1);
    EXPECT_EQ(Probe(2), HashMiss);
    Store(5, 1);
    EXPECT_EQ(Probe(1), HashMiss);
}

TEST_P(TranspositionTableTest, ProbeResultsByDepthBoundAndMateDistance) {
    uint64_t data = 0xABCDEF;
    EXPECT_EQ(ProbeHash(At(0), data, 1, 0, 0, 0), HashMiss);
    EXPECT_EQ(data, 0xABCDEFu) << "a miss leaves the data word alone";

    Store(0, 4, BoundExact, 50);
    EXPECT_EQ(Probe(0, 5), HashNoCut);
    EXPECT_EQ(Probe(0, 4), 50);
    Store(1, 4, BoundUpper, 50);
    EXPECT_EQ(Probe(1, 4, 0, 50, 100), 50);
    EXPECT_EQ(Probe(1, 4, 0, 49, 100), HashNoCut);
    Store(2, 4, BoundLower, 50);
    EXPECT_EQ(Probe(2, 4, 0, 50, 100), 50) << "at or below alpha";
    EXPECT_EQ(Probe(2, 4, 0, 40, 100), HashNoCut) << "strictly inside the window";

    // Mate scores are kept relative to the node that stores them.
    Store(4, 4, BoundExact, 19990, 0, 5);
    EXPECT_EQ(Probe(4, 0, 3), 19992);
    Store(5, 4, BoundExact, -19990, 0, 5);
    EXPECT_EQ(Probe(5, 0, 3), -19992);
    Store(6, 4, BoundExact, 19935, 0, 5);
    EXPECT_EQ(Probe(6, 0, 3), 19935) << "19935 is not a mate score";
}

TEST_P(TranspositionTableTest, LastBucketAndClear) {
    const uint64_t last = transpositionTable.entries - 1;
    uint64_t data;
    for (int i = 0; i < 4; ++i) StoreHashAt(At(i), 1, 0, BoundExact, int16_t(i), 0, last);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ProbeHashAt(At(i), data, 0, 0, -30000, 30000, last), i);
    EXPECT_NE(ReadHashRecord(last + 3).check, 0u) << "the bucket runs into the extra records";

    ClearHashTable();
    EXPECT_EQ(ProbeHashAt(At(3), data, 0, 0, -30000, 30000, last), HashMiss);
}

// A clear empties the table by moving it to the next epoch. When the epoch counter comes round, a record
// written when it last held a value must not come back.
TEST_P(TranspositionTableTest, ClearsByEpochAcrossTheWrap) {
    TranspositionTable& tt = transpositionTable;
    Store(7, 3);
    const uint32_t written = tt.epoch;
    tt.epoch = ~uint32_t(0) - 1;
    ClearHashTable();
    EXPECT_EQ(tt.epoch, 1u);
    tt.epoch = written - 1;
    ClearHashTable();
    EXPECT_EQ(Probe(7), HashMiss);
    Position zero{};
    uint64_t data;
    EXPECT_EQ(ProbeHash(zero, data, 1, 0, -30000, 30000), HashNoCut) << "key 0 meets an empty record";
}

// Threads that store into the same blocks at the same moment, each into lines of its own, so that only the
// making live of a block can cost a record: every record stored must be found. The threads meet before each
// block, so that they claim it together.
TEST_P(TranspositionTableTest, ConcurrentClaimsKeepEveryRecord) {
    constexpr int THREADS = 4, BLOCKS = 10000;
    const uint64_t blockRecords = BLOCK_LINES * 4;
    const auto indexOf = [&](uint64_t b, int t) {
        return b * 7919 % (transpositionTable.blockCount - 1) * blockRecords + uint64_t(t) * 4;
    };
    std::atomic<int> arrived{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&, t] {
            for (uint64_t b = 0; b < BLOCKS; ++b) {
                const int target = int(b + 1) * THREADS;
                arrived.fetch_add(1);
                while (arrived.load() < target) std::this_thread::yield();
                StoreHashAt(At(b), 1, 0, BoundExact, int16_t(t), 0, indexOf(b, t));
            }
        });
    for (std::thread& thread : threads) thread.join();
    int lost = 0;
    uint64_t data;
    for (uint64_t b = 0; b < BLOCKS; ++b)
        for (int t = 0; t < THREADS; ++t) lost += ProbeHashAt(At(b), data, 0, 0, -30000, 30000, indexOf(b, t)) != t;
    EXPECT_EQ(lost, 0);
}

INSTANTIATE_TEST_SUITE_P(InPlaceAndPooled, TranspositionTableTest, testing::Values(16, 128));

// The pool hands out slots in runs. Search threads last one iteration; what a thread leaves of its run must
// go to the next, or long analysis runs the pool dry. (Threads hand their runs back themselves: MinGW runs
// thread-local destructors on freed storage.) When the pool does run dry, stores into blocks not yet
// live are dropped and everything else goes on.
TEST(PooledTranspositionTable, SlotRunsOutliveThreadsAndAFullPoolDropsNewBlocks) {
    TranspositionTable& tt = transpositionTable;
    Printed([] { AllocateHashTable(HashEntriesForMB(128), 128); });
    ASSERT_TRUE(tt.pooled);
    const uint64_t blockRecords = BLOCK_LINES * 4;
    const auto storeInBlock = [&](uint64_t block, int score) {
        Position pos{};
        pos.key = block * blockRecords + 1;
        StoreHash(pos, 1, 0, BoundExact, int16_t(score), 0);
    };
    const auto probeBlock = [&](uint64_t block) {
        Position pos{};
        pos.key = block * blockRecords + 1;
        uint64_t data;
        return int(ProbeHash(pos, data, 0, 0, -30000, 30000));
    };
    for (int t = 0; t < 500; ++t)
        std::thread([&, t] {
            storeInBlock(uint64_t(t), t);
            ParkSlotRun();
        }).join();
    for (int t = 0; t < 500; ++t) ASSERT_EQ(probeBlock(uint64_t(t)), t);
    EXPECT_LE(tt.slotsUsed.load(), 1024u) << "500 blocks, one thread after another";

    // A pool of 40 slots: this thread's run has some left, the rest are gone.
    ClearHashTable();
    tt.slotCapacity = 40;
    for (int b = 0; b < 60; ++b) storeInBlock(uint64_t(b) * 3, b);
    for (int b = 0; b < 60; ++b) EXPECT_EQ(probeBlock(uint64_t(b) * 3), b < 40 ? b : HashMiss) << b;
    storeInBlock(0, 77);
    EXPECT_EQ(probeBlock(0), 77) << "a live block still takes stores";
    ClearHashTable();
    for (int b = 0; b < 40; ++b) storeInBlock(uint64_t(b) * 5 + 1, b);
    for (int b = 0; b < 40; ++b) EXPECT_EQ(probeBlock(uint64_t(b) * 5 + 1), b) << "a clear gives the pool back";
    EXPECT_EQ(probeBlock(0), HashMiss);
    Printed([] { AllocateHashTable(HashEntriesForMB(16), 16); });
}

// The pool changes where records lie, never which records the search sees: searches on a pooled and on an
// in-place table of one size print the same lines. A 4 MB table fills at these depths, so replacement and
// aging across searches, with and without clears, are in play.
TEST(PooledTranspositionTable, SearchesAsTheInPlaceTable) {
    settings.useSyzygy = 0;
    settings.threadCount = 1;
    settings.maxDepth = 9;
    const auto session = [](bool pooled) {
        Printed([pooled] { AllocateHashTableOfKind(HashEntriesForMB(4), 4, pooled); });
        EXPECT_EQ(transpositionTable.pooled, pooled);
        std::string out;
        hashAge = 0;
        int n = 0;
        for (const char* fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                                "r1bqkb1r/ppp2ppp/2n1pn2/8/2pP4/3BPN2/PP3PPP/RNBQK2R w KQkq - 0 6",
                                "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"}) {
            if (n++ == 2) ClearHashTable();
            LoadGame(fen);
            timeControl.startTime = ClockMs();
            out += Printed([] { SearchMain(mainContext); });
        }
        if (pooled) {
            // Each iteration's thread hands its slot run on to the next one's.
            const TranspositionTable& tt = transpositionTable;
            uint64_t live = 0;
            for (uint64_t b = 0; b < tt.blockCount; ++b) live += tt.blocks[b] >> 32 == tt.epoch;
            EXPECT_LE(tt.slotsUsed.load(), live + 64);
        }
        // Times differ between runs; the rest of each line must not.
        std::string kept;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream fields(line);
            std::string field;
            for (int i = 0; fields >> field; ++i)
                if (i != 2) kept += field + " ";
            kept += "\n";
        }
        return kept;
    };
    const std::string inPlace = session(false);
    EXPECT_EQ(session(true), inPlace);
    Printed([] { AllocateHashTable(HashEntriesForMB(16), 16); });
}

TEST(TranspositionTableDump, WritesEveryAddressableRecord) {
    ScratchDir dir("dump");
    std::filesystem::current_path(dir.path);
    const auto dump = [] {
        const std::string printed = Printed(DumpHashTable);
        return printed + ReadFile("DumpHash/dump.csv");
    };
    Printed([] { AllocateHashTable(4, 1); });
    EXPECT_EQ(dump(), "File non trovato\n");
    std::filesystem::create_directory("DumpHash");

    // Moves are written for the side to move of the game position; the extra records are not written.
    Position pos{};
    pos.key = 2;
    hashAge = 3;
    StoreHash(pos, 2, 0, BoundLower, -7, MakeMoveCode(1, 12, 28));
    mainContext.current->side = 1;
    const uint64_t data = 2 | 3 << 6 | 3 << 8 | uint64_t(uint16_t(-7)) << 16 | uint64_t(MakeMoveCode(1, 12, 28)) << 32;
    EXPECT_EQ(dump(), "Tot: 4\nKey;Score;Depth;Age;Best;Flags;\n0;0;0;0;a8a8;0;\n0;0;0;0;a8a8;0;\n" +
                          std::to_string(data ^ 2) + ";-7;2;3;e7e5;3;\n0;0;0;0;a8a8;0;\n");    std::filesystem::current_path(dir.path.parent_path());  // Windows removes no working directory
}

}  // namespace
