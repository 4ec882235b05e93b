#include "board/perft.h"

#include "board/attacks.h"
#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"

namespace {


// Pawn destinations count four times on the last rank, once per promotion piece.
inline int PawnMoveCount(Bitboard targets) { return PopCount(targets) + 3 * PopCount(targets & RANK_8); }

// Perft(1) by generator and legality test, for positions the direct count does not cover.
uint64_t LeafCountByGeneration(const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    uint64_t count = 0;
    MoveEntry* end = GenerateAll(pos, list);
    for (MoveEntry* e = list; e < end; ++e) count += IsLegal(pos, e->move);
    if (count) return count;
    return Checkers(pos) ? 0 : 1;
}

// Perft(1) without generating: the number of moves the generators produce and the legality test accepts,
// counted from check and pin masks; with none, 1 for stalemate and 0 for mate. It assumes exactly one own
// king, on e1 when a castling right is left, and no pawn on the first or last rank; other positions go to
// the generating count.
uint64_t LeafCount(const Position& pos) {
    const Bitboard own = pos.own, occupied = Occupied(pos), opponent = occupied ^ own, empty = ~occupied;
    const Bitboard ownKings = Kings(pos) & own;
    const Bitboard pawns = Pawns(pos);
    if ((ownKings & (ownKings - 1)) || !ownKings || (pawns & (RANK_1 | RANK_8)) || pos.epFile > 8 ||
        ((pos.castling & OWN_CASTLING) && ownKings != SquareBit(E1)))
        return LeafCountByGeneration(pos);

    const int king = Lsb(ownKings);
    const Bitboard rooksQueens = RooksQueens(pos), bishopsQueens = BishopsQueens(pos);
    const Bitboard checkers = AttackersOf(pos, king, occupied, opponent);

    int count = 0;
    // King steps and captures: the destination must be safe with the king gone from its square.
    const Bitboard withoutKing = occupied ^ ownKings;
    for (Bitboard t = KingAttacks[king] & ~own; t;) {
        int to = PopLsb(t);
        count += !AttackersOf(pos, to, withoutKing, opponent & ~SquareBit(to));
    }

    if (checkers & (checkers - 1)) return count;

    // Own pieces alone between the king and an opponent slider may only move along that line.
    Bitboard pinned = 0;
    Bitboard snipers = ((RookAttacks(king, opponent) & rooksQueens) | (BishopAttacks(king, opponent) & bishopsQueens)) &
                       opponent;
    while (snipers) {
        int sniper = PopLsb(snipers);
        Bitboard blocker = Between[king][sniper] & occupied;
        if (!blocker || (blocker & (blocker - 1))) continue;
        pinned |= blocker;
        if (checkers) continue;  // a pinned piece never answers a check from elsewhere
        const Bitboard line = Between[king][sniper] | SquareBit(sniper);
        const int sq = Lsb(blocker);
        switch (PieceOn(pos, sq)) {
            case PAWN: {
                Bitboard push = (blocker << 8) & empty;
                Bitboard pushes = push | ((push & RANK_3) << 8 & empty);
                count += PawnMoveCount((pushes | (PawnAttacks[sq] & opponent)) & line);
                break;
            }
            case BISHOP: count += PopCount(BishopAttacks(sq, occupied) & line & ~own); break;
            case ROOK: count += PopCount(RookAttacks(sq, occupied) & line & ~own); break;
            case QUEEN: count += PopCount(QueenAttacks(sq, occupied) & line & ~own); break;
            default: break;
        }
    }

    // Without check, any square not holding an own piece; in check, the checker or a square between.
    const Bitboard target = checkers ? Between[king][Lsb(checkers)] | checkers : ~own;
    const Bitboard free = own & ~pinned;

    for (Bitboard b = Knights(pos) & free; b;) count += PopCount(KnightAttacks[PopLsb(b)] & target);
    for (Bitboard b = bishopsQueens & free; b;) count += PopCount(BishopAttacks(PopLsb(b), occupied) & target);
    for (Bitboard b = rooksQueens & free; b;) count += PopCount(RookAttacks(PopLsb(b), occupied) & target);

    const Bitboard freePawns = pawns & free;
    const Bitboard push = (freePawns << 8) & empty;
    count += PawnMoveCount(push & target) + PopCount((push & RANK_3) << 8 & empty & target);
    count += PawnMoveCount(((freePawns & ~FILE_A) << 7) & opponent & target);
    count += PawnMoveCount(((freePawns & ~FILE_H) << 9) & opponent & target);

    // En passant removes two pieces from the king's lines: tested exactly as the legality test does.
    if (EnPassantCapturable(pos)) {
        const int to = 40 + pos.epFile;
        const Bitboard toBit = SquareBit(to), captured = SquareBit(to - 8);
        for (Bitboard b = pawns & own & EpCapturers[pos.epFile]; b;) {
            Bitboard after = ((occupied ^ SquareBit(PopLsb(b))) | toBit) & ~captured;
            count += !AttackersOf(pos, king, after, opponent & ~toBit & ~captured);
        }
    }

    // The generator's path conditions, then the legality test of the king's destination. With the king on
    // e1 out of check, e1 itself is safe.
    if (!checkers) {
        auto castle = [&](Bitboard path, int passed, int to) {
            if (occupied & path) return 0;
            if (AttackersOf(pos, passed, occupied, opponent) || AttackersOf(pos, to, occupied, opponent)) return 0;
            Bitboard after = (occupied ^ ownKings) | SquareBit(to);
            return AttackersOf(pos, to, after, opponent) ? 0 : 1;
        };
        if (pos.castling & OWN_QUEENSIDE) count += castle(SquareBit(B1) | SquareBit(C1) | SquareBit(D1), D1, C1);
        if (pos.castling & OWN_KINGSIDE) count += castle(SquareBit(F1) | SquareBit(G1), F1, G1);
    }

    if (count) return count;
    return checkers ? 0 : 1;
}

uint64_t PerftNode(Position* p, uint32_t depth) {
    if (depth == 0) return 1;
    if (depth == 1) return LeafCount(*p);

    MoveEntry list[MOVELIST_SIZE];
    uint64_t sum = 0;
    for (MoveEntry* e = GenerateNoisy(*p, list); e > list;) {
        --e;
        if (IsLegal(*p, e->move)) sum += PerftNode(MakeMove(p, e->move), depth - 1);
    }
    for (MoveEntry* e = GenerateQuiets(*p, list); e > list;) {
        --e;
        if (IsLegal(*p, e->move)) sum += PerftNode(MakeMove(p, e->move), depth - 1);
    }
    if (sum) return sum;
    return Checkers(*p) ? 0 : 1;
}

}  // namespace

uint64_t Perft(StackWithCursor& context, uint32_t depth) {
    Position* start = context.current;
    if (depth >= uint32_t(context.positionStack.Records() + STACK_SIZE - start)) return 0;
    return PerftNode(start, depth);
}
