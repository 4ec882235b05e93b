#include "tablebases/tbregistry.h"

#include <gtest/gtest.h>

#include <fstream>
#include <utility>
#include <vector>

#include "tablebases/tb_test_util.h"
#include "tablebases/tbprobe.h"
#include "testdata.h"

namespace {

int SlotsOf(const TableEntry* entry) {
    int n = 0;
    for (auto& bucket : tableHash)
        for (auto& slot : bucket) n += slot.entry == entry;
    return n;
}

TableEntry* EntryOf(const char* name) {
    TableHashSlot* slot = FindTable(MaterialKeyOfName(name, 0));
    return slot ? slot->entry : nullptr;
}

void Touch(const std::filesystem::path& file) { std::ofstream(file).put('x'); }

}  // namespace

TEST(TablebaseRegistry, RegistersEveryTableOfTheDirectoryInTheFixedOrder) {
    REQUIRE_SHARED_FILE(file, "syzygy/KRvK.rtbw");
    EXPECT_EQ(InitTablebasesQuietly(file.parent_path().string()), "Found 35 tablebases.\n");
    EXPECT_EQ(pieceTableCount, 24);
    EXPECT_EQ(pawnTableCount, 11);
    const char* firstNames[] = {"KQvK", "KRvK", "KBvK", "KNvK", "KQvKQ", "KQvKR"};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(pieceTables[i].key, MaterialKeyOfName(firstNames[i], 0)) << firstNames[i];
    EXPECT_EQ(pawnTables[0].key, MaterialKeyOfName("KPvK", 0));

    // A symmetric material is found under one key, any other under both colourings.
    EXPECT_EQ(SlotsOf(EntryOf("KRvKR")), 1);
    EXPECT_TRUE(EntryOf("KRvKR")->symmetric);
    EXPECT_EQ(SlotsOf(EntryOf("KQvKR")), 2);
    EXPECT_EQ(EntryOf("KRvKQ"), EntryOf("KQvKR"));
    EXPECT_EQ(FindTable(KvKKey()), nullptr);
    EXPECT_EQ(KvKKey(), MaterialKeyOfName("KvK", 0));
}

TEST(TablebaseRegistry, RegistrationReadsOnlyTheNameOfAnExistingWdlFile) {
    REQUIRE_SHARED_FILE(krvk, "syzygy/KRvK.rtbw");
    ScratchDir dir("names");
    dir.Copy(krvk);
    EXPECT_EQ(InitTablebasesQuietly(dir.path.string()), "Found 1 tablebases.\n");
    TableEntry* e = EntryOf("KRvK");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(EntryOf("KvKR"), e);
    EXPECT_TRUE(e->num == 3 && e->encType == 0 && !e->ready);

    for (const char* name : {"KPvKP", "KRvKP", "KPPvKP", "KQQvK", "KQQvKRR", "KRRvKR"})
        Touch(dir.path / (std::string(name) + ".rtbw"));
    Touch(dir.path / "KQvK.rtbz");  // a DTZ file alone registers nothing
    EXPECT_EQ(InitTablebasesQuietly(dir.path.string()), "Found 7 tablebases.\n");
    // The colour with fewer pawns, but at least one, leads.
    const auto pawns = [](const char* name) { return std::pair(int(EntryOf(name)->pawns[0]), int(EntryOf(name)->pawns[1])); };
    EXPECT_EQ(pawns("KPvKP"), std::pair(1, 1));
    EXPECT_EQ(pawns("KRvKP"), std::pair(1, 0));
    EXPECT_EQ(pawns("KPPvKP"), std::pair(1, 2));
    EXPECT_TRUE(EntryOf("KQQvK")->encType == 2 && EntryOf("KQQvKRR")->encType == 2 && EntryOf("KRRvKR")->encType == 0);
    EXPECT_EQ(EntryOf("KQQvKRR")->num, 6);
    EXPECT_EQ(EntryOf("KQvK"), nullptr);
}

// Files for every material of up to six pieces under both colourings: only the designed enumeration's 510
// names register, and the whole set fits the registry and its hash buckets.
TEST(TablebaseRegistry, EveryMaterialOfUpToSixPiecesFitsTheRegistry) {
    ScratchDir dir("allnames");
    std::vector<std::string> sides[5];  // letter runs in the order Q, R, B, N, P, by length
    sides[0] = {""};
    for (int n = 1; n <= 4; ++n)
        for (const std::string& shorter : sides[n - 1])
            for (char c : std::string("QRBNP"))
                if (shorter.empty() || std::string("QRBNP").find(c) >= std::string("QRBNP").find(shorter.back()))
                    sides[n].push_back(shorter + c);
    int files = 0;
    for (int a = 0; a <= 4; ++a)
        for (int b = 0; a + b <= 4; ++b)
            for (const std::string& white : sides[a])
                for (const std::string& black : sides[b]) {
                    Touch(dir.path / ("K" + white + "vK" + black + ".rtbw"));
                    ++files;
                }
    EXPECT_EQ(files, 1001);
    EXPECT_EQ(InitTablebasesQuietly(dir.path.string()), "Found 510 tablebases.\n");
    EXPECT_EQ(pieceTableCount, TBMAX_PIECE);
    EXPECT_EQ(pawnTableCount, TBMAX_PAWN);
}

TEST(TablebaseRegistry, EnvironmentDirectoriesReplaceTheSettings) {
    REQUIRE_SHARED_FILE(krvk, "syzygy/KRvK.rtbw");
    ScratchDir dir("env");
    dir.Copy(krvk);
    setenv("RTBZDIR", dir.path.c_str(), 1);
    setenv("RTBWDIR", dir.path.c_str(), 1);
    testing::internal::CaptureStdout();
    InitTablebases("/no/such/dtz", "/no/such/wdl");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "$DTZDIR loaded\n$WDLDIR loaded\nFound 1 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, dir.path.c_str());
    EXPECT_STREQ(dtzDirectory, dir.path.c_str());

    // A variable of 100 characters does not fit and leaves the setting in force.
    setenv("RTBWDIR", std::string(100, 'x').c_str(), 1);
    unsetenv("RTBZDIR");
    testing::internal::CaptureStdout();
    InitTablebases("/no/such/dtz", dir.path.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Found 1 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, dir.path.c_str());
    unsetenv("RTBWDIR");

    // With no directory at all the files are looked for at the root; a directory too long is refused whole.
    EXPECT_EQ(InitTablebasesQuietly(""), "Found 0 tablebases.\n");
    EXPECT_EQ(InitTablebasesQuietly(dir.path.string() + "/" + std::string(130, 'x')),
              "Tablebase path longer than 127 characters ignored.\nFound 0 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, "");
}

TEST(TablebaseRegistry, DtzCacheLoadsOnceMovesHitsToTheFrontAndEvictsTheOldest) {
    REQUIRE_SHARED_FILE(file, "syzygy/KQvK.rtbz");
    const std::string dir = file.parent_path().string();
    InitTablebasesQuietly(dir);
    int success;
    // KQvK with White to move, then KRvK, then KQvK again with the colours exchanged.
    ProbeDtz(PlacePieces({{0, KING, 4}, {0, QUEEN, 3}, {1, KING, 60}}, false), success);
    TableEntry* kqvk = dtzCache[0].entry;
    ASSERT_NE(kqvk, nullptr);
    const uint8_t* mapped = kqvk->data;
    ProbeDtz(PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), success);
    EXPECT_EQ(dtzCache[1].entry, kqvk);
    ProbeDtz(PlacePieces({{1, KING, 4}, {1, QUEEN, 3}, {0, KING, 60}}, true), success);
    EXPECT_EQ(success, 1);
    EXPECT_EQ(dtzCache[0].entry, kqvk);
    EXPECT_EQ(dtzCache[0].entry->data, mapped);
    EXPECT_EQ(dtzCache[0].key1, MaterialKeyOfName("KQvK", 0));
    EXPECT_EQ(dtzCache[0].key2, MaterialKeyOfName("KQvK", 1));

    // A full cache: the least recently used slot goes when a new material arrives.
    for (int i = 2; i < DTZ_CACHE_SIZE; ++i) {
        ASSERT_EQ(dtzCache[i].entry, nullptr);
        dtzCache[i] = {uint64_t(i), uint64_t(i) << 32, new TableEntry{}};
    }
    TableEntry* secondNewest = dtzCache[DTZ_CACHE_SIZE - 2].entry;
    ProbeDtz(PlacePieces({{0, KING, 4}, {0, BISHOP, 2}, {0, KNIGHT, 1}, {1, KING, 60}}, false), success);
    EXPECT_EQ(success, 1);
    EXPECT_EQ(dtzCache[0].key1, MaterialKeyOfName("KBNvK", 0));
    EXPECT_EQ(dtzCache[1].entry, kqvk);
    EXPECT_EQ(dtzCache[DTZ_CACHE_SIZE - 1].entry, secondNewest);
    InitTablebasesQuietly(dir);  // releases the cache
    EXPECT_EQ(dtzCache[0].entry, nullptr);
}

TEST(TablebaseRegistry, MissingDtzFileOfARegisteredTableEndsTheProcess) {
    REQUIRE_SHARED_FILE(krvk, "syzygy/KRvK.rtbw");
    ScratchDir dir("nodtz");
    dir.Copy(krvk);
    InitTablebasesQuietly(dir.path.string());
    EXPECT_EXIT(
        {
            int success;
            ProbeDtz(PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), success);
        },
        testing::ExitedWithCode(1), "");
}
