#include "search/tt.h"

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

TEST_P(TranspositionTableTest, ReplacementByGenerationThenDepth) {
    // All four of this generation: the shallowest goes, the earliest on ties.
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

    // Older generations go first, however deep, the smallest age (a plain byte) first.
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

// A clear empties the table by its epoch; epochs wrap round, and a record written 255 clears ago must not
// come back.
TEST_P(TranspositionTableTest, ClearsByEpochAcrossTheWrap) {
    Store(7, 3);
    for (int i = 0; i < 255; ++i) {
        ClearHashTable();
        StoreHashAt(At(0), 1, 0, BoundExact, 0, 0, uint64_t(i) * 4096 % transpositionTable.entries);
    }
    EXPECT_EQ(Probe(7), HashMiss);
    Position zero{};
    uint64_t data;
    EXPECT_EQ(ProbeHash(zero, data, 1, 0, -30000, 30000), HashNoCut) << "key 0 meets an empty record";
}

// After a clear, room that held one part of the table may go to another; the first part must then read
// as empty, and a store into it must not land in the other's records.
TEST_P(TranspositionTableTest, RoomReusedAfterAClearBelongsToItsNewPart) {
    uint64_t data;
    StoreHashAt(At(9), 1, 0, BoundExact, 9, 0, 0x40);
    ClearHashTable();
    for (int i = 0; i < 4; ++i) StoreHashAt(At(i), 1, 0, BoundExact, int16_t(i), 0, 0x80);
    EXPECT_EQ(ProbeHashAt(At(9), data, 0, 0, -30000, 30000, 0x40), HashMiss);
    StoreHashAt(At(8), 1, 0, BoundExact, 8, 0, 0x40);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ProbeHashAt(At(i), data, 0, 0, -30000, 30000, 0x80), i);
    EXPECT_EQ(ProbeHashAt(At(8), data, 0, 0, -30000, 30000, 0x40), 8);
}

INSTANTIATE_TEST_SUITE_P(InPlaceAndPooled, TranspositionTableTest, testing::Values(16, 128));

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
