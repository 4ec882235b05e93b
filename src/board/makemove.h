// Making moves on the position stack (copy-make), the null move, and the check and legality tests.
#pragma once

#include <cstdint>

#include "board/attacks.h"
#include "board/position.h"
#include "board/types.h"

// Moves made by all threads: MakeMove and MakeNullMove count them. Each thread adds to a counter on its own
// cache line, so that counting does not make the threads fight over one line; reading sums them. Assigning a
// value restarts the count.
class NodeCounter {
  public:
    static constexpr int SLOTS = 32;
    NodeCounter& operator+=(uint64_t n) {
        slots[slot].count += n;
        return *this;
    }
    NodeCounter& operator=(uint64_t n) {
        for (Slot& s : slots) s.count = 0;
        slots[0].count = n;
        return *this;
    }
    operator uint64_t() const {
        uint64_t sum = 0;
        for (const Slot& s : slots) sum += s.count;
        return sum;
    }
    // The calling thread counts into slot id (a search thread's threadId, 0 for every other thread).
    static void UseSlot(int id) { slot = id & (SLOTS - 1); }

  private:
    struct alignas(64) Slot {
        Relaxed<uint64_t> count;
    };
    Slot slots[SLOTS];
    static inline thread_local int slot = 0;
};

extern NodeCounter nodeCount;

// Records kept free above the game position for the search's own plies: the game never reaches into them.
constexpr int SEARCH_STACK_RESERVE = 256;
constexpr int GAME_STACK_LIMIT = STACK_SIZE - SEARCH_STACK_RESERVE;
// Records a game keeps when it runs out of room: the current one and the 255 before it, as far back as an
// 8-bit halfmove clock lets a repetition scan or the tablebase root filter look.
constexpr int GAME_HISTORY_KEPT = 256;
static_assert(GAME_HISTORY_KEPT < GAME_STACK_LIMIT);

// Writes the position after m into p + 1, already turned to the new side to move, with its key updated
// incrementally and its repetition count filled in, and returns p + 1. A type code that no generator
// produces gives a plain copy of p (same side to move).
Position* MakeMove(Position* p, Move m);

// p + 1 holds the same placement with the other side to move and no en-passant file.
Position* MakeNullMove(Position* p);

// Squares from which an opponent pawn attacks the given squares: diagonally above them. Shifting covers
// rank 1, where the PawnAttacks row is empty.
inline Bitboard OpponentPawnSources(Bitboard squares) {
    return (squares & ~FILE_A) << 7 | (squares & ~FILE_H) << 9;
}

// The attack test behind Checkers, IsLegal, the castling conditions and perft's last ply: the pieces among
// opponents that attack sq, sliders seen through occupied, piece kinds read from pos. Callers pass the
// board as it is or as a move would leave it.
inline Bitboard AttackersOf(const Position& pos, int sq, Bitboard occupied, Bitboard opponents) {
    return ((RookAttacks(sq, occupied) & RooksQueens(pos)) | (BishopAttacks(sq, occupied) & BishopsQueens(pos)) |
            (OpponentPawnSources(SquareBit(sq)) & Pawns(pos)) | (KnightAttacks[sq] & Knights(pos)) |
            (KingAttacks[sq] & Kings(pos))) &
           opponents;
}

// Opponent pieces that attack the side to move's king.
Bitboard Checkers(const Position& pos);

// True when the pseudo-legal move m does not leave the own king attacked.
bool IsLegal(const Position& pos, Move m);

// When the record after the game position would reach into the search's reserve, moves the last
// GAME_HISTORY_KEPT records of the game down to the bottom of the stack, so that a game of any length can
// go on; older records are never read again.
void MakeRoomForMove(StackWithCursor& context);
