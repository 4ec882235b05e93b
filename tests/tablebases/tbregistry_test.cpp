// Registration, index decoding and damaged files of the tablebases; the probes are in tbprobe_test.


#include "support.h"
#include "tablebases/tbprobe.h"

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

void Touch(const fs::path& file) { std::ofstream(file).put('x'); }

TEST(TablebaseRegistry, RegistersEveryTableOfTheDirectoryInTheFixedOrder) {
    REQUIRE_SHARED_FILE(file, "syzygy/KRvK.rtbw");
    EXPECT_EQ(LoadTables(file.parent_path().string()), "Found 35 tablebases.\n");
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
    EXPECT_EQ(LoadTables(dir.path.string()), "Found 1 tablebases.\n");
    TableEntry* e = EntryOf("KRvK");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(EntryOf("KvKR"), e);
    EXPECT_EQ(e->num, 3);
    EXPECT_EQ(e->encType, 0);
    EXPECT_FALSE(e->ready);

    for (const char* name : {"KPvKP", "KRvKP", "KPPvKP", "KQQvK", "KQQvKRR", "KRRvKR"})
        Touch(dir.path / (std::string(name) + ".rtbw"));
    Touch(dir.path / "KQvK.rtbz");  // a DTZ file alone registers nothing
    EXPECT_EQ(LoadTables(dir.path.string()), "Found 7 tablebases.\n");
    // The colour with fewer pawns, but at least one, leads.
    std::string pawns;
    for (const char* name : {"KPvKP", "KRvKP", "KPPvKP"})
        pawns += std::to_string(EntryOf(name)->pawns[0]) + std::to_string(EntryOf(name)->pawns[1]) + " ";
    EXPECT_EQ(pawns, "11 10 12 ");
    EXPECT_EQ(EntryOf("KQQvK")->encType, 2);
    EXPECT_EQ(EntryOf("KQQvKRR")->encType, 2);
    EXPECT_EQ(EntryOf("KRRvKR")->encType, 0);
    EXPECT_EQ(EntryOf("KQQvKRR")->num, 6);
    EXPECT_EQ(EntryOf("KQvK"), nullptr);
}

TEST(TablebaseRegistry, EnvironmentDirectoriesReplaceTheSettings) {
    REQUIRE_SHARED_FILE(krvk, "syzygy/KRvK.rtbw");
    ScratchDir dir("env");
    dir.Copy(krvk);
    SetEnv("RTBZDIR", dir.path.string());
    SetEnv("RTBWDIR", dir.path.string());
    EXPECT_EQ(Printed([] { InitTablebases("/no/such/dtz", "/no/such/wdl"); }),
              "$DTZDIR loaded\n$WDLDIR loaded\nFound 1 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, dir.path.string().c_str());
    EXPECT_STREQ(dtzDirectory, dir.path.string().c_str());

    // A variable of 100 characters does not fit and leaves the setting in force.
    SetEnv("RTBWDIR", std::string(100, 'x'));
    UnsetEnv("RTBZDIR");
    EXPECT_EQ(Printed([&] { InitTablebases("/no/such/dtz", dir.path.string().c_str()); }), "Found 1 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, dir.path.string().c_str());
    UnsetEnv("RTBWDIR");

    // With no directory at all the files are looked for at the root; a directory too long is refused whole.
    EXPECT_EQ(LoadTables(""), "Found 0 tablebases.\n");
    EXPECT_EQ(LoadTables(dir.path.string() + "/" + std::string(130, 'x')),
              "Tablebase path longer than 127 characters ignored.\nFound 0 tablebases.\n");
    EXPECT_STREQ(wdlDirectory, "");
}

TEST(TablebaseRegistry, DtzCacheLoadsOnceMovesHitsToTheFrontAndEvictsTheOldest) {
    REQUIRE_SHARED_FILE(file, "syzygy/KQvK.rtbz");
    const std::string dir = file.parent_path().string();
    LoadTables(dir);
    int success;
    // KQvK with White to move, then KRvK, then KQvK again with the colours exchanged.
    ProbeDtz(LoadGame("4k3/8/8/8/8/8/8/3QK3 w - - 0 1"), success);
    TableEntry* kqvk = dtzCache[0].entry;
    ASSERT_NE(kqvk, nullptr);
    const uint8_t* mapped = kqvk->data;
    ProbeDtz(LoadGame("4k3/8/8/8/8/8/8/R3K3 w - - 0 1"), success);
    EXPECT_EQ(dtzCache[1].entry, kqvk);
    ProbeDtz(LoadGame("4K3/8/8/8/8/8/8/3qk3 b - - 0 1"), success);
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
    ProbeDtz(LoadGame("4k3/8/8/8/8/8/8/1NB1K3 w - - 0 1"), success);
    EXPECT_EQ(success, 1);
    EXPECT_EQ(dtzCache[0].key1, MaterialKeyOfName("KBNvK", 0));
    EXPECT_EQ(dtzCache[1].entry, kqvk);
    EXPECT_EQ(dtzCache[DTZ_CACHE_SIZE - 1].entry, secondNewest);
    LoadTables(dir);  // releases the cache
    EXPECT_EQ(dtzCache[0].entry, nullptr);
}

TEST(TablebaseRegistry, MissingDtzFileOfARegisteredTableEndsTheProcess) {
    REQUIRE_SHARED_FILE(krvk, "syzygy/KRvK.rtbw");
    ScratchDir dir("nodtz");
    dir.Copy(krvk);
    LoadTables(dir.path.string());
    Position* pos = LoadGame("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
    int success;
    EXPECT_EXIT(ProbeDtz(pos, success), testing::ExitedWithCode(1), "");
}

std::vector<char> ReadBytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const fs::path& p, const std::vector<char>& bytes, size_t length) {
    std::ofstream(p, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(length));
}

TEST(TablebaseCorrupt, WrongMagicDropsTheWdlMaterialAndLeavesTheDtzSlotEmpty) {
    REQUIRE_SHARED_FILE(wdl, "syzygy/KRvK.rtbw");
    REQUIRE_SHARED_FILE(dtz, "syzygy/KRvK.rtbz");
    ScratchDir dir("magic");
    auto copy = dir.Copy(wdl);
    dir.Copy(dtz);
    std::vector<char> bytes = ReadBytes(copy);
    bytes[0] ^= 1;
    WriteBytes(copy, bytes, bytes.size());
    LoadTables(dir.path.string());

    int success;
    const char* krvk = "4k3/8/8/8/8/8/8/R3K3 w - - 0 1";
    EXPECT_EQ(Printed([&] { ProbeWdl(LoadGame(krvk), success); }), "Corrupted table.\n");
    EXPECT_EQ(success, 0);
    EXPECT_EQ(FindTable(MaterialKeyOfName("KRvK", 0)), nullptr);
    ASSERT_NE(FindTable(MaterialKeyOfName("KvKR", 0)), nullptr);  // found, and refused, again under the other colouring
    EXPECT_EQ(Printed([&] { ProbeWdl(LoadGame(krvk), success), ProbeWdl(LoadGame("4K3/8/8/8/8/8/8/r3k3 w - - 0 1"), success); }),
              "Corrupted table.\n");
    EXPECT_EQ(success, 0);

    // A DTZ file with a wrong magic is reported once; its material keeps failing from the cache.
    dir.Copy(wdl);
    auto dtzCopy = dir.Copy(dtz);
    bytes = ReadBytes(dtzCopy);
    bytes[3] ^= 0x80;
    WriteBytes(dtzCopy, bytes, bytes.size());
    LoadTables(dir.path.string());
    EXPECT_EQ(Printed([&] {
                  for (int i = 0; i < 2; ++i) EXPECT_EQ((ProbeDtzTable(*LoadGame(krvk), 2, success), success), 0);
              }),
              "Corrupted table.\n");
    success = 1;
    ProbeWdlTable(*LoadGame(krvk), success);
    EXPECT_EQ(success, 1);
    LoadTables("");  // unmaps the files, which Windows would not let the scratch folder's removal delete
}

// Truncated files are refused as corrupt, whatever the probe; what damaged contents may decode to is the
// table fuzzer's concern.
TEST(TablebaseCorrupt, TruncatedTablesAreRefused) {
    REQUIRE_SHARED_FILE(any, "syzygy/KQvKR.rtbw");
    const char* const materials[][3] = {{"KQvKR", "4k3/8/8/8/8/8/8/r2QK3 w - - 0 1", "4k3/8/8/8/8/8/8/r2QK3 b - - 0 1"},
                                        {"KRvKP", "4k3/3p4/8/8/8/8/8/R3K3 w - - 0 1", "4k3/3p4/8/8/8/8/8/R3K3 b - - 0 1"}};
    for (const auto& m : materials)
        for (bool dtz : {false, true}) {
            ScratchDir dir("damaged");
            const fs::path wdlCopy = dir.Copy(any.parent_path() / (std::string(m[0]) + ".rtbw"));
            const fs::path target = dtz ? dir.Copy(any.parent_path() / (std::string(m[0]) + ".rtbz")) : wdlCopy;
            const std::vector<char> bytes = ReadBytes(target);
            // The files end in 16 to 80 bytes past their last section.
            for (size_t length : {size_t(0), size_t(5), size_t(24), bytes.size() / 2, bytes.size() - 81}) {
                WriteBytes(target, bytes, length);
                int failures = 0;
                LoadTables(dir.path.string());
                const std::string out = Printed([&] {
                    for (int side : {1, 2}) {
                        int success = 1;
                        if (dtz) ProbeDtzTable(*LoadGame(m[side]), 2, success);
                        else ProbeWdlTable(*LoadGame(m[side]), success);
                        failures += success == 0;
                    }
                });
                EXPECT_NE(out.find("Corrupted table.\n"), std::string::npos) << m[0] << " " << length;
                EXPECT_EQ(failures, 2) << m[0] << " " << length;
            }
        }
}

}  // namespace
