// Constant tables of the evaluation, all in the scored side's view (a1 = 0, own pawns move up).
#pragma once

#include <array>
#include <cstdint>

#include "board/types.h"

namespace evaltables_detail {
// Tables are written rank 8 first, as a board is read; entry sq of the result is the square sq.
constexpr std::array<int, 64> FromPrinted(const int (&printed)[64]) {
    std::array<int, 64> t{};
    for (int sq = 0; sq < 64; ++sq) t[sq] = printed[sq ^ 56];
    return t;
}

constexpr int Abs(int v) { return v < 0 ? -v : v; }
constexpr int Max(int a, int b) { return a > b ? a : b; }
constexpr bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }
constexpr Bitboard BitIfOnBoard(int file, int rank) { return OnBoard(file, rank) ? SquareBit(file + 8 * rank) : 0; }
}  // namespace evaltables_detail

constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAull;
constexpr Bitboard LONG_DIAGONALS = 0x8040201008040201ull | 0x0102040810204080ull;
// d4, e4, c5, d5, e5, f5, c6, d6, e6, f6.
constexpr Bitboard OUTPOST_SQUARES = SquareBit(27) | SquareBit(28) | (0x3Cull << 32) | (0x3Cull << 40);

inline constexpr std::array<int, 64> PawnPst = evaltables_detail::FromPrinted({
    0,   0,   0,   0,   0,   0,   0,   0,
    100, 100, 100, 100, 100, 100, 100, 100,
    30,  30,  30,  40,  40,  30,  30,  30,
    10,  10,  10,  16,  16,  10,  10,  10,
    0,   0,   0,   12,  12,  0,   0,   0,
    5,   -5,  -5,  0,   0,   -5,  -5,  5,
    5,   5,   5,   -20, -20, 5,   5,   5,
    0,   0,   0,   0,   0,   0,   0,   0});

inline constexpr std::array<int, 64> KnightPst = evaltables_detail::FromPrinted({
    -5, -5, 0,  0,  0,  0,  -5, -5,
    -5, 0,  10, 10, 10, 10, 0,  -5,
    0,  10, 15, 15, 15, 15, 10, 0,
    0,  10, 15, 20, 20, 15, 10, 0,
    0,  10, 15, 20, 20, 15, 10, 0,
    0,  10, 15, 15, 15, 15, 10, 0,
    -5, 0,  10, 10, 10, 10, 0,  -5,
    -5, -5, 0,  0,  0,  0,  -5, -5});

inline constexpr std::array<int, 64> BishopPst = evaltables_detail::FromPrinted({
    -5, -5, 0,  0,  0,  0,  -5, -5,
    -5, 0,  10, 10, 10, 10, 0,  -5,
    -5, 10, 15, 15, 15, 15, 10, -5,
    -5, 10, 15, 20, 20, 15, 10, -5,
    -5, 10, 15, 20, 20, 15, 10, -5,
    -5, 10, 15, 15, 15, 15, 10, -5,
    -5, 0,  10, 10, 10, 10, 0,  -5,
    -5, -5, 0,  0,  0,  0,  -5, -5});

inline constexpr std::array<int, 64> RookPst = evaltables_detail::FromPrinted({
    10, 10, 10, 10, 10, 10, 10, 10,
    20, 20, 20, 20, 20, 20, 20, 20,
    0,  0,  0,  10, 10, 0,  0,  0,
    0,  0,  0,  10, 10, 0,  0,  0,
    0,  0,  0,  10, 10, 0,  0,  0,
    0,  0,  0,  10, 10, 0,  0,  0,
    0,  0,  0,  10, 10, 0,  0,  0,
    0,  -5, -5, 10, 10, -5, -5, 0});

inline constexpr std::array<int, 64> QueenPst = evaltables_detail::FromPrinted({
    -4, -4, -4, -4, -4, -4, -4, -4,
    -4, 0,  0,  0,  0,  0,  0,  -4,
    -4, 0,  4,  4,  4,  4,  0,  -4,
    -4, 0,  4,  8,  8,  4,  0,  -4,
    -4, 0,  4,  8,  8,  4,  0,  -4,
    -4, 0,  4,  4,  4,  4,  0,  -4,
    -4, 0,  0,  0,  0,  0,  0,  -4,
    -4, -4, 0,  4,  0,  0,  -4, -4});

inline constexpr std::array<int, 64> KingMiddlegamePst = evaltables_detail::FromPrinted({
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, -5, -5, -5,  -5, -5,  -5, -5,
    -5, 25, 25, -10, 0,  -10, 30, -5});

inline constexpr std::array<int, 64> KingEndgamePst = evaltables_detail::FromPrinted({
    0, 0,  0,  0,  0,  0,  0,  0,
    0, 5,  5,  5,  5,  5,  5,  0,
    0, 5,  10, 10, 10, 10, 5,  0,
    0, 5,  10, 15, 15, 10, 5,  0,
    0, 5,  10, 15, 15, 10, 5,  0,
    0, 5,  10, 10, 10, 10, 5,  0,
    0, 5,  5,  5,  5,  5,  5,  0,
    0, -5, -5, 0,  0,  0,  -5, 0});

// Indexed by the number of own pawns.
inline constexpr int16_t KnightAdjustment[16] = {-20, -16, -12, -8, -4, 0, 4, 8, 12};
inline constexpr int16_t RookAdjustment[16] = {15, 12, 9, 6, 3, 0, -3, -6, -9};

// Indexed by the attack weight gathered against the enemy king.
inline constexpr int KingSafetyTable[100] = {
    0,   0,   1,   2,   3,   5,   7,   9,   12,  15,  18,  22,  26,  30,  35,  39,  44,  50,  56,  62,
    68,  75,  82,  85,  89,  97,  105, 113, 122, 131, 140, 150, 169, 180, 191, 202, 213, 225, 237, 248,
    260, 272, 283, 295, 307, 319, 330, 342, 354, 366, 377, 389, 401, 412, 424, 436, 448, 459, 471, 483,
    494, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500,
    500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500, 500};

// Indexed by the healthy-pawn count.
inline constexpr int pawnEnding[16] = {0, 0, 100, 200, 300, 400, 500, 600, 700};

// By rank of the passed pawn.
inline constexpr int PassedBonus[8] = {0, 5, 10, 20, 35, 60, 100, 200};

inline constexpr std::array<int16_t, 64> EnemyKingTrop = [] {
    constexpr int16_t byRank[8] = {0, 2, 3, 5, 10, 15, 20, 0};
    std::array<int16_t, 64> t{};
    for (int sq = 0; sq < 64; ++sq) t[sq] = byRank[RankOf(sq)];
    return t;
}();

inline constexpr std::array<int, 64> KnightOutpostBonus = [] {
    std::array<int, 64> t{};
    t[27] = t[28] = 20;
    t[34] = t[37] = 24;
    t[35] = t[36] = 30;
    t[42] = t[45] = 32;
    t[43] = t[44] = 40;
    return t;
}();

inline constexpr std::array<Bitboard, 8> FileMask = [] {
    std::array<Bitboard, 8> t{};
    for (int f = 0; f < 8; ++f) t[f] = FILE_A << f;
    return t;
}();

inline constexpr std::array<Bitboard, 8> AdjacentFiles = [] {
    std::array<Bitboard, 8> t{};
    for (int f = 0; f < 8; ++f) t[f] = (f > 0 ? FILE_A << (f - 1) : 0) | (f < 7 ? FILE_A << (f + 1) : 0);
    return t;
}();

// Squares ahead of sq on its own and the adjacent files.
inline constexpr std::array<Bitboard, 64> PassedMask = [] {
    std::array<Bitboard, 64> t{};
    for (int sq = 0; sq < 64; ++sq)
        for (int r = RankOf(sq) + 1; r < 8; ++r)
            for (int f = FileOf(sq) - 1; f <= FileOf(sq) + 1; ++f) t[sq] |= evaltables_detail::BitIfOnBoard(f, r);
    return t;
}();

// The king's square and its neighbours; from rank 8 also the three squares of rank 6 around its file.
inline constexpr std::array<Bitboard, 64> KingZone = [] {
    std::array<Bitboard, 64> t{};
    for (int sq = 0; sq < 64; ++sq)
        for (int f = FileOf(sq) - 1; f <= FileOf(sq) + 1; ++f) {
            for (int r = RankOf(sq) - 1; r <= RankOf(sq) + 1; ++r) t[sq] |= evaltables_detail::BitIfOnBoard(f, r);
            if (RankOf(sq) == 7) t[sq] |= evaltables_detail::BitIfOnBoard(f, 5);
        }
    return t;
}();

// The three squares one rank (inner) and two ranks (outer) in front of the king.
inline constexpr std::array<Bitboard, 64> InnerShield = [] {
    std::array<Bitboard, 64> t{};
    for (int sq = 0; sq < 64; ++sq)
        for (int f = FileOf(sq) - 1; f <= FileOf(sq) + 1; ++f) t[sq] |= evaltables_detail::BitIfOnBoard(f, RankOf(sq) + 1);
    return t;
}();

inline constexpr std::array<Bitboard, 64> OuterShield = [] {
    std::array<Bitboard, 64> t{};
    for (int sq = 0; sq < 64; ++sq)
        for (int f = FileOf(sq) - 1; f <= FileOf(sq) + 1; ++f) t[sq] |= evaltables_detail::BitIfOnBoard(f, RankOf(sq) + 2);
    return t;
}();

// Both diagonals through sq, sq itself left out.
inline constexpr std::array<Bitboard, 64> Diagonals = [] {
    std::array<Bitboard, 64> t{};
    for (int sq = 0; sq < 64; ++sq)
        for (int other = 0; other < 64; ++other) {
            int df = FileOf(other) - FileOf(sq), dr = RankOf(other) - RankOf(sq);
            if (other != sq && evaltables_detail::Abs(df) == evaltables_detail::Abs(dr)) t[sq] |= SquareBit(other);
        }
    return t;
}();

inline constexpr std::array<std::array<uint8_t, 64>, 64> KingDistance = [] {
    std::array<std::array<uint8_t, 64>, 64> t{};
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b)
            t[a][b] = uint8_t(evaltables_detail::Max(evaltables_detail::Abs(FileOf(a) - FileOf(b)),
                                                     evaltables_detail::Abs(RankOf(a) - RankOf(b))));
    return t;
}();

// Every square of the set's files that lies at or above a member (towards rank 8).
constexpr Bitboard FillUp(Bitboard b) {
    b |= b << 8;
    b |= b << 16;
    return b | b << 32;
}
constexpr Bitboard FillDown(Bitboard b) {
    b |= b >> 8;
    b |= b >> 16;
    return b | b >> 32;
}
// The files of a set, as a byte (bit f = file f).
constexpr unsigned FileSet(Bitboard b) {
    b |= b >> 32;
    b |= b >> 16;
    b |= b >> 8;
    return unsigned(b & 0xFF);
}
