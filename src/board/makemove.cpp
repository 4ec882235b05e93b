#include "board/makemove.h"

#include <cstddef>
#include <cstring>

NodeCounter nodeCount;

namespace {

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

    uint64_t key = p->key ^ CastleKeys[p->castling] ^ SideKeys[0] ^ EpKeys[p->epFile];
    n->epFile = 8;
    n->own ^= fromTo;

    switch (type) {
        case PAWN_MOVE:
            n->plane1 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (RankOf(from) == 1 && RankOf(to) == 3) {
                n->epFile = uint8_t(FileOf(to));
                key ^= EpKeys[n->epFile];
            }
            n->halfmoveClock = 0;
            break;
        case KNIGHT_MOVE:
            n->plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case BISHOP_MOVE:
            n->plane1 ^= fromTo;
            n->plane2 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case ROOK_MOVE:
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            if (from == 7) n->castling &= uint8_t(~OWN_KINGSIDE);
            if (from == 0) n->castling &= uint8_t(~OWN_QUEENSIDE);
            n->halfmoveClock++;
            break;
        case QUEEN_MOVE:
            n->plane1 ^= fromTo;
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->halfmoveClock++;
            break;
        case KING_MOVE:
            n->plane2 ^= fromTo;
            n->plane4 ^= fromTo;
            key ^= ownKeys[from] ^ ownKeys[to];
            n->castling &= uint8_t(~OWN_CASTLING);
            n->halfmoveClock++;
            break;
        case PAWN_CAPTURE: case KNIGHT_CAPTURE: case BISHOP_CAPTURE: case ROOK_CAPTURE: case QUEEN_CAPTURE:
        case KING_CAPTURE:
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
            if (type == ROOK_CAPTURE) {
                if (from == 7) n->castling &= uint8_t(~OWN_KINGSIDE);
                if (from == 0) n->castling &= uint8_t(~OWN_QUEENSIDE);
            } else if (type == KING_CAPTURE) {
                n->castling &= uint8_t(~OWN_CASTLING);
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
            n->castling &= uint8_t(~OWN_CASTLING);
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

    FlipPosition(*n);
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
