#include "board/attacks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <random>

namespace {

int Sq(const char* name) { return (name[0] - 'a') + 8 * (name[1] - '1'); }

Bitboard Squares(std::initializer_list<const char*> names) {
    Bitboard b = 0;
    for (const char* n : names) b |= SquareBit(Sq(n));
    return b;
}

// Square by square walk, independent of the tables' own construction.
Bitboard SlowSlider(int sq, Bitboard occupied, bool rook) {
    static const int rookDirs[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    static const int bishopDirs[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    Bitboard result = 0;
    for (const auto& d : rook ? rookDirs : bishopDirs) {
        int f = FileOf(sq), r = RankOf(sq);
        while (true) {
            f += d[0];
            r += d[1];
            if (f < 0 || f > 7 || r < 0 || r > 7) break;
            result |= SquareBit(8 * r + f);
            if (occupied >> (8 * r + f) & 1) break;
        }
    }
    return result;
}

TEST(Attacks, SlidersMatchRayWalkOnRandomOccupancies) {
    std::mt19937_64 rng(20261122);
    for (int sq = 0; sq < 64; ++sq)
        for (int i = 0; i < 400; ++i) {
            // Sparse and dense boards: AND/OR of random words vary the density.
            Bitboard occ = i % 3 == 0 ? rng() & rng() & rng() : i % 3 == 1 ? rng() : rng() | rng();
            if (i == 0) occ = 0;
            ASSERT_EQ(RookAttacks(sq, occ), SlowSlider(sq, occ, true)) << sq << " " << occ;
            ASSERT_EQ(BishopAttacks(sq, occ), SlowSlider(sq, occ, false)) << sq << " " << occ;
            ASSERT_EQ(QueenAttacks(sq, occ), SlowSlider(sq, occ, true) | SlowSlider(sq, occ, false));
        }
}

TEST(Attacks, LeaperAndPawnTables) {
    EXPECT_EQ(KingAttacks[Sq("a1")], Squares({"b1", "a2", "b2"}));
    EXPECT_EQ(KnightAttacks[Sq("h8")], Squares({"f7", "g6"}));
    EXPECT_EQ(PawnAttacks[Sq("a2")], Squares({"b3"}));
    EXPECT_EQ(PawnAttackers[Sq("h8")], Squares({"g7"}));
    EXPECT_EQ(EpCapturers[4], Squares({"d5", "f5"}));
    EXPECT_EQ(EpCapturers[7], Squares({"g5"}));
    for (int sq = 0; sq < 64; ++sq)
        for (int t = 0; t < 64; ++t) {
            const int df = std::abs(FileOf(sq) - FileOf(t)), dr = std::abs(RankOf(sq) - RankOf(t));
            EXPECT_EQ(bool(KingAttacks[sq] & SquareBit(t)), std::max(df, dr) == 1);
            EXPECT_EQ(bool(KnightAttacks[sq] & SquareBit(t)), df * dr == 2);
            EXPECT_EQ(bool(PawnAttacks[sq] & SquareBit(t)), df == 1 && RankOf(t) == RankOf(sq) + 1 && RankOf(sq) > 0);
            EXPECT_EQ(bool(PawnAttacks[sq] & SquareBit(t)), bool(PawnAttackers[t] & SquareBit(sq)));
        }
}

// Aligned squares see each other across an otherwise empty board; the squares between are where the rays meet.
TEST(Attacks, Between) {
    EXPECT_EQ(Between[Sq("h1")][Sq("a8")], Squares({"g2", "f3", "e4", "d5", "c6", "b7"}));
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b) {
            Bitboard bitA = SquareBit(a), bitB = SquareBit(b), expected = 0;
            if (RookAttacks(a, bitB) & bitB)
                expected = RookAttacks(a, bitB) & RookAttacks(b, bitA);
            else if (BishopAttacks(a, bitB) & bitB)
                expected = BishopAttacks(a, bitB) & BishopAttacks(b, bitA);
            ASSERT_EQ(Between[a][b], expected) << a << " " << b;
        }
}

}  // namespace
