#include "board/attacks.h"

#include <gtest/gtest.h>

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

TEST(Attacks, MagicLayout) {
    EXPECT_EQ(RookAttacks(Sq("a1"), Squares({"a4", "c3"})), Squares({"a2", "a3", "a4", "b1", "c1", "d1", "e1", "f1", "g1", "h1"}));
    EXPECT_EQ(BishopMagics[0].magic, 0x0108206100610100u);
    EXPECT_EQ(RookMagics[7].magic, 0x01000A4425820300u);
    EXPECT_EQ(BishopMagics[0].attacks, SliderAttacks.data());
    EXPECT_EQ(RookMagics[0].attacks, SliderAttacks.data() + 5248);
    EXPECT_EQ(RookMagics[63].attacks + 4096, SliderAttacks.data() + SLIDER_ATTACKS_SIZE);
    for (int sq = 0; sq < 64; ++sq) {
        EXPECT_EQ(BishopMagics[sq].shift, uint64_t(64 - PopCount(BishopMagics[sq].mask)));
        EXPECT_EQ(RookMagics[sq].shift, uint64_t(64 - PopCount(RookMagics[sq].mask)));
        EXPECT_EQ(BishopMagics[sq].mask & SquareBit(sq), 0u);
    }
    EXPECT_EQ(RookMagics[Sq("a1")].mask, Squares({"a2", "a3", "a4", "a5", "a6", "a7", "b1", "c1", "d1", "e1", "f1", "g1"}));
    EXPECT_EQ(BishopMagics[Sq("d4")].mask, Squares({"b2", "c3", "e5", "f6", "g7", "c5", "b6", "e3", "f2"}));
}

TEST(Attacks, LeaperAndPawnTables) {
    EXPECT_EQ(KingAttacks[Sq("a1")], Squares({"b1", "a2", "b2"}));
    EXPECT_EQ(PopCount(KingAttacks[Sq("e4")]), 8);
    EXPECT_EQ(KnightAttacks[Sq("e2")], Squares({"c1", "g1", "c3", "g3", "d4", "f4"}));
    EXPECT_EQ(KnightAttacks[Sq("h8")], Squares({"f7", "g6"}));
    EXPECT_EQ(PawnAttacks[Sq("e2")], Squares({"d3", "f3"}));
    EXPECT_EQ(PawnAttacks[Sq("a2")], Squares({"b3"}));
    EXPECT_EQ(PawnAttacks[Sq("h7")], Squares({"g8"}));
    EXPECT_EQ(PawnAttackers[Sq("d4")], Squares({"c3", "e3"}));
    EXPECT_EQ(PawnAttackers[Sq("a3")], Squares({"b2"}));
    EXPECT_EQ(PawnAttackers[Sq("h8")], Squares({"g7"}));
    for (int f = 0; f < 8; ++f) {
        EXPECT_EQ(PawnAttacks[56 + f], 0u);
        EXPECT_EQ(PawnAttacks[f], 0u);
        EXPECT_EQ(PawnAttackers[f], 0u);
        EXPECT_EQ(PawnAttackers[8 + f], 0u);
    }
    for (int sq = 16; sq < 56; ++sq)
        for (int t = 0; t < 64; ++t)
            EXPECT_EQ(bool(PawnAttacks[sq] & SquareBit(t)), bool(PawnAttackers[t] & SquareBit(sq)));
    EXPECT_EQ(EpCapturers[0], Squares({"b5"}));
    EXPECT_EQ(EpCapturers[4], Squares({"d5", "f5"}));
    EXPECT_EQ(EpCapturers[7], Squares({"g5"}));
    EXPECT_EQ(EpCapturers[8], 0u);
}

TEST(Attacks, Between) {
    EXPECT_EQ(Between[Sq("e1")][Sq("e8")], Squares({"e2", "e3", "e4", "e5", "e6", "e7"}));
    EXPECT_EQ(Between[Sq("a1")][Sq("h8")], Squares({"b2", "c3", "d4", "e5", "f6", "g7"}));
    EXPECT_EQ(Between[Sq("h1")][Sq("a8")], Squares({"g2", "f3", "e4", "d5", "c6", "b7"}));
    EXPECT_EQ(Between[Sq("b1")][Sq("c3")], 0u);
    EXPECT_EQ(Between[Sq("d4")][Sq("e5")], 0u);
    EXPECT_EQ(Between[Sq("d4")][Sq("d4")], 0u);
    EXPECT_EQ(Between[Sq("h1")][Sq("a2")], 0u);  // not aligned though index difference 7 suggests a diagonal
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b) {
            ASSERT_EQ(Between[a][b], Between[b][a]);
            // Aligned squares see each other across an otherwise empty board, and the squares between
            // are where the two rays meet.
            Bitboard bitA = SquareBit(a), bitB = SquareBit(b), expected = 0;
            if (RookAttacks(a, bitB) & bitB)
                expected = RookAttacks(a, bitB) & RookAttacks(b, bitA);
            else if (BishopAttacks(a, bitB) & bitB)
                expected = BishopAttacks(a, bitB) & BishopAttacks(b, bitA);
            ASSERT_EQ(Between[a][b], expected) << a << " " << b;
        }
}

}  // namespace
