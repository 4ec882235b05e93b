#include "board/makemove.h"

#include <cstddef>
#include <cstring>

#include "board/attacks.h"
#include "board/movegen.h"
#include "search/search.h"
#include "search/threads.h"

namespace {

constexpr uint64_t SIDE_KEY = 0xEF943420618B4A08ull;

// The side to move's view has its own rights in the low nibble.
constexpr uint8_t OWN_QUEENSIDE = 0x01;
constexpr uint8_t OWN_KINGSIDE = 0x02;
constexpr uint8_t OPP_QUEENSIDE = 0x10;
constexpr uint8_t OPP_KINGSIDE = 0x20;

constexpr int CAPTURE = 8;
constexpr int PROMOTION = 17;
constexpr int PROMOTION_CAPTURE = 25;
constexpr int KINGSIDE_CASTLING = 22;
constexpr int QUEENSIDE_CASTLING = 38;
constexpr int EN_PASSANT = 41;

// Flips or sets the bits of a piece code in the three planes.
inline void TogglePiece(Position* n, int code, Bitboard squares) {
    if (code & 1) n->plane1 ^= squares;
    if (code & 2) n->plane2 ^= squares;
    if (code & 4) n->plane4 ^= squares;
}

inline void ClearSquare(Position* n, Bitboard square) {
    n->plane1 &= ~square;
    n->plane2 &= ~square;
    n->plane4 &= ~square;
}

// Same as FlipPosition; kept here so that the hot path inlines it.
inline void Flip(Position* n) {
    Bitboard opponent = (n->plane1 | n->plane2 | n->plane4) ^ n->own;
    n->plane1 = ByteSwap(n->plane1);
    n->plane2 = ByteSwap(n->plane2);
    n->plane4 = ByteSwap(n->plane4);
    n->own = ByteSwap(opponent);
    n->castling = uint8_t(n->castling << 4 | n->castling >> 4);
    n->side ^= 1;
}

// Squares from which an opponent pawn attacks the square: diagonally above it. Shifting covers rank 1,
// where the PawnAttacks row is empty.
inline Bitboard OpponentPawnSources(Bitboard square) {
    return (square & ~FILE_A) << 7 | (square & ~FILE_H) << 9;
}

// Opponent pieces among `opponents` attacking sq, sliders seen through `occupied`; piece kinds from pos.
inline Bitboard AttackersOf(const Position& pos, int sq, Bitboard occupied, Bitboard opponents) {
    return ((RookAttacks(sq, occupied) & RooksQueens(pos)) | (BishopAttacks(sq, occupied) & BishopsQueens(pos)) |
            (OpponentPawnSources(SquareBit(sq)) & Pawns(pos)) | (KnightAttacks[sq] & Knights(pos)) |
            (KingAttacks[sq] & Kings(pos))) &
           opponents;
}

// The lowest record a repetition scan may read: record 0 of the stack that holds p. Every stack is the
// first member of the main context or of a thread context; a stack elsewhere is bounded by the halfmove
// clock alone.
const Position* ScanFloor(const Position* p) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(p);
    const uintptr_t mainStack = reinterpret_cast<uintptr_t>(mainContext.positionStack);
    if (at - mainStack < sizeof(mainContext.positionStack)) return mainContext.positionStack;
    const uintptr_t threads = reinterpret_cast<uintptr_t>(threadContexts);
    if (at - threads < sizeof(threadContexts))
        return threadContexts[(at - threads) / sizeof(SearchThread)].positionStack;
    return nullptr;
}

void ScanRepetitions(Position* n) {
    const int clock = n->halfmoveClock;
    if (clock < 2) return;
    const Position* floor = ScanFloor(n);
    for (int back = 2; back <= clock; back += 2) {
        if (floor && n - floor < back) return;
        const Position* q = n - back;
        if (q->own == n->own && q->plane1 == n->plane1 && q->plane2 == n->plane2 && q->plane4 == n->plane4) {
            n->repetitions = uint8_t(q->repetitions + 1);
            return;
        }
    }
}

}  // namespace

Position* MakeMove(Position* p, Move m) {
    Position* n = p + 1;
    nodeCount += 1;

    const int type = MoveType(m);
    switch (type) {
        case 1: case 2: case 3: case 4: case 5: case 6:
        case 9: case 10: case 11: case 12: case 13: case 14:
        case PROMOTION: case PROMOTION_CAPTURE: case KINGSIDE_CASTLING: case QUEENSIDE_CASTLING:
        case EN_PASSANT:
            break;
        default:
            *n = *p;
            n->repetitions = 0;
            return n;
    }

    n->own = p->own;
    n->plane1 = p->plane1;
    n->plane2 = p->plane2;
    n->plane4 = p->plane4;
    n->castling = p->castling;
    n->halfmoveClock = p->halfmoveClock;
    n->repetitions = 0;
    n->side = p->side;

    const int from = MoveFrom(m);
    const int to = MoveTo(m);
    const Bitboard fromBit = SquareBit(from);
    const Bitboard toBit = SquareBit(to);
    const Bitboard fromTo = fromBit | toBit;
    const uint64_t(&ownKeys)[64] = PieceKeys[p->side * 8 + (type & 7)];
    const int opponentRow = (p->side ^ 1) * 8;

    uint64_t key = p->key ^ CastleKeys[p->castling] ^ SIDE_KEY ^ EpKeys[p->epFile];
    n->epFile = 8;
    n->own ^= fromTo;

    switch (type) {
        case 1:
            n->plane1 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (RankOf(from) == 1 && RankOf(to) == 3) {
                n->epFile = uint8_t(FileOf(to));
                key ^= EpKeys[n->epFile];
            }
            n->halfmoveClock = 0;
            break;
        case 2:
            n->plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case 3:
            n->plane1 ^= fromTo;
            n->plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case 4:
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (from == 7) n->castling &= uint8_t(~OWN_KINGSIDE);
            if (from == 0) n->castling &= uint8_t(~OWN_QUEENSIDE);
            n->halfmoveClock++;
            break;
        case 5:
            n->plane1 ^= fromTo;
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case 6:
            n->plane2 ^= fromTo;
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->castling &= uint8_t(~(OWN_QUEENSIDE | OWN_KINGSIDE));
            n->halfmoveClock++;
            break;
        case 9: case 10: case 11: case 12: case 13: case 14:
        case PROMOTION_CAPTURE: {
            const int victim = PieceOn(*p, to);
            key ^= PieceKeys[opponentRow + victim][to ^ 56];
            ClearSquare(n, toBit);
            if (to == 63) n->castling &= uint8_t(~OPP_KINGSIDE);
            if (to == 56) n->castling &= uint8_t(~OPP_QUEENSIDE);
            n->halfmoveClock = 0;
            if (type == PROMOTION_CAPTURE) {
                const int promoted = MovePromotion(m);
                n->plane1 ^= fromBit;
                TogglePiece(n, promoted, toBit);
                key ^= ownKeys[from] ^ PieceKeys[p->side * 8 + promoted][to];
                break;
            }
            TogglePiece(n, type & 7, fromTo);
            key ^= ownKeys[from] ^ ownKeys[to];
            if (type == 12) {
                if (from == 7) n->castling &= uint8_t(~OWN_KINGSIDE);
                if (from == 0) n->castling &= uint8_t(~OWN_QUEENSIDE);
            } else if (type == 14) {
                n->castling &= uint8_t(~(OWN_QUEENSIDE | OWN_KINGSIDE));
            }
            break;
        }
        case PROMOTION: {
            const int promoted = MovePromotion(m);
            n->plane1 ^= fromBit;
            TogglePiece(n, promoted, toBit);
            key ^= ownKeys[from] ^ PieceKeys[p->side * 8 + promoted][to];
            n->halfmoveClock = 0;
            break;
        }
        case KINGSIDE_CASTLING:
        case QUEENSIDE_CASTLING: {
            const uint64_t(&kingKeys)[64] = PieceKeys[p->side * 8 + KING];
            const uint64_t(&rookKeys)[64] = PieceKeys[p->side * 8 + ROOK];
            const int rookFrom = type == KINGSIDE_CASTLING ? 7 : 0;
            const int rookTo = type == KINGSIDE_CASTLING ? 5 : 3;
            const Bitboard rookFromTo = SquareBit(rookFrom) | SquareBit(rookTo);
            n->plane2 ^= fromTo;
            n->plane4 ^= fromTo ^ rookFromTo;
            n->own ^= rookFromTo;
            key ^= kingKeys[from] ^ kingKeys[to] ^ rookKeys[rookFrom] ^ rookKeys[rookTo];
            n->castling &= uint8_t(~(OWN_QUEENSIDE | OWN_KINGSIDE));
            n->halfmoveClock++;
            break;
        }
        case EN_PASSANT: {
            const Bitboard captured = SquareBit(to - 8);
            n->plane1 ^= fromTo ^ captured;
            key ^= ownKeys[from] ^ ownKeys[to] ^ PieceKeys[opponentRow + PAWN][(to - 8) ^ 56];
            n->halfmoveClock = 0;
            break;
        }
    }

    Flip(n);
    n->key = key ^ CastleKeys[n->castling];

    if ((type >= 2 && type <= 6) || type == KINGSIDE_CASTLING || type == QUEENSIDE_CASTLING) ScanRepetitions(n);
    return n;
}

Position* MakeNullMove(Position* p) {
    Position* n = p + 1;
    nodeCount += 1;
    *n = *p;
    Flip(n);
    n->epFile = 8;
    n->halfmoveClock = 0;
    n->repetitions = 0;
    n->key = p->key ^ EpKeys[p->epFile] ^ SIDE_KEY ^ CastleKeys[p->castling] ^ CastleKeys[n->castling];
    return n;
}

Bitboard Checkers(const Position& pos) {
    const Bitboard occupied = Occupied(pos);
    return AttackersOf(pos, OwnKingSquare(pos), occupied, occupied ^ pos.own);
}

bool IsLegal(const Position& pos, Move m) {
    const int type = MoveType(m);
    const int from = MoveFrom(m);
    const int to = MoveTo(m);
    Bitboard occupied = (Occupied(pos) ^ SquareBit(from)) | SquareBit(to);
    Bitboard opponents = Opponent(pos) & ~SquareBit(to);
    const bool kingMoves =
        type == KING || type == (KING | CAPTURE) || type == KINGSIDE_CASTLING || type == QUEENSIDE_CASTLING;
    const int target = kingMoves ? to : OwnKingSquare(pos);
    if (type == EN_PASSANT) {
        occupied &= ~SquareBit(to - 8);
        opponents &= ~SquareBit(to - 8);
    }
    return AttackersOf(pos, target, occupied, opponents) == 0;
}

void MakeRoomForMove(SearchThread& context) {
    const ptrdiff_t at = context.current - context.positionStack;
    if (at + 1 < GAME_STACK_LIMIT) return;
    std::memmove(context.positionStack, context.current - (GAME_HISTORY_KEPT - 1),
                 GAME_HISTORY_KEPT * sizeof(Position));
    context.current = context.positionStack + (GAME_HISTORY_KEPT - 1);
}

int MakeUserMove(SearchThread& context, Move m) {
    if (!IsLegalMove(*context.current, m)) return 0;
    MakeRoomForMove(context);
    context.current = MakeMove(context.current, m);
    return 1;
}
