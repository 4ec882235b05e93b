// Damaged table files: every one must be refused or decoded without reading outside its mapping (these
// tests are meant to run under AddressSanitizer as well).
#include <gtest/gtest.h>

#include <fstream>

#include "tablebases/tb_test_util.h"
#include "tablebases/tbprobe.h"
#include "tablebases/tbregistry.h"
#include "testdata.h"

namespace {

struct Material {
    const char* name;
    std::vector<PlacedPiece> pieces;  // squares are chosen by Placements
};

const Material MATERIALS[] = {
    {"KQvKR", {{0, KING, 0}, {0, QUEEN, 0}, {1, KING, 0}, {1, ROOK, 0}}},
    {"KRvKP", {{0, KING, 0}, {0, ROOK, 0}, {1, KING, 0}, {1, PAWN, 0}}},
    {"KQQvK", {{0, KING, 0}, {0, QUEEN, 0}, {0, QUEEN, 0}, {1, KING, 0}}},
    {"KPvKP", {{0, KING, 0}, {0, PAWN, 0}, {1, KING, 0}, {1, PAWN, 0}}},
};

// Deterministic placements of the material on distinct squares, pawns off the first and last rank, kings apart.
std::vector<std::vector<PlacedPiece>> Placements(const Material& m, int count) {
    std::vector<std::vector<PlacedPiece>> out;
    uint64_t state = 0x9E3779B97F4A7C15ull;
    while (int(out.size()) < count) {
        std::vector<PlacedPiece> placed = m.pieces;
        Bitboard used = 0;
        for (PlacedPiece& p : placed) {
            do {
                state = state * 6364136223846793005ull + 1442695040888963407ull;
                p.square = int(state >> 58);
            } while ((used & SquareBit(p.square)) || (p.kind == PAWN && (p.square < 8 || p.square >= 56)));
            used |= SquareBit(p.square);
        }
        int k1 = placed[0].square, k2 = placed[2].square;
        if (std::abs(FileOf(k1) - FileOf(k2)) <= 1 && std::abs(RankOf(k1) - RankOf(k2)) <= 1) continue;
        out.push_back(placed);
    }
    return out;
}

std::vector<char> ReadBytes(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const std::filesystem::path& p, const std::vector<char>& bytes, size_t length) {
    std::ofstream(p, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(length));
}

// Probes every placement with both sides to move in the table of the given kind; returns what was printed.
// Values that come back must be ones the table kind can hold.
std::string ProbeAll(const std::string& dir, const Material& m, bool dtz, int& failures) {
    std::string printed = InitTablebasesQuietly(dir);
    testing::internal::CaptureStdout();
    failures = 0;
    for (const auto& placed : Placements(m, 40))
        for (bool black : {false, true}) {
            Position* pos = PlacePieces(placed, black);
            int success = 1;
            if (!dtz) {
                const int v = ProbeWdlTable(*pos, success);
                EXPECT_TRUE(!success || (v >= -2 && v <= 2)) << v;
            } else {
                for (int wdl : {-2, 0, 2}) {
                    success = 1;
                    const int v = ProbeDtzTable(*pos, wdl, success);
                    EXPECT_TRUE(success != 1 || (v >= 0 && v <= 510)) << v;
                }
            }
            failures += success == 0;
        }
    return printed + testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(TablebaseCorrupt, WrongMagicDropsTheWdlMaterialAndLeavesTheDtzSlotEmpty) {
    REQUIRE_SHARED_FILE(wdl, "syzygy/KRvK.rtbw");
    REQUIRE_SHARED_FILE(dtz, "syzygy/KRvK.rtbz");
    ScratchDir dir("magic");
    auto copy = dir.Copy(wdl);
    dir.Copy(dtz);
    std::vector<char> bytes = ReadBytes(copy);
    bytes[0] ^= 1;
    WriteBytes(copy, bytes, bytes.size());
    InitTablebasesQuietly(dir.path.string());

    int success;
    testing::internal::CaptureStdout();
    ProbeWdl(PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), success);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Corrupted table.\n");
    EXPECT_EQ(success, 0);
    EXPECT_EQ(FindTable(MaterialKeyOfName("KRvK", 0)), nullptr);
    ASSERT_NE(FindTable(MaterialKeyOfName("KvKR", 0)), nullptr);  // found, and refused, again under the other colouring
    testing::internal::CaptureStdout();
    ProbeWdl(PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), success);
    ProbeWdl(PlacePieces({{1, KING, 4}, {1, ROOK, 0}, {0, KING, 60}}, false), success);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Corrupted table.\n");
    EXPECT_EQ(success, 0);

    // A DTZ file with a wrong magic is reported once; its material keeps failing from the cache.
    copy = dir.Copy(wdl);
    auto dtzCopy = dir.Copy(dtz);
    bytes = ReadBytes(dtzCopy);
    bytes[3] ^= 0x80;
    WriteBytes(dtzCopy, bytes, bytes.size());
    InitTablebasesQuietly(dir.path.string());
    testing::internal::CaptureStdout();
    for (int i = 0; i < 2; ++i) {
        ProbeDtzTable(*PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), 2, success);
        EXPECT_EQ(success, 0);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Corrupted table.\n");
    success = 1;
    ProbeWdlTable(*PlacePieces({{0, KING, 4}, {0, ROOK, 0}, {1, KING, 60}}, false), success);
    EXPECT_EQ(success, 1);
}

// Truncated files are refused as corrupt; flipped header and section bytes may decode to anything the
// table kind can hold, but never lead outside the mapping.
TEST(TablebaseCorrupt, TruncatedAndFlippedTables) {
    REQUIRE_SHARED_FILE(any, "syzygy/KQvKR.rtbw");
    for (const Material& m : MATERIALS)
        for (bool dtz : {false, true}) {
            ScratchDir dir("damaged");
            auto wdlCopy = dir.Copy(any.parent_path() / (std::string(m.name) + ".rtbw"));
            auto target = dtz ? dir.Copy(any.parent_path() / (std::string(m.name) + ".rtbz")) : wdlCopy;
            const std::vector<char> bytes = ReadBytes(target);
            int failures;
            for (size_t length : {size_t(0), size_t(5), size_t(24), bytes.size() / 2,
                                  bytes.size() - 81}) {  // the files end in 16 to 80 bytes past their last section
                WriteBytes(target, bytes, length);
                std::string out = ProbeAll(dir.path.string(), m, dtz, failures);
                EXPECT_NE(out.find("Corrupted table.\n"), std::string::npos) << m.name << " " << length;
                EXPECT_EQ(failures, 80) << m.name << " " << length;
            }
            std::vector<std::pair<size_t, char>> flips;
            for (size_t i = 4; i < std::min<size_t>(bytes.size(), 48); ++i) flips.push_back({i, char(0xFF)});
            for (size_t i = 1; i < 8; ++i) flips.push_back({bytes.size() * i / 8, char(0x10)});
            for (auto [offset, flip] : flips) {
                std::vector<char> damaged = bytes;
                damaged[offset] ^= flip;
                WriteBytes(target, damaged, damaged.size());
                ProbeAll(dir.path.string(), m, dtz, failures);
            }
        }
}
