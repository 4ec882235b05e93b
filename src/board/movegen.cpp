#include "board/movegen.h"

#include "board/attacks.h"
#include "board/makemove.h"

namespace {

inline MoveEntry* AddQuiet(MoveEntry* list, int type, int from, int to) {
    list->move = MakeMoveCode(type, from, to);
    return list + 1;
}

// Most valuable victim first, then least valuable attacker.
inline MoveEntry* AddCapture(const Position& pos, MoveEntry* list, int piece, int from, int to) {
    list->move = MakeMoveCode(piece | CAPTURE, from, to);
    list->score = int16_t(16 * PieceOn(pos, to) + 6 - piece);
    return list + 1;
}

inline MoveEntry* AddPromotions(MoveEntry* list, int type, int from, int to) {
    list[0] = {MakeMoveCode(type, from, to, QUEEN), 85};
    list[1] = {MakeMoveCode(type, from, to, ROOK), -1};
    list[2] = {MakeMoveCode(type, from, to, BISHOP), -2};
    list[3] = {MakeMoveCode(type, from, to, KNIGHT), -3};
    return list + 4;
}

inline MoveEntry* AddTargets(MoveEntry* list, int type, int from, Bitboard targets) {
    while (targets) list = AddQuiet(list, type, from, PopLsb(targets));
    return list;
}

inline MoveEntry* AddCaptures(const Position& pos, MoveEntry* list, int piece, int from, Bitboard targets) {
    while (targets) list = AddCapture(pos, list, piece, from, PopLsb(targets));
    return list;
}

inline Bitboard PieceAttacks(int piece, int sq, Bitboard occupied) {
    switch (piece) {
        case QUEEN: return QueenAttacks(sq, occupied);
        case ROOK: return RookAttacks(sq, occupied);
        case BISHOP: return BishopAttacks(sq, occupied);
        case KNIGHT: return KnightAttacks[sq];
        default: return KingAttacks[sq];
    }
}

inline Bitboard PiecesOfKind(const Position& pos, int piece) {
    switch (piece) {
        case QUEEN: return Queens(pos);
        case ROOK: return Rooks(pos);
        case BISHOP: return Bishops(pos);
        case KNIGHT: return Knights(pos);
        default: return Kings(pos);
    }
}

// The moves of every own piece of one kind onto targets, captures or quiet ones. A template, so that each
// kind's lookup is fixed where it is called: a loop over the kinds chose it anew for every piece.
template <int PIECE, bool CAPTURES>
inline MoveEntry* AddPieceMoves(const Position& pos, MoveEntry* list, Bitboard occupied, Bitboard targets) {
    for (Bitboard b = PiecesOfKind(pos, PIECE) & pos.own; b;) {
        int from = PopLsb(b);
        const Bitboard reached = PieceAttacks(PIECE, from, occupied) & targets;
        list = CAPTURES ? AddCaptures(pos, list, PIECE, from, reached) : AddTargets(list, PIECE, from, reached);
    }
    return list;
}

// The pieces other than pawns, kings first and knights last, as the lists are ordered.
template <bool CAPTURES>
inline MoveEntry* AddPiecesMoves(const Position& pos, MoveEntry* list, Bitboard occupied, Bitboard targets) {
    list = AddPieceMoves<KING, CAPTURES>(pos, list, occupied, targets);
    list = AddPieceMoves<QUEEN, CAPTURES>(pos, list, occupied, targets);
    list = AddPieceMoves<ROOK, CAPTURES>(pos, list, occupied, targets);
    list = AddPieceMoves<BISHOP, CAPTURES>(pos, list, occupied, targets);
    return AddPieceMoves<KNIGHT, CAPTURES>(pos, list, occupied, targets);
}

// Attacked by an opponent piece on the board as it stands.
inline bool Attacked(const Position& pos, int sq, Bitboard occupied) {
    return AttackersOf(pos, sq, occupied, occupied ^ pos.own) != 0;
}

inline bool CanCastleQueenside(const Position& pos, Bitboard occupied) {
    return (pos.castling & OWN_QUEENSIDE) && !(occupied & (SquareBit(B1) | SquareBit(C1) | SquareBit(D1))) &&
           !Attacked(pos, E1, occupied) && !Attacked(pos, D1, occupied) && !Attacked(pos, C1, occupied);
}

inline bool CanCastleKingside(const Position& pos, Bitboard occupied) {
    return (pos.castling & OWN_KINGSIDE) && !(occupied & (SquareBit(F1) | SquareBit(G1))) &&
           !Attacked(pos, E1, occupied) && !Attacked(pos, F1, occupied) && !Attacked(pos, G1, occupied);
}

inline MoveEntry* AddCastle(MoveEntry* list, Move m) {
    list->move = m;
    return list + 1;
}

inline MoveEntry* EnPassantCaptures(const Position& pos, MoveEntry* list) {
    if (!EnPassantCapturable(pos)) return list;
    const int to = 40 + pos.epFile;
    for (Bitboard b = Pawns(pos) & pos.own & EpCapturers[pos.epFile]; b;) {
        list->move = MakeMoveCode(EN_PASSANT, PopLsb(b), to);
        list->score = 21;
        ++list;
    }
    return list;
}

// Rays cast from sq that stop at own pieces only, ignoring the opponent: the squares reached past the first
// own piece of each ray, up to and including the second.
template <bool ROOK_LINES>
inline Bitboard OwnXray(int sq, Bitboard own) {
    auto cast = [sq](Bitboard occ) { return ROOK_LINES ? RookAttacks(sq, occ) : BishopAttacks(sq, occ); };
    Bitboard first = cast(own);
    return cast(own & ~first) & ~first;
}

}  // namespace

MoveEntry* GenerateQuiets(const Position& pos, MoveEntry* list) {
    const Bitboard occupied = Occupied(pos), empty = ~occupied;
    list = AddPiecesMoves<false>(pos, list, occupied, empty);

    const Bitboard single = ((Pawns(pos) & pos.own) << 8) & empty;
    for (Bitboard t = single & ~RANK_8; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 8, to);
    }
    for (Bitboard t = ((single & RANK_3) << 8) & empty; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 16, to);
    }

    // The rights guarantee king and rook on their squares; only the path is checked here.
    if (CanCastleQueenside(pos, occupied)) list = AddCastle(list, CASTLE_QUEENSIDE);
    if (CanCastleKingside(pos, occupied)) list = AddCastle(list, CASTLE_KINGSIDE);
    return list;
}

MoveEntry* GenerateNoisy(const Position& pos, MoveEntry* list) {
    const Bitboard occupied = Occupied(pos), opponent = occupied ^ pos.own;
    list = AddPiecesMoves<true>(pos, list, occupied, opponent);

    const Bitboard pawns = Pawns(pos) & pos.own;
    for (Bitboard b = pawns & ~RANK_7; b;) {
        int from = PopLsb(b);
        list = AddCaptures(pos, list, PAWN, from, PawnAttacks[from] & opponent);
    }
    for (Bitboard b = pawns & RANK_7; b;) {
        int from = PopLsb(b);
        for (Bitboard t = PawnAttacks[from] & opponent; t;)
            list = AddPromotions(list, PROMOTION_CAPTURE, from, PopLsb(t));
    }
    for (Bitboard b = pawns & RANK_7; b;) {
        int from = PopLsb(b);
        if (!(occupied & SquareBit(from + 8))) list = AddPromotions(list, PROMOTION, from, from + 8);
    }
    return EnPassantCaptures(pos, list);
}

MoveEntry* GenerateAll(const Position& pos, MoveEntry* list) {
    return GenerateNoisy(pos, GenerateQuiets(pos, list));
}

MoveEntry* GenerateLegal(const Position& pos, MoveEntry* list) {
    MoveEntry all[MOVELIST_SIZE];
    MoveEntry* end = GenerateAll(pos, all);
    for (MoveEntry* e = all; e < end; ++e)
        if (IsLegal(pos, e->move)) *list++ = {e->move, 0};
    return list;
}

bool IsLegalMove(const Position& pos, Move m) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateAll(pos, list);
    for (MoveEntry* e = list; e < end; ++e)
        if (e->move == m) return IsLegal(pos, m);
    return false;
}

int MakeUserMove(StackWithCursor& context, Move m) {
    if (!IsLegalMove(*context.current, m)) return 0;
    MakeRoomForMove(context);
    context.current = MakeMove(context.current, m);
    return 1;
}

MoveEntry* GenerateEvasions(const Position& pos, MoveEntry* list, Bitboard checkers) {
    const Bitboard occupied = Occupied(pos), empty = ~occupied, opponent = occupied ^ pos.own;
    const int king = OwnKingSquare(pos);

    if (PopCount(checkers) != 1) {
        Bitboard lines = 0;
        for (Bitboard c = checkers; c;) lines |= Between[king][PopLsb(c)];
        list = AddTargets(list, KING, king, KingAttacks[king] & empty & ~lines);
        return AddCaptures(pos, list, KING, king, KingAttacks[king] & opponent);
    }

    const int checker = Lsb(checkers);
    const Bitboard block = Between[king][checker];
    list = AddTargets(list, KING, king, KingAttacks[king] & empty & ~block);
    list = AddCaptures(pos, list, KING, king, KingAttacks[king] & opponent);

    for (int piece : {QUEEN, ROOK, BISHOP, KNIGHT})
        for (Bitboard b = PiecesOfKind(pos, piece) & pos.own; b;) {
            int from = PopLsb(b);
            Bitboard attacks = PieceAttacks(piece, from, occupied);
            list = AddTargets(list, piece, from, attacks & block & empty);
            if (attacks & checkers) list = AddCapture(pos, list, piece, from, checker);
        }

    const Bitboard pawns = Pawns(pos) & pos.own;
    const Bitboard single = (pawns << 8) & empty;
    for (Bitboard t = single & block & ~RANK_8; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 8, to);
    }
    for (Bitboard t = ((single & RANK_3) << 8) & empty & block; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 16, to);
    }

    // Whether an en-passant capture answers the check is left to the legality test.
    list = EnPassantCaptures(pos, list);

    for (Bitboard b = pawns & ~RANK_7 & PawnAttackers[checker]; b;)
        list = AddCapture(pos, list, PAWN, PopLsb(b), checker);

    for (Bitboard b = pawns & RANK_7; b;) {
        int from = PopLsb(b);
        if (block & empty & SquareBit(from + 8)) list = AddPromotions(list, PROMOTION, from, from + 8);
    }
    for (Bitboard b = pawns & RANK_7 & PawnAttackers[checker]; b;)
        list = AddPromotions(list, PROMOTION_CAPTURE, PopLsb(b), checker);
    return list;
}

MoveEntry* GenerateQuietChecks(const Position& pos, MoveEntry* list) {
    const Bitboard occupied = Occupied(pos), empty = ~occupied, own = pos.own;
    const Bitboard theirKing = Kings(pos) & ~own;
    if (!theirKing) return list;
    const int e = Lsb(theirKing);
    const Bitboard rookLines = RookAttacks(e, occupied), bishopLines = BishopAttacks(e, occupied);

    // Direct checks.
    for (Bitboard b = Queens(pos) & own; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, QUEEN, from, QueenAttacks(from, occupied) & (rookLines | bishopLines) & empty);
    }
    for (Bitboard b = Rooks(pos) & own; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, ROOK, from, RookAttacks(from, occupied) & rookLines & empty);
    }
    for (Bitboard b = Bishops(pos) & own; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, BISHOP, from, BishopAttacks(from, occupied) & bishopLines & empty);
    }
    for (Bitboard b = Knights(pos) & own; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, KNIGHT, from, KnightAttacks[from] & KnightAttacks[e] & empty);
    }
    const Bitboard pawns = Pawns(pos) & own;
    const Bitboard single = (pawns << 8) & empty;
    for (Bitboard t = single & PawnAttackers[e] & ~RANK_8; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 8, to);
    }
    for (Bitboard t = ((single & RANK_3) << 8) & empty & PawnAttackers[e]; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 16, to);
    }

    // Castling whose rook lands on a line to the king.
    if ((RookAttacks(D1, occupied) & SquareBit(e)) && CanCastleQueenside(pos, occupied))
        list = AddCastle(list, CASTLE_QUEENSIDE);
    if ((RookAttacks(F1, occupied) & SquareBit(e)) && CanCastleKingside(pos, occupied))
        list = AddCastle(list, CASTLE_KINGSIDE);

    // Discovered checks. Candidates are own pieces between the king and any own slider of the kind, less the
    // squares of the own-piece x-ray (which hold the second own piece of a ray); opponent pieces and the
    // slider's direction are not looked at, so some of these moves do not check.
    Bitboard rookBlockers = 0, bishopBlockers = 0;
    for (Bitboard b = RooksQueens(pos) & own; b;) rookBlockers |= Between[e][PopLsb(b)] & own;
    for (Bitboard b = BishopsQueens(pos) & own; b;) bishopBlockers |= Between[e][PopLsb(b)] & own;
    rookBlockers &= ~OwnXray<true>(e, own);
    bishopBlockers &= ~OwnXray<false>(e, own);
    const Bitboard blockers = rookBlockers | bishopBlockers;
    if (!blockers) return list;

    for (Bitboard b = Kings(pos) & own & blockers; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, KING, from, KingAttacks[from] & empty);
    }
    for (Bitboard b = Rooks(pos) & own & bishopBlockers; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, ROOK, from, RookAttacks(from, occupied) & empty & ~rookLines);
    }
    for (Bitboard b = Bishops(pos) & own & rookBlockers; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, BISHOP, from, BishopAttacks(from, occupied) & empty & ~bishopLines);
    }
    for (Bitboard b = Knights(pos) & own & blockers; b;) {
        int from = PopLsb(b);
        list = AddTargets(list, KNIGHT, from, KnightAttacks[from] & empty & ~KnightAttacks[e]);
    }
    const Bitboard movers = (pawns & blockers) << 8 & empty;
    for (Bitboard t = movers & ~RANK_8; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 8, to);
    }
    for (Bitboard t = ((movers & RANK_3) << 8) & empty; t;) {
        int to = PopLsb(t);
        list = AddQuiet(list, PAWN, to - 16, to);
    }
    return list;
}
