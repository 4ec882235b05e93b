// The position record, always seen from the side to move, and the Zobrist key tables.
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/types.h"

struct Position {
    Bitboard own;     // the side to move's pieces
    Bitboard plane1;  // bit planes of the piece codes, both colours
    Bitboard plane2;
    Bitboard plane4;
    uint8_t castling;  // the rights below
    uint8_t epFile;    // file of a pawn that just made a double step, 8 = none
    uint8_t halfmoveClock;
    uint8_t repetitions;
    uint32_t side;  // 0 White, 1 Black
    uint64_t key;
};
static_assert(sizeof(Position) == 48);

// Castling rights, in the side-to-move view: its own in the low nibble, the opponent's in the high one.
constexpr uint8_t OWN_QUEENSIDE = 0x01;
constexpr uint8_t OWN_KINGSIDE = 0x02;
constexpr uint8_t OPP_QUEENSIDE = 0x10;
constexpr uint8_t OPP_KINGSIDE = 0x20;
constexpr uint8_t OWN_CASTLING = OWN_QUEENSIDE | OWN_KINGSIDE;

constexpr int STACK_SIZE = 800;

// The records of one position stack. They begin on a multiple of ALIGNMENT inside the object and all lie
// below the next multiple, so rounding the address of any record down gives the stack's record 0: MakeMove
// finds how far back its repetition scan may read, wherever the stack lives. The records are aligned inside
// the object rather than the object itself because how far a global object is aligned beyond a page is up to
// the program loader.
class PositionStack {
  public:
    static constexpr uintptr_t ALIGNMENT = 65536;
    static_assert(STACK_SIZE * sizeof(Position) <= ALIGNMENT);

    PositionStack() = default;
    // A copy would put the records at another offset of its storage.
    PositionStack(const PositionStack&) = delete;
    PositionStack& operator=(const PositionStack&) = delete;

    Position* Records() { return reinterpret_cast<Position*>(RoundUp(reinterpret_cast<uintptr_t>(storage))); }
    const Position* Records() const {
        return reinterpret_cast<const Position*>(RoundUp(reinterpret_cast<uintptr_t>(storage)));
    }
    Position& operator[](std::ptrdiff_t i) { return Records()[i]; }
    const Position& operator[](std::ptrdiff_t i) const { return Records()[i]; }

    // Record 0 of the stack that holds p, which must be a record of some PositionStack.
    static const Position* Floor(const Position* p) {
        return reinterpret_cast<const Position*>(reinterpret_cast<uintptr_t>(p) & ~(ALIGNMENT - 1));
    }

  private:
    static constexpr uintptr_t RoundUp(uintptr_t at) { return (at + ALIGNMENT - 1) & ~(ALIGNMENT - 1); }

    alignas(Position) unsigned char storage[ALIGNMENT - alignof(Position) + STACK_SIZE * sizeof(Position)];
};

// A position stack and its current record: what the board's functions need of a search context, each of
// which begins with one. The game is the main context's.
struct StackWithCursor {
    PositionStack positionStack;
    Position* current;
};

namespace keys_detail {
// Any fixed, well-mixed set of keys will do; nothing outside the process sees them.
constexpr uint64_t SplitMix(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

struct KeyTables {
    uint64_t piece[15][64]{};
    uint64_t castle[52]{};
    uint64_t ep[9]{};
};

constexpr KeyTables MakeKeyTables() {
    KeyTables t;
    uint64_t state = 0x66E22C7A0F3B1D45ull;
    for (auto& row : t.piece)
        for (auto& k : row) k = SplitMix(state);
    for (auto& k : t.castle) k = SplitMix(state);
    for (int i = 0; i < 8; ++i) t.ep[i] = SplitMix(state);
    t.ep[8] = 0;  // "no en-passant file" contributes nothing
    return t;
}

inline constexpr KeyTables KEYS = MakeKeyTables();
}  // namespace keys_detail

// Row = colour * 8 + piece code, column = square in that colour's own view.
inline constexpr const uint64_t (&PieceKeys)[15][64] = keys_detail::KEYS.piece;
inline constexpr const uint64_t (&CastleKeys)[52] = keys_detail::KEYS.castle;
inline constexpr const uint64_t (&EpKeys)[9] = keys_detail::KEYS.ep;
// SideKeys[1] being 0, every move toggles SideKeys[0] into the key.
inline constexpr uint64_t SideKeys[2] = {0xEF943420618B4A08ull, 0};

constexpr Bitboard Occupied(const Position& p) { return p.plane1 | p.plane2 | p.plane4; }
constexpr Bitboard Opponent(const Position& p) { return Occupied(p) ^ p.own; }
constexpr Bitboard Pawns(const Position& p) { return p.plane1 & ~p.plane2 & ~p.plane4; }
constexpr Bitboard Knights(const Position& p) { return p.plane2 & ~p.plane1 & ~p.plane4; }
constexpr Bitboard Bishops(const Position& p) { return p.plane1 & p.plane2; }
constexpr Bitboard Rooks(const Position& p) { return p.plane4 & ~p.plane1 & ~p.plane2; }
constexpr Bitboard Queens(const Position& p) { return p.plane1 & p.plane4; }
constexpr Bitboard Kings(const Position& p) { return p.plane2 & p.plane4; }
constexpr Bitboard RooksQueens(const Position& p) { return p.plane4 & ~p.plane2; }
constexpr Bitboard BishopsQueens(const Position& p) { return p.plane1 & (p.plane2 | p.plane4); }

constexpr int PieceOn(const Position& p, int sq) {
    return int((p.plane1 >> sq) & 1) | int((p.plane2 >> sq) & 1) << 1 | int((p.plane4 >> sq) & 1) << 2;
}
// Square 0 when there is no king, as the record allows.
constexpr int OwnKingSquare(const Position& p) {
    Bitboard k = Kings(p) & p.own;
    return k ? Lsb(k) : 0;
}

// A FEN may name an en-passant square that no double step produced: a capture there is generated only
// when the opponent's pawn stands in front of it and the square itself is empty, so that making it always
// removes a pawn.
constexpr bool EnPassantCapturable(const Position& p) {
    return p.epFile < 8 && (Pawns(p) & Opponent(p) & SquareBit(32 + p.epFile)) &&
           !(Occupied(p) & SquareBit(40 + p.epFile));
}

// Turns the record over to the other side's view: ranks mirrored, own pieces swapped, the rights' nibbles
// swapped, the other side to move. Inline, because every move made ends with it.
inline void FlipPosition(Position& pos) {
    const Bitboard opponent = Opponent(pos);
    pos.plane1 = ByteSwap(pos.plane1);
    pos.plane2 = ByteSwap(pos.plane2);
    pos.plane4 = ByteSwap(pos.plane4);
    pos.own = ByteSwap(opponent);
    pos.castling = uint8_t(pos.castling << 4 | pos.castling >> 4);
    pos.side ^= 1;
}

uint64_t ComputeKey(Position& pos);
// Zeroes every record of the stack and writes the start position with its key into record 0, which it
// returns. A new game (NewGame) is this on the main context's stack.
Position* ResetStack(PositionStack& stack);
