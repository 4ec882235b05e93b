#include "board/makemove.h"

#include <cstddef>
#include <cstring>

NodeCounter nodeCount;

namespace {

// The new record's fields while the move is made, kept apart from the record and written once: the record's
// own fields, stored piecewise and read back wide, would stall.
struct Planes {
    Bitboard own, plane1, plane2, plane4;
    uint8_t castling, halfmoveClock;
};

// Flips or sets the bits of a piece code in the three planes.
inline void TogglePiece(Planes& n, int code, Bitboard squares) {
    if (code & 1) n.plane1 ^= squares;
    if (code & 2) n.plane2 ^= squares;
    if (code & 4) n.plane4 ^= squares;
}

inline void ClearSquare(Planes& n, Bitboard square) {
    n.plane1 &= ~square;
    n.plane2 &= ~square;
    n.plane4 &= ~square;
}

void ScanRepetitions(Position* n) {
    const int clock = n->halfmoveClock;
    if (clock < 2) return;
    // Nothing below record 0 of the stack belongs to this game.
    const Position* floor = PositionStack::Floor(n);
    for (int back = 2; back <= clock; back += 2) {
        if (n - floor < back) return;
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
    if (!IsMoveKind(type)) {
        *n = *p;
        n->repetitions = 0;
        return n;
    }

    Planes next{p->own, p->plane1, p->plane2, p->plane4, p->castling, p->halfmoveClock};
    uint8_t epFile = 8;

    const int from = MoveFrom(m);
    const int to = MoveTo(m);
    const Bitboard fromBit = SquareBit(from);
    const Bitboard toBit = SquareBit(to);
    const Bitboard fromTo = fromBit | toBit;
    const uint64_t(&ownKeys)[64] = PieceKeys[p->side * 8 + (type & 7)];
    const int opponentRow = (p->side ^ 1) * 8;

    uint64_t key = p->key ^ CastleKeys[p->castling] ^ SideKeys[0] ^ EpKeys[p->epFile];
    next.own ^= fromTo;

    switch (type) {
        case PAWN_MOVE:
            next.plane1 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (RankOf(from) == 1 && RankOf(to) == 3) {
                epFile = uint8_t(FileOf(to));
                key ^= EpKeys[epFile];
            }
            next.halfmoveClock = 0;
            break;
        case KNIGHT_MOVE:
            next.plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            next.halfmoveClock++;
            break;
        case BISHOP_MOVE:
            next.plane1 ^= fromTo;
            next.plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            next.halfmoveClock++;
            break;
        case ROOK_MOVE:
            next.plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (from == 7) next.castling &= uint8_t(~OWN_KINGSIDE);
            if (from == 0) next.castling &= uint8_t(~OWN_QUEENSIDE);
            next.halfmoveClock++;
            break;
        case QUEEN_MOVE:
            next.plane1 ^= fromTo;
            next.plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            next.halfmoveClock++;
            break;
        case KING_MOVE:
            next.plane2 ^= fromTo;
            next.plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            next.castling &= uint8_t(~OWN_CASTLING);
            next.halfmoveClock++;
            break;
        case PAWN_CAPTURE: case KNIGHT_CAPTURE: case BISHOP_CAPTURE: case ROOK_CAPTURE: case QUEEN_CAPTURE:
        case KING_CAPTURE:
        case PROMOTION_CAPTURE: {
            const int victim = PieceOn(*p, to);
            key ^= PieceKeys[opponentRow + victim][to ^ 56];
            ClearSquare(next, toBit);
            if (to == 63) next.castling &= uint8_t(~OPP_KINGSIDE);
            if (to == 56) next.castling &= uint8_t(~OPP_QUEENSIDE);
            next.halfmoveClock = 0;
            if (type == PROMOTION_CAPTURE) {
                const int promoted = MovePromotion(m);
                next.plane1 ^= fromBit;
                TogglePiece(next, promoted, toBit);
                key ^= ownKeys[from] ^ PieceKeys[p->side * 8 + promoted][to];
                break;
            }
            TogglePiece(next, type & 7, fromTo);
            key ^= ownKeys[from] ^ ownKeys[to];
            if (type == ROOK_CAPTURE) {
                if (from == 7) next.castling &= uint8_t(~OWN_KINGSIDE);
                if (from == 0) next.castling &= uint8_t(~OWN_QUEENSIDE);
            } else if (type == KING_CAPTURE) {
                next.castling &= uint8_t(~OWN_CASTLING);
            }
            break;
        }
        case PROMOTION: {
            const int promoted = MovePromotion(m);
            next.plane1 ^= fromBit;
            TogglePiece(next, promoted, toBit);
            key ^= ownKeys[from] ^ PieceKeys[p->side * 8 + promoted][to];
            next.halfmoveClock = 0;
            break;
        }
        case KINGSIDE_CASTLING:
        case QUEENSIDE_CASTLING: {
            const uint64_t(&kingKeys)[64] = PieceKeys[p->side * 8 + KING];
            const uint64_t(&rookKeys)[64] = PieceKeys[p->side * 8 + ROOK];
            const int rookFrom = type == KINGSIDE_CASTLING ? 7 : 0;
            const int rookTo = type == KINGSIDE_CASTLING ? 5 : 3;
            const Bitboard rookFromTo = SquareBit(rookFrom) | SquareBit(rookTo);
            next.plane2 ^= fromTo;
            next.plane4 ^= fromTo ^ rookFromTo;
            next.own ^= rookFromTo;
            key ^= kingKeys[from] ^ kingKeys[to] ^ rookKeys[rookFrom] ^ rookKeys[rookTo];
            next.castling &= uint8_t(~OWN_CASTLING);
            next.halfmoveClock++;
            break;
        }
        case EN_PASSANT: {
            const Bitboard captured = SquareBit(to - 8);
            next.plane1 ^= fromTo ^ captured;
            key ^= ownKeys[from] ^ ownKeys[to] ^ PieceKeys[opponentRow + PAWN][(to - 8) ^ 56];
            next.halfmoveClock = 0;
            break;
        }
    }

    // The record is written turned over to the opponent's view, as FlipPosition would leave it.
    n->own = ByteSwap((next.plane1 | next.plane2 | next.plane4) ^ next.own);
    n->plane1 = ByteSwap(next.plane1);
    n->plane2 = ByteSwap(next.plane2);
    n->plane4 = ByteSwap(next.plane4);
    n->castling = uint8_t(next.castling << 4 | next.castling >> 4);
    n->epFile = epFile;
    n->halfmoveClock = next.halfmoveClock;
    n->repetitions = 0;
    n->side = p->side ^ 1;
    n->key = key ^ CastleKeys[n->castling];

    if (IsReversible(type)) ScanRepetitions(n);
    return n;
}

Position* MakeNullMove(Position* p) {
    Position* n = p + 1;
    nodeCount += 1;
    *n = *p;
    FlipPosition(*n);
    n->epFile = 8;
    n->halfmoveClock = 0;
    n->repetitions = 0;
    n->key = p->key ^ EpKeys[p->epFile] ^ SideKeys[0] ^ CastleKeys[p->castling] ^ CastleKeys[n->castling];
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
    const int target = MovesKing(type) ? to : OwnKingSquare(pos);
    if (type == EN_PASSANT) {
        occupied &= ~SquareBit(to - 8);
        opponents &= ~SquareBit(to - 8);
    }
    return AttackersOf(pos, target, occupied, opponents) == 0;
}

void MakeRoomForMove(StackWithCursor& context) {
    Position* const records = context.positionStack.Records();
    if (context.current - records + 1 < GAME_STACK_LIMIT) return;
    std::memmove(records, context.current - (GAME_HISTORY_KEPT - 1),
                 GAME_HISTORY_KEPT * sizeof(Position));
    context.current = records + (GAME_HISTORY_KEPT - 1);
}
