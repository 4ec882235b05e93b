#include "tablebases/tbdecode.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TableEntry& PawnlessEntry(int num, int encType) {
    static TableEntry e{};
    e.num = uint8_t(num);
    e.encType = uint8_t(encType);
    e.hasPawns = 0;
    return e;
}

bool InTriangle(int sq) { return FileOf(sq) <= 3 && RankOf(sq) <= FileOf(sq); }

}  // namespace

// Every placement of the leading pieces lands in the index range and every index is used: three distinct
// pieces (the first folded into the triangle a1-d1-d4) give 31332, a pair of kings apart gives 462.
TEST(TablebaseDecode, LeadingPiecesCoverTheIndexRangeExactly) {
    InitIndexTables();
    const int32_t factor[TBPIECES] = {1};
    for (int num : {2, 3}) {
        TableEntry& e = PawnlessEntry(num, num == 3 ? 0 : 2);
        const uint8_t norm[TBPIECES] = {uint8_t(num)};
        std::vector<bool> used(num == 3 ? 31332 : 462);
        for (int a = 0; a < 64; ++a)
            for (int b = 0; b < 64; ++b)
                for (int c = 0; c < (num == 3 ? 64 : 1); ++c) {
                    const bool adjacent = std::abs(FileOf(a) - FileOf(b)) <= 1 && std::abs(RankOf(a) - RankOf(b)) <= 1;
                    if (a == b || (num == 3 && (a == c || b == c)) || (num == 2 && adjacent)) continue;
                    int sq[TBPIECES] = {a, b, c};
                    const uint64_t idx = EncodePiece(e, norm, sq, factor);
                    ASSERT_LT(idx, used.size()) << a << " " << b << " " << c;
                    ASSERT_TRUE(num == 2 || InTriangle(sq[0]));
                    used[idx] = true;
                }
        for (size_t i = 0; i < used.size(); ++i) ASSERT_TRUE(used[i]) << num << " " << i;
    }
}

// Pawn encodings are checked through the reference probes of pawn tables; a pawn on the last rank has no index.
TEST(TablebaseDecode, PawnOnTheLastRankHasNoIndex) {
    InitIndexTables();
    TableEntry one{};
    one.num = 3;
    one.hasPawns = 1;
    one.pawns[0] = 1;
    const uint8_t norm[TBPIECES] = {1, 1, 1};
    const int32_t factor[TBPIECES] = {1, 6, 6 * 63};
    int promoted[TBPIECES] = {59, 4, 60};
    EXPECT_EQ(EncodePawn(one, norm, promoted, factor), ~uint64_t(0));
}

TEST(TablebaseDecode, SingleValueTablesAndIndicesOutsideTheTable) {
    PairsData single{};
    single.idxBits = 0;
    single.minLen = 3;
    EXPECT_EQ(DecompressPairs(single, 0), 3);
    EXPECT_EQ(DecompressPairs(single, 123456789), 3);

    PairsData empty{};
    empty.idxBits = 4;
    empty.indexEntries = 2;
    EXPECT_EQ(DecompressPairs(empty, 32), 0);
    EXPECT_EQ(DecompressPairs(empty, ~uint64_t(0)), 0);
}
