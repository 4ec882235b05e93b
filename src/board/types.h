// Basic types shared by every subsystem: bitboards, moves, move-list entries, scores.
#pragma once

#include <bit>
#include <cstdint>

using Bitboard = uint64_t;

// Low byte: move type (piece code, capture bit 8, promotion/kingside bit 16, en passant/queenside bit 32);
// then from, to and the promotion piece code, one byte each. 0 is no move.
using Move = uint32_t;

struct MoveEntry {
    Move move;
    int16_t score;
};
static_assert(sizeof(MoveEntry) == 8);

// Scratch lists hold every pseudo-legal move of any position.
constexpr int MOVELIST_SIZE = 261;

// Scores are from the side to move's view. Mated at ply p scores p - MATE; any score beyond MATE_BOUND,
// either sign, is a mate score counted in plies.
constexpr int MATE = 20000;
constexpr int MATE_BOUND = 19935;
// Tablebase results: a win, and a win the fifty-move rule spoils; the losses are their negatives.
constexpr int TB_WIN = 15000;
constexpr int TB_CURSED_WIN = 2;

enum PieceCode : uint8_t { EMPTY = 0, PAWN = 1, KNIGHT = 2, BISHOP = 3, ROOK = 4, QUEEN = 5, KING = 6 };

constexpr int MoveType(Move m) { return m & 0xFF; }
constexpr int MoveFrom(Move m) { return (m >> 8) & 0xFF; }
constexpr int MoveTo(Move m) { return (m >> 16) & 0xFF; }
constexpr int MovePromotion(Move m) { return (m >> 24) & 0xFF; }
constexpr Move MakeMoveCode(int type, int from, int to, int promotion = 0) {
    return Move(type) | Move(from) << 8 | Move(to) << 16 | Move(promotion) << 24;
}

constexpr Bitboard SquareBit(int sq) { return Bitboard(1) << sq; }
constexpr int PopCount(Bitboard b) { return std::popcount(b); }
constexpr int Lsb(Bitboard b) { return std::countr_zero(b); }
// Removes and returns the lowest set square; b must not be empty.
constexpr int PopLsb(Bitboard& b) {
    int sq = std::countr_zero(b);
    b &= b - 1;
    return sq;
}
// Mirrors the ranks: the board seen from the other side.
constexpr Bitboard ByteSwap(Bitboard b) { return __builtin_bswap64(b); }

constexpr Bitboard FILE_A = 0x0101010101010101ull;
constexpr Bitboard FILE_H = 0x8080808080808080ull;
constexpr Bitboard RANK_1 = 0xFFull;
constexpr Bitboard RANK_3 = 0xFFull << 16;
constexpr Bitboard RANK_7 = 0xFFull << 48;
constexpr Bitboard RANK_8 = 0xFFull << 56;

constexpr int FileOf(int sq) { return sq & 7; }
constexpr int RankOf(int sq) { return sq >> 3; }

// A value shared between threads without synchronisation by design (stop flags, node counts):
// relaxed atomics give the same machine code as a plain variable and keep the race defined.
#include <atomic>
template <typename T>
struct Relaxed {
    std::atomic<T> value{};
    Relaxed() = default;
    constexpr Relaxed(T v) : value(v) {}
    T load() const { return value.load(std::memory_order_relaxed); }
    void store(T v) { value.store(v, std::memory_order_relaxed); }
    operator T() const { return load(); }
    Relaxed& operator=(T v) { store(v); return *this; }
    // Not an atomic read-modify-write: concurrent additions may be lost, which the counters tolerate.
    Relaxed& operator+=(T v) { store(load() + v); return *this; }
};
