// Basic types shared by every subsystem: bitboards, moves, move-list entries, scores.
#pragma once

#include <bit>
#include <cstdint>
#include <initializer_list>

using Bitboard = uint64_t;

// Low byte: the move's kind (MoveKind); then from, to and the promotion piece code, one byte each. 0 is no move.
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

// The kinds of move, the low byte of a Move. The low three bits are the moving piece's code, so a plain move
// or capture of a piece is its code plus CAPTURE or not; bit 16 marks a promotion (pawn) or kingside castling
// (king); bit 32 en passant (pawn, with the capture bit) or queenside castling (king). The generators produce
// no other value, and making a move of another kind leaves the position as it was.
enum MoveKind : uint8_t {
    PAWN_MOVE = 1,  // step or double step, not onto the last rank
    KNIGHT_MOVE = 2,
    BISHOP_MOVE = 3,
    ROOK_MOVE = 4,
    QUEEN_MOVE = 5,
    KING_MOVE = 6,
    CAPTURE = 8,
    PAWN_CAPTURE = 9,  // neither promoting nor en passant
    KNIGHT_CAPTURE = 10,
    BISHOP_CAPTURE = 11,
    ROOK_CAPTURE = 12,
    QUEEN_CAPTURE = 13,
    KING_CAPTURE = 14,
    PROMOTION = 17,
    KINGSIDE_CASTLING = 22,
    PROMOTION_CAPTURE = 25,
    QUEENSIDE_CASTLING = 38,
    EN_PASSANT = 41,
};

namespace move_kind_detail {
constexpr uint64_t KindSet(std::initializer_list<int> kinds) {
    uint64_t set = 0;
    for (int k : kinds) set |= uint64_t(1) << k;
    return set;
}
constexpr bool InSet(int kind, uint64_t set) { return kind < 64 && (set >> kind) & 1; }

inline constexpr uint64_t ALL = KindSet({PAWN_MOVE, KNIGHT_MOVE, BISHOP_MOVE, ROOK_MOVE, QUEEN_MOVE, KING_MOVE,
                                         PAWN_CAPTURE, KNIGHT_CAPTURE, BISHOP_CAPTURE, ROOK_CAPTURE, QUEEN_CAPTURE,
                                         KING_CAPTURE, PROMOTION, PROMOTION_CAPTURE, KINGSIDE_CASTLING,
                                         QUEENSIDE_CASTLING, EN_PASSANT});
inline constexpr uint64_t QUIET = KindSet({PAWN_MOVE, KNIGHT_MOVE, BISHOP_MOVE, ROOK_MOVE, QUEEN_MOVE, KING_MOVE,
                                           KINGSIDE_CASTLING, QUEENSIDE_CASTLING});
inline constexpr uint64_t REVERSIBLE = QUIET & ~KindSet({PAWN_MOVE});
inline constexpr uint64_t KING_GOES = KindSet({KING_MOVE, KING_CAPTURE, KINGSIDE_CASTLING, QUEENSIDE_CASTLING});
}  // namespace move_kind_detail

constexpr int MoveType(Move m) { return m & 0xFF; }
// One of the kinds above.
constexpr bool IsMoveKind(int kind) { return move_kind_detail::InSet(kind, move_kind_detail::ALL); }
// Takes nothing and promotes nothing: a plain piece move or castling.
constexpr bool IsQuietMove(Move m) { return move_kind_detail::InSet(MoveType(m), move_kind_detail::QUIET); }
// Neither a capture nor a pawn move, so the position before it can come back.
constexpr bool IsReversible(int kind) { return move_kind_detail::InSet(kind, move_kind_detail::REVERSIBLE); }
// The king ends on the destination square: king moves and captures, and castling.
constexpr bool MovesKing(int kind) { return move_kind_detail::InSet(kind, move_kind_detail::KING_GOES); }
// Takes the piece on the destination square; en passant, which takes the pawn beside it, does not.
constexpr bool CapturesOnDestination(int kind) { return (kind & CAPTURE) && kind != EN_PASSANT; }

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

// The first-rank squares that castling reads, in the side-to-move view.
constexpr int B1 = 1, C1 = 2, D1 = 3, E1 = 4, F1 = 5, G1 = 6;

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
