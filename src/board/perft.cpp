#include "board/perft.h"

#include <array>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"

namespace {

// Squares on a rook's and a bishop's lines from each square across an empty board: no slider of the kind
// off them can attack the square, which spares the lookup.
constexpr std::array<std::array<Bitboard, 64>, 2> EmptyBoardLines() {
    std::array<std::array<Bitboard, 64>, 2> lines{};
    for (int sq = 0; sq < 64; ++sq)
        for (int to = 0; to < 64; ++to) {
            const int files = FileOf(to) - FileOf(sq), ranks = RankOf(to) - RankOf(sq);
            if (to == sq) continue;
            if (files == 0 || ranks == 0) lines[0][sq] |= SquareBit(to);
            if (files == ranks || files == -ranks) lines[1][sq] |= SquareBit(to);
        }
    return lines;
}
constexpr auto LINES = EmptyBoardLines();
constexpr const std::array<Bitboard, 64>& RookLines = LINES[0];
constexpr const std::array<Bitboard, 64>& BishopLines = LINES[1];

// The opponent's pieces by kind, for repeated attack tests on one board.
struct Attackers {
    Bitboard pawns, knights, kings, rooksQueens, bishopsQueens;
    Attackers(const Position& pos, Bitboard opponent)
        : pawns(Pawns(pos) & opponent),
          knights(Knights(pos) & opponent),
          kings(Kings(pos) & opponent),
          rooksQueens(RooksQueens(pos) & opponent),
          bishopsQueens(BishopsQueens(pos) & opponent) {}

    // AttackersOf(...) != 0 for the opponent pieces as they stand; the piece on sq itself never attacks sq,
    // so a capture there needs no change to them.
    bool Attack(int sq, Bitboard occupied) const {
        if ((KnightAttacks[sq] & knights) | (OpponentPawnSources(SquareBit(sq)) & pawns) | (KingAttacks[sq] & kings))
            return true;
        return SliderAttack(sq, occupied);
    }
    bool SliderAttack(int sq, Bitboard occupied) const {
        if ((RookLines[sq] & rooksQueens) && (RookAttacks(sq, occupied) & rooksQueens)) return true;
        return (BishopLines[sq] & bishopsQueens) && (BishopAttacks(sq, occupied) & bishopsQueens);
    }
    // Every square the pawns, knights and kings attack.
    Bitboard LeaperAttacks() const {
        Bitboard attacked = ((pawns & ~FILE_A) >> 9) | ((pawns & ~FILE_H) >> 7);
        for (Bitboard b = knights; b;) attacked |= KnightAttacks[PopLsb(b)];
        for (Bitboard b = kings; b;) attacked |= KingAttacks[PopLsb(b)];
        return attacked;
    }
};

// Pawn destinations count four times on the last rank, once per promotion piece.
inline int PawnMoveCount(Bitboard targets) { return PopCount(targets) + 3 * PopCount(targets & RANK_8); }

// The direct counts below assume exactly one own king, on e1 when a castling right is left, no pawn on the
// first or last rank and a valid en-passant file; other positions go to the generators.
inline bool DirectlyCountable(const Position& pos) {
    const Bitboard ownKings = Kings(pos) & pos.own;
    return ownKings && !(ownKings & (ownKings - 1)) && !(Pawns(pos) & (RANK_1 | RANK_8)) && pos.epFile <= 8 &&
           (!(pos.castling & OWN_CASTLING) || ownKings == SquareBit(E1));
}

// The opponent pieces giving check and the own pieces pinned to the king, each pin with the line its piece
// may still move along (the squares between king and pinner, and the pinner's).
struct KingLines {
    Bitboard checkers = 0;
    Bitboard pinned = 0;
    int pinCount = 0;
    int pinSquare[8];
    Bitboard pinLine[8];
};

// Sliders are found through the own pieces: one with nothing between it and the king checks, one with a
// single piece between pins it (the ray stops at the first opponent piece, so that piece is an own one).
inline void FindKingLines(const Position& pos, int king, Bitboard occupied, Bitboard opponent, KingLines& k) {
    const Bitboard kingBit = SquareBit(king);
    // A king beside the own one counts as checking, as in the attack test: a FEN may set kings side by side.
    k.checkers = ((KnightAttacks[king] & Knights(pos)) | (OpponentPawnSources(kingBit) & Pawns(pos)) |
                  (KingAttacks[king] & Kings(pos))) &
                 opponent;
    const Bitboard rooksQueens = RooksQueens(pos) & opponent, bishopsQueens = BishopsQueens(pos) & opponent;
    Bitboard snipers = 0;
    if (RookLines[king] & rooksQueens) snipers |= RookAttacks(king, opponent) & rooksQueens;
    if (BishopLines[king] & bishopsQueens) snipers |= BishopAttacks(king, opponent) & bishopsQueens;
    while (snipers) {
        const int sniper = PopLsb(snipers);
        const Bitboard between = Between[king][sniper];
        const Bitboard blocker = between & occupied;
        if (!blocker) {
            k.checkers |= SquareBit(sniper);
        } else if (!(blocker & (blocker - 1))) {
            k.pinned |= blocker;
            k.pinSquare[k.pinCount] = Lsb(blocker);
            k.pinLine[k.pinCount] = between | SquareBit(sniper);
            ++k.pinCount;
        }
    }
}

// Castling as the generator offers it (right, empty path, king and the passed square not attacked) and the
// legality test accepts it (the destination safe with the king gone from e1). The destination attacked
// with the king on e1 is attacked without it too, so the generator's own test of it is implied.
inline bool CanCastle(const Attackers& attackers, Bitboard occupied, Bitboard path, int passed, int to) {
    if (occupied & path) return false;
    return !attackers.Attack(passed, occupied) && !attackers.Attack(to, (occupied ^ SquareBit(E1)) | SquareBit(to));
}

constexpr Bitboard QUEENSIDE_PATH = SquareBit(B1) | SquareBit(C1) | SquareBit(D1);
constexpr Bitboard KINGSIDE_PATH = SquareBit(F1) | SquareBit(G1);

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
// counted from check and pin masks; with none, 1 for stalemate and 0 for mate. The record comes in
// registers: the last ply's records are built by the caller, and loading one back just after writing it
// stalls.
uint64_t LeafCount(Bitboard ownPieces, Bitboard plane1, Bitboard plane2, Bitboard plane4, uint8_t castling,
                   uint8_t epFile) {
    const Position pos = {ownPieces, plane1, plane2, plane4, castling, epFile, 0, 0, 0, 0};
    if (!DirectlyCountable(pos)) return LeafCountByGeneration(pos);
    const Bitboard own = pos.own, occupied = Occupied(pos), opponent = occupied ^ own, empty = ~occupied;
    const Bitboard ownKings = Kings(pos) & own;
    const Bitboard pawns = Pawns(pos);
    const int king = Lsb(ownKings);

    KingLines lines;
    FindKingLines(pos, king, occupied, opponent, lines);
    const Bitboard checkers = lines.checkers;

    int count = 0;
    // King steps and captures: the destination must be safe with the king gone from its square.
    const Attackers attackers(pos, opponent);
    const Bitboard withoutKing = occupied ^ ownKings;
    for (Bitboard t = KingAttacks[king] & ~own & ~attackers.LeaperAttacks(); t;)
        count += !attackers.SliderAttack(PopLsb(t), withoutKing);

    if (checkers & (checkers - 1)) return count;

    // A pinned piece never answers a check from elsewhere; otherwise it may move along its line.
    if (!checkers) {
        for (int i = 0; i < lines.pinCount; ++i) {
            const int sq = lines.pinSquare[i];
            const Bitboard line = lines.pinLine[i];
            switch (PieceOn(pos, sq)) {
                case PAWN: {
                    Bitboard push = SquareBit(sq + 8) & empty;
                    Bitboard pushes = push | ((push & RANK_3) << 8 & empty);
                    count += PawnMoveCount((pushes | (PawnAttacks[sq] & opponent)) & line);
                    break;
                }
                case BISHOP: count += PopCount(BishopAttacks(sq, occupied) & line); break;
                case ROOK: count += PopCount(RookAttacks(sq, occupied) & line); break;
                case QUEEN: count += PopCount(QueenAttacks(sq, occupied) & line); break;
                default: break;
            }
        }
    }

    // Without check, any square not holding an own piece; in check, the checker or a square between.
    const Bitboard target = checkers ? Between[king][Lsb(checkers)] | checkers : ~own;
    const Bitboard free = own & ~lines.pinned;

    for (Bitboard b = Knights(pos) & free; b;) count += PopCount(KnightAttacks[PopLsb(b)] & target);
    for (Bitboard b = BishopsQueens(pos) & free; b;) count += PopCount(BishopAttacks(PopLsb(b), occupied) & target);
    for (Bitboard b = RooksQueens(pos) & free; b;) count += PopCount(RookAttacks(PopLsb(b), occupied) & target);

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

    if (!checkers) {
        if (pos.castling & OWN_QUEENSIDE) count += CanCastle(attackers, occupied, QUEENSIDE_PATH, D1, C1);
        if (pos.castling & OWN_KINGSIDE) count += CanCastle(attackers, occupied, KINGSIDE_PATH, F1, G1);
    }

    if (count) return count;
    return checkers ? 0 : 1;
}

// Perft(1) of the position after a move: the board turned to the opponent's view as MakeMove leaves it,
// passed in registers. `placed` is the piece code left on `to`, `removed` an opponent piece taken elsewhere
// than on `to` (en passant).
template <int KIND>
inline uint64_t LeafCountAfter(const Position& pos, int from, int to, int placed, Bitboard removed = 0,
                               int epFile = 8) {
    const Bitboard fromBit = SquareBit(from), toBit = SquareBit(to);
    const Bitboard keep = ~(fromBit | toBit | removed);
    uint8_t castling = pos.castling;
    if (KIND == KING) castling &= uint8_t(~OWN_CASTLING);
    if (KIND == ROOK) {
        if (from == 7) castling &= uint8_t(~OWN_KINGSIDE);
        if (from == 0) castling &= uint8_t(~OWN_QUEENSIDE);
    }
    if (toBit & Opponent(pos)) {
        if (to == 63) castling &= uint8_t(~OPP_KINGSIDE);
        if (to == 56) castling &= uint8_t(~OPP_QUEENSIDE);
    }
    const Bitboard plane1 = (pos.plane1 & keep) | (placed & 1 ? toBit : 0);
    const Bitboard plane2 = (pos.plane2 & keep) | (placed & 2 ? toBit : 0);
    const Bitboard plane4 = (pos.plane4 & keep) | (placed & 4 ? toBit : 0);
    const Bitboard mover = pos.own ^ fromBit ^ toBit;
    return LeafCount(ByteSwap((plane1 | plane2 | plane4) ^ mover), ByteSwap(plane1), ByteSwap(plane2),
                     ByteSwap(plane4), uint8_t(castling << 4 | castling >> 4), uint8_t(epFile));
}

// Castling as MakeMove makes it: the king's and the rook's bits toggled.
inline uint64_t LeafCountAfterCastling(const Position& pos, int kingTo, int rookFrom, int rookTo) {
    const Bitboard kingFromTo = SquareBit(E1) | SquareBit(kingTo);
    const Bitboard rookFromTo = SquareBit(rookFrom) | SquareBit(rookTo);
    const Bitboard plane2 = pos.plane2 ^ kingFromTo;
    const Bitboard plane4 = pos.plane4 ^ kingFromTo ^ rookFromTo;
    const Bitboard mover = pos.own ^ kingFromTo ^ rookFromTo;
    const uint8_t castling = pos.castling & uint8_t(~OWN_CASTLING);
    return LeafCount(ByteSwap((pos.plane1 | plane2 | plane4) ^ mover), ByteSwap(pos.plane1), ByteSwap(plane2),
                     ByteSwap(plane4), uint8_t(castling << 4 | castling >> 4), 8);
}

// Perft(2) of a directly countable position: each legal move, found from check and pin masks as LeafCount
// finds them, is applied to a record of its own and its replies counted by LeafCount.
uint64_t TwoPlyCount(const Position& pos) {
    const Bitboard own = pos.own, occupied = Occupied(pos), opponent = occupied ^ own, empty = ~occupied;
    const Bitboard ownKings = Kings(pos) & own;
    const int king = Lsb(ownKings);

    KingLines lines;
    FindKingLines(pos, king, occupied, opponent, lines);
    const Bitboard checkers = lines.checkers;

    uint64_t sum = 0;
    const Attackers attackers(pos, opponent);
    const Bitboard withoutKing = occupied ^ ownKings;
    for (Bitboard t = KingAttacks[king] & ~own; t;) {
        int to = PopLsb(t);
        if (!attackers.Attack(to, withoutKing)) sum += LeafCountAfter<KING>(pos, king, to, KING);
    }

    if (!(checkers & (checkers - 1))) {
        const Bitboard target = checkers ? Between[king][Lsb(checkers)] | checkers : ~own;
        const Bitboard free = own & ~lines.pinned;

        auto pieceMoves = [&]<int KIND>(int from, Bitboard to) {
            while (to) sum += LeafCountAfter<KIND>(pos, from, PopLsb(to), KIND);
        };
        auto pawnMoves = [&](int from, Bitboard to) {
            while (to) {
                const int sq = PopLsb(to);
                if (sq >= 56) {
                    for (int promoted : {QUEEN, ROOK, BISHOP, KNIGHT})
                        sum += LeafCountAfter<PAWN>(pos, from, sq, promoted);
                } else {
                    sum += LeafCountAfter<PAWN>(pos, from, sq, PAWN, 0, sq - from == 16 ? FileOf(sq) : 8);
                }
            }
        };
        auto pawnTargets = [&](int from) {
            const Bitboard push = SquareBit(from + 8) & empty;
            return push | ((push & RANK_3) << 8 & empty) | (PawnAttacks[from] & opponent);
        };

        for (Bitboard b = Knights(pos) & free; b;) {
            const int from = PopLsb(b);
            pieceMoves.operator()<KNIGHT>(from, KnightAttacks[from] & target);
        }
        for (Bitboard b = Bishops(pos) & free; b;) {
            const int from = PopLsb(b);
            pieceMoves.operator()<BISHOP>(from, BishopAttacks(from, occupied) & target);
        }
        for (Bitboard b = Rooks(pos) & free; b;) {
            const int from = PopLsb(b);
            pieceMoves.operator()<ROOK>(from, RookAttacks(from, occupied) & target);
        }
        for (Bitboard b = Queens(pos) & free; b;) {
            const int from = PopLsb(b);
            pieceMoves.operator()<QUEEN>(from, QueenAttacks(from, occupied) & target);
        }
        for (Bitboard b = Pawns(pos) & free; b;) {
            const int from = PopLsb(b);
            pawnMoves(from, pawnTargets(from) & target);
        }

        if (!checkers) {
            for (int i = 0; i < lines.pinCount; ++i) {
                const int from = lines.pinSquare[i];
                const Bitboard line = lines.pinLine[i];
                switch (PieceOn(pos, from)) {
                    case PAWN: pawnMoves(from, pawnTargets(from) & line); break;
                    case BISHOP: pieceMoves.operator()<BISHOP>(from, BishopAttacks(from, occupied) & line); break;
                    case ROOK: pieceMoves.operator()<ROOK>(from, RookAttacks(from, occupied) & line); break;
                    case QUEEN: pieceMoves.operator()<QUEEN>(from, QueenAttacks(from, occupied) & line); break;
                    default: break;
                }
            }
        }

        if (EnPassantCapturable(pos)) {
            const int to = 40 + pos.epFile;
            const Bitboard toBit = SquareBit(to), captured = SquareBit(to - 8);
            for (Bitboard b = Pawns(pos) & own & EpCapturers[pos.epFile]; b;) {
                const int from = PopLsb(b);
                Bitboard after = ((occupied ^ SquareBit(from)) | toBit) & ~captured;
                if (!AttackersOf(pos, king, after, opponent & ~toBit & ~captured))
                    sum += LeafCountAfter<PAWN>(pos, from, to, PAWN, captured);
            }
        }

        if (!checkers) {
            if ((pos.castling & OWN_QUEENSIDE) && CanCastle(attackers, occupied, QUEENSIDE_PATH, D1, C1))
                sum += LeafCountAfterCastling(pos, C1, 0, D1);
            if ((pos.castling & OWN_KINGSIDE) && CanCastle(attackers, occupied, KINGSIDE_PATH, F1, G1))
                sum += LeafCountAfterCastling(pos, G1, 7, F1);
        }
    }

    if (sum) return sum;
    return checkers ? 0 : 1;
}

// Above two plies the engine's own generators and MakeMove build the tree, so that perft keeps checking
// them; the two plies next to the leaves, where nearly all the work lies, are counted directly.
uint64_t PerftNode(Position* p, uint32_t depth) {
    if (depth == 0) return 1;
    if (depth == 1) return LeafCount(p->own, p->plane1, p->plane2, p->plane4, p->castling, p->epFile);
    if (depth == 2 && DirectlyCountable(*p)) return TwoPlyCount(*p);

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
