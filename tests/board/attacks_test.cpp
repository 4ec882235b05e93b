#include "board/attacks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace {

// Square by square walk, independent of the tables' own construction.
Bitboard SlowSlider(int sq, Bitboard occupied, bool rook) {
    static const int rookDirs[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    static const int bishopDirs[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    Bitboard result = 0;
    for (const auto& d : rook ? rookDirs : bishopDirs)
        for (int f = FileOf(sq) + d[0], r = RankOf(sq) + d[1]; f >= 0 && f < 8 && r >= 0 && r < 8; f += d[0], r += d[1]) {
            result |= SquareBit(8 * r + f);
            if (occupied >> (8 * r + f) & 1) break;
        }
    return result;
}

TEST(Attacks, SlidersMatchRayWalkOnRandomOccupancies) {
    std::mt19937_64 rng(20261122);
    for (int sq = 0; sq < 64; ++sq)
        for (int i = 0; i < 400; ++i) {
            // Sparse and dense boards: AND/OR of random words vary the density.
            Bitboard occ = i == 0 ? 0 : i % 3 == 0 ? rng() & rng() & rng() : i % 3 == 1 ? rng() : rng() | rng();
            ASSERT_EQ(RookAttacks(sq, occ), SlowSlider(sq, occ, true)) << sq << " " << occ;
            ASSERT_EQ(BishopAttacks(sq, occ), SlowSlider(sq, occ, false)) << sq << " " << occ;
            ASSERT_EQ(QueenAttacks(sq, occ), SlowSlider(sq, occ, true) | SlowSlider(sq, occ, false));
        }
}

// Leapers and pawns by their geometry; the squares between two aligned squares are where their rays meet.
TEST(Attacks, LeapersPawnsAndBetween) {
    EXPECT_EQ(EpCapturers[4], SquareBit(35) | SquareBit(37));  // d5 and f5
    EXPECT_EQ(EpCapturers[7], SquareBit(38));
    for (int sq = 0; sq < 64; ++sq)
        for (int t = 0; t < 64; ++t) {
            const int df = std::abs(FileOf(sq) - FileOf(t)), dr = std::abs(RankOf(sq) - RankOf(t));
            EXPECT_EQ(bool(KingAttacks[sq] & SquareBit(t)), std::max(df, dr) == 1);
            EXPECT_EQ(bool(KnightAttacks[sq] & SquareBit(t)), df * dr == 2);
            EXPECT_EQ(bool(PawnAttacks[sq] & SquareBit(t)), df == 1 && RankOf(t) == RankOf(sq) + 1 && RankOf(sq) > 0);
            EXPECT_EQ(bool(PawnAttacks[sq] & SquareBit(t)), bool(PawnAttackers[t] & SquareBit(sq)));
            const Bitboard a = SquareBit(sq), b = SquareBit(t);
            Bitboard expected = 0;
            if (RookAttacks(sq, b) & b) expected = RookAttacks(sq, b) & RookAttacks(t, a);
            else if (BishopAttacks(sq, b) & b) expected = BishopAttacks(sq, b) & BishopAttacks(t, a);
            ASSERT_EQ(Between[sq][t], expected) << sq << " " << t;
        }
}

}  // namespace
