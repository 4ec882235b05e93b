// Attack tables, all in the side-to-move view: magic-bitboard slider lookups, leaper and pawn tables,
// squares between two squares and the pawns that may capture en passant. Everything here is constant
// data produced by the compiler; nothing is initialised at start-up.
#pragma once

#include <array>
#include <cstdint>

#include "board/types.h"

struct MagicEntry {
    Bitboard mask;  // rays from the square without the square itself and without the board edge
    uint64_t magic;
    uint64_t shift;  // 64 - popcount(mask); only the low 6 bits are used
    const Bitboard* attacks;
};

// Bishop slices (5,248 entries) in square order, then rook slices (102,400 entries).
constexpr int SLIDER_ATTACKS_SIZE = 107648;

extern const std::array<MagicEntry, 64> BishopMagics;
extern const std::array<MagicEntry, 64> RookMagics;
extern const std::array<Bitboard, SLIDER_ATTACKS_SIZE> SliderAttacks;

// The first occupied square of each ray is included, whatever its colour.
inline Bitboard BishopAttacks(int sq, Bitboard occupied) {
    const MagicEntry& e = BishopMagics[sq];
    return e.attacks[((occupied & e.mask) * e.magic) >> (e.shift & 63)];
}
inline Bitboard RookAttacks(int sq, Bitboard occupied) {
    const MagicEntry& e = RookMagics[sq];
    return e.attacks[((occupied & e.mask) * e.magic) >> (e.shift & 63)];
}
inline Bitboard QueenAttacks(int sq, Bitboard occupied) {
    return BishopAttacks(sq, occupied) | RookAttacks(sq, occupied);
}

namespace attacks_detail {
constexpr bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// Squares reached from sq by the given (file, rank) offsets, each taken once.
template <int N>
constexpr std::array<Bitboard, 64> LeaperTable(const int (&offsets)[N][2]) {
    std::array<Bitboard, 64> table{};
    for (int sq = 0; sq < 64; ++sq)
        for (const auto& d : offsets)
            if (OnBoard(FileOf(sq) + d[0], RankOf(sq) + d[1]))
                table[sq] |= SquareBit(sq + d[0] + 8 * d[1]);
    return table;
}

constexpr int KING_STEPS[8][2] = {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}};
constexpr int KNIGHT_JUMPS[8][2] = {{-1, -2}, {1, -2}, {-2, -1}, {2, -1}, {-2, 1}, {2, 1}, {-1, 2}, {1, 2}};
constexpr int PAWN_CAPTURES[2][2] = {{-1, 1}, {1, 1}};
constexpr int PAWN_ORIGINS[2][2] = {{-1, -1}, {1, -1}};

constexpr std::array<Bitboard, 64> PawnTable(const int (&offsets)[2][2], int firstRank, int lastRank) {
    std::array<Bitboard, 64> table = LeaperTable(offsets);
    for (int sq = 0; sq < 64; ++sq)
        if (RankOf(sq) < firstRank || RankOf(sq) > lastRank) table[sq] = 0;
    return table;
}

constexpr std::array<std::array<Bitboard, 64>, 64> BetweenTable() {
    std::array<std::array<Bitboard, 64>, 64> table{};
    for (int a = 0; a < 64; ++a)
        for (const auto& d : KING_STEPS) {
            Bitboard passed = 0;
            for (int f = FileOf(a) + d[0], r = RankOf(a) + d[1]; OnBoard(f, r); f += d[0], r += d[1]) {
                table[a][f + 8 * r] = passed;
                passed |= SquareBit(f + 8 * r);
            }
        }
    return table;
}

constexpr std::array<Bitboard, 9> EpCapturerTable() {
    std::array<Bitboard, 9> table{};
    for (int file = 0; file < 8; ++file) {
        if (file > 0) table[file] |= SquareBit(32 + file - 1);
        if (file < 7) table[file] |= SquareBit(32 + file + 1);
    }
    return table;
}
}  // namespace attacks_detail

inline constexpr std::array<Bitboard, 64> KingAttacks = attacks_detail::LeaperTable(attacks_detail::KING_STEPS);
inline constexpr std::array<Bitboard, 64> KnightAttacks =
    attacks_detail::LeaperTable(attacks_detail::KNIGHT_JUMPS);
// Squares a pawn of the side to move on s attacks; empty on ranks 1 and 8.
inline constexpr std::array<Bitboard, 64> PawnAttacks =
    attacks_detail::PawnTable(attacks_detail::PAWN_CAPTURES, 1, 6);
// Squares from which a pawn of the side to move would attack s; empty on ranks 1 and 2. Read from the
// other side, it is the set of squares an opponent pawn on s attacks.
inline constexpr std::array<Bitboard, 64> PawnAttackers =
    attacks_detail::PawnTable(attacks_detail::PAWN_ORIGINS, 2, 7);
// Squares strictly between two aligned squares; empty otherwise. Symmetric.
inline constexpr std::array<std::array<Bitboard, 64>, 64> Between = attacks_detail::BetweenTable();
// Own pawns on rank 5 beside the en-passant file; entry 8 (no file) is empty.
inline constexpr std::array<Bitboard, 9> EpCapturers = attacks_detail::EpCapturerTable();
