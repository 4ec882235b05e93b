#include "search/tt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "search/search.h"

namespace {

class TranspositionTableTest : public testing::Test {
protected:
    void SetUp() override {
        testing::internal::CaptureStdout();
        AllocateHashTable(HashEntriesForMB(16), 16);
        testing::internal::GetCapturedStdout();
        hashAge = 7;
        searchStop = 0;
        iterationAbort = 0;
    }
    // Keys of one bucket: the same low bits, different high bits.
    static Position At(uint64_t n) {
        Position pos{};
        pos.key = 0x1234 + (n + 1) * transpositionTable.entries;
        return pos;
    }
    static int16_t Probe(const Position& pos, uint64_t& data, uint8_t depth = 0, uint8_t ply = 0,
                         int16_t alpha = -30000, int16_t beta = 30000) {
        return ProbeHash(pos, data, depth, ply, alpha, beta);
    }
};

TEST_F(TranspositionTableTest, SizesFollowTheLargestPowerOfTwoBelowTheRequest) {
    EXPECT_EQ(HashEntriesForMB(3), uint64_t(1) << 20);
    EXPECT_EQ(HashEntriesForMB(1), uint64_t(1) << 20);
    EXPECT_EQ(HashEntriesForMB(4), uint64_t(1) << 18);
    EXPECT_EQ(HashEntriesForMB(100), uint64_t(1) << 22);
    EXPECT_EQ(HashEntriesForMB(256), uint64_t(1) << 24);
    EXPECT_EQ(HashEntriesForMB(8192), uint64_t(1) << 29);
    EXPECT_EQ(transpositionTable.entries, uint64_t(1) << 20);
}

TEST_F(TranspositionTableTest, RecordPackingAndSameKeyReplacement) {
    const Position pos = At(0);
    const Move first = MakeMoveCode(2, 1, 18), second = MakeMoveCode(1, 12, 28);
    StoreHash(pos, 5, 0, BoundExact, -123, first);
    uint64_t data = 0;
    EXPECT_EQ(Probe(pos, data), -123);
    EXPECT_EQ(HashDepth(data), 5);
    EXPECT_EQ(HashFlags(data), BoundExact);
    EXPECT_EQ(HashAge(data), 7);
    EXPECT_EQ(HashBest(data), first);

    // The same key takes its own record again; move 0 keeps the earlier best move.
    StoreHash(pos, 2, 0, BoundLower, 40, 0);
    EXPECT_EQ(Probe(pos, data, 0, 0, 0, 40), 40);
    EXPECT_EQ(HashDepth(data), 2);
    EXPECT_EQ(HashBest(data), first);
    StoreHash(pos, 3, 0, BoundLower, 41, second);
    Probe(pos, data);
    EXPECT_EQ(HashBest(data), second);
    const uint64_t index = pos.key & (transpositionTable.entries - 1);
    EXPECT_EQ(transpositionTable.records[index + 1].check, 0u) << "a second record was used";

    // A depth of 64 or more keeps only its low six bits.
    StoreHash(At(1), 66, 0, BoundExact, 0, first);
    Probe(At(1), data);
    EXPECT_EQ(HashDepth(data), 2);
}

TEST_F(TranspositionTableTest, FifthKeyReplacesTheShallowestOfTheGeneration) {
    const int depths[4] = {5, 3, 3, 4};
    for (int i = 0; i < 4; ++i) StoreHash(At(i), depths[i], 0, BoundExact, 0, MakeMoveCode(2, i, 20));
    StoreHash(At(4), 9, 0, BoundExact, 0, 0);
    uint64_t data;
    EXPECT_EQ(Probe(At(1), data), HashMiss) << "the first of the two shallowest goes";
    EXPECT_NE(Probe(At(2), data), HashMiss);
    EXPECT_EQ(Probe(At(4), data), 0);
    EXPECT_EQ(HashBest(data), 0u) << "a replaced record takes move 0 as given";

    // With equal depths the lowest record of the bucket goes; the fourth only when strictly shallower.
    ClearHashTable();
    for (int i = 0; i < 4; ++i) StoreHash(At(i), 4, 0, BoundExact, 0, 0);
    StoreHash(At(4), 4, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(0), data), HashMiss);
    StoreHash(At(5), 4, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(4), data), HashMiss);
    EXPECT_NE(Probe(At(1), data), HashMiss);

    ClearHashTable();
    for (int i = 0; i < 4; ++i) StoreHash(At(i), i == 3 ? 3 : 4, 0, BoundExact, 0, 0);
    StoreHash(At(4), 4, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(3), data), HashMiss);
    EXPECT_NE(Probe(At(0), data), HashMiss);
}

TEST_F(TranspositionTableTest, OlderGenerationsGoFirstSmallestAgeFirst) {
    hashAge = 9;
    StoreHash(At(0), 1, 0, BoundExact, 0, 0);
    hashAge = 5;
    StoreHash(At(1), 60, 0, BoundExact, 0, 0);
    hashAge = 3;
    StoreHash(At(2), 60, 0, BoundExact, 0, 0);
    hashAge = 10;
    StoreHash(At(3), 2, 0, BoundExact, 0, 0);
    StoreHash(At(4), 1, 0, BoundExact, 0, 0);
    uint64_t data;
    EXPECT_EQ(Probe(At(2), data), HashMiss) << "deep but the oldest (age 3)";
    EXPECT_NE(Probe(At(0), data), HashMiss) << "shallow but of a newer generation than 3";
    StoreHash(At(5), 1, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(1), data), HashMiss);
    StoreHash(At(6), 1, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(0), data), HashMiss);

    // Ages are compared as plain bytes: after the wrap 250 is older than the current 2 and also than 1.
    ClearHashTable();
    hashAge = 250;
    StoreHash(At(0), 1, 0, BoundExact, 0, 0);
    hashAge = 1;
    StoreHash(At(1), 1, 0, BoundExact, 0, 0);
    hashAge = 2;
    StoreHash(At(2), 1, 0, BoundExact, 0, 0);
    StoreHash(At(3), 1, 0, BoundExact, 0, 0);
    StoreHash(At(4), 1, 0, BoundExact, 0, 0);
    EXPECT_EQ(Probe(At(1), data), HashMiss);
    EXPECT_NE(Probe(At(0), data), HashMiss);
}

TEST_F(TranspositionTableTest, ProbeResultsByDepthBoundAndMateDistance) {
    uint64_t data = 0xABCDEF;
    EXPECT_EQ(Probe(At(0), data, 1), HashMiss);
    EXPECT_EQ(data, 0xABCDEFu) << "a miss leaves the data word alone";

    StoreHash(At(0), 4, 0, BoundExact, 50, 0);
    EXPECT_EQ(Probe(At(0), data, 5), HashNoCut);
    EXPECT_EQ(HashDepth(data), 4) << "the record is handed out even when too shallow";
    EXPECT_EQ(Probe(At(0), data, 4), 50);

    StoreHash(At(1), 4, 0, BoundUpper, 50, 0);
    EXPECT_EQ(Probe(At(1), data, 4, 0, 50, 100), 50);
    EXPECT_EQ(Probe(At(1), data, 4, 0, 49, 100), HashNoCut);

    StoreHash(At(2), 4, 0, BoundLower, 50, 0);
    EXPECT_EQ(Probe(At(2), data, 4, 0, 0, 50), 50);
    EXPECT_EQ(Probe(At(2), data, 4, 0, 50, 100), 50) << "at or below alpha";
    EXPECT_EQ(Probe(At(2), data, 4, 0, 40, 100), HashNoCut) << "strictly inside the window";

    StoreHash(At(3), 4, 0, BoundNone, 50, 0);
    EXPECT_EQ(Probe(At(3), data, 0, 0, 100, 200), HashNoCut);

    // Mate scores are kept relative to the node that stores them.
    StoreHash(At(4), 4, 5, BoundExact, 19990, 0);
    Probe(At(4), data);
    EXPECT_EQ(HashScore(data), 19995);
    EXPECT_EQ(Probe(At(4), data, 0, 3), 19992);
    StoreHash(At(5), 4, 5, BoundExact, -19990, 0);
    EXPECT_EQ(Probe(At(5), data, 0, 3), -19992);
    StoreHash(At(6), 4, 5, BoundExact, 19935, 0);
    EXPECT_EQ(Probe(At(6), data, 0, 3), 19935) << "19935 is not a mate score";
}

TEST_F(TranspositionTableTest, StoresAreDroppedWhileTheSearchStops) {
    uint64_t data;
    searchStop = 1;
    StoreHash(At(0), 1, 0, BoundExact, 1, 0);
    searchStop = 0;
    iterationAbort = 1;
    StoreHash(At(0), 1, 0, BoundExact, 1, 0);
    iterationAbort = 0;
    EXPECT_EQ(Probe(At(0), data), HashMiss);
}

TEST_F(TranspositionTableTest, LastBucketRunsIntoTheExtraRecordsAndClearEmptiesAll) {
    const uint64_t last = transpositionTable.entries - 1;
    uint64_t data;
    for (int i = 0; i < 4; ++i) StoreHashAt(At(i), 1, 0, BoundExact, int16_t(i), 0, last);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ProbeHashAt(At(i), data, 0, 0, -30000, 30000, last), i);
    EXPECT_NE(transpositionTable.records[last + 3].check, 0u);

    ClearHashTable();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ProbeHashAt(At(i), data, 0, 0, -30000, 30000, last), HashMiss);
    EXPECT_EQ(transpositionTable.records[last + 3].check, 0u);
    StoreHash(At(0), 1, 0, BoundExact, 3, 0);
    EXPECT_EQ(Probe(At(0), data), 3) << "the table is usable after a clear";
}

TEST_F(TranspositionTableTest, ConsoleCommandTexts) {
    testing::internal::CaptureStdout();
    PrintHashRecordSize();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Hash record size: 16 byte  (128 bit)\nHash Data   size:  8 byte  ( 64 bit)\n");

    const Position pos = At(0);
    testing::internal::CaptureStdout();
    ProbeTestRecord(pos);
    StoreTestRecord(pos, 258);
    ProbeTestRecord(pos);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Hash Probe KOStored with aging: 2\nHash Probe OK");
    EXPECT_EQ(hashAge, 2);

    testing::internal::CaptureStdout();
    ResizeHashTable(0);
    ResizeHashTable(8193);
    ResizeHashTable(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string("Error: insert a number between 4 and 8192 \n"
                          "tellusererror Error (size out of bound): Insert size between 4 and 8192\n")
                      .append("Error: insert a number between 4 and 8192 \n"
                              "tellusererror Error (size out of bound): Insert size between 4 and 8192\n")
                      .append("Allocated 2 MB for the Hash Table\n"));
    EXPECT_EQ(transpositionTable.entries, uint64_t(1) << 20);
}

}  // namespace

namespace {

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(TranspositionTableDump, WritesEveryAddressableRecord) {
    const std::filesystem::path previous = std::filesystem::current_path();
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "ferrolune_tt_dump_test";
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    std::filesystem::current_path(dir);

    mainContext.current = NewGame();
    testing::internal::CaptureStdout();
    AllocateHashTable(4, 1);
    DumpHashTable();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Allocated 1 MB for the Hash Table\nFile non trovato\n");

    std::filesystem::create_directory("DumpHash");
    testing::internal::CaptureStdout();
    DumpHashTable();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tot: 4\n");
    EXPECT_EQ(ReadFile("DumpHash/dump.csv"),
              "Key;Score;Depth;Age;Best;Flags;\n0;0;0;0;a1a1;0;\n0;0;0;0;a1a1;0;\n0;0;0;0;a1a1;0;\n0;0;0;0;a1a1;0;\n");

    // Moves are written for the side to move of the game position; the extra records are not written.
    Position pos{};
    pos.key = 6;
    hashAge = 3;
    StoreHash(pos, 2, 0, BoundLower, -7, MakeMoveCode(1, 12, 28));
    pos.key = 3;
    for (int i = 0; i < 4; ++i) StoreHash(pos, 1, 0, BoundExact, 0, 0), pos.key += 4;
    mainContext.current->side = 1;
    testing::internal::CaptureStdout();
    DumpHashTable();
    testing::internal::GetCapturedStdout();
    const uint64_t data = 2 | 3 << 6 | 3 << 8 | uint64_t(uint16_t(-7)) << 16 | uint64_t(MakeMoveCode(1, 12, 28)) << 32;
    const std::string csv = ReadFile("DumpHash/dump.csv");
    EXPECT_NE(csv.find("\n" + std::to_string(data ^ 6) + ";-7;2;3;e7e5;3;\n"), std::string::npos) << csv;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 5);

    std::filesystem::current_path(previous);
    std::filesystem::remove_all(dir);
}

}  // namespace
