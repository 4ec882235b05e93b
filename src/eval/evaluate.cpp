#include "eval/evaluate.h"

#include <cstring>

#include "board/attacks.h"
#include "board/position.h"
#include "eval/evaltables.h"
#include "eval/pawns.h"
#include "eval/trace.h"

namespace {

constexpr int TEMPO = 10;

// Enemy pawns that shut a knight into its corner (a8, a7, h8, h7).
constexpr std::array<Bitboard, 64> KnightTrap = [] {
    std::array<Bitboard, 64> t{};
    t[56] = SquareBit(48) | SquareBit(50);
    t[48] = SquareBit(40) | SquareBit(49);
    t[63] = SquareBit(55) | SquareBit(53);
    t[55] = SquareBit(47) | SquareBit(54);
    return t;
}();

// Enemy pawns that shut a bishop in on a7 or h7.
constexpr std::array<Bitboard, 64> BishopTrap = [] {
    std::array<Bitboard, 64> t{};
    t[48] = SquareBit(41);
    t[55] = SquareBit(46);
    return t;
}();

// Counts what one piece adds to the attack on the enemy king: its weight, and one attacker if it adds any.
struct KingAttack {
    int weight = 0;
    int attackers = 0;
    void Add(int w) {
        weight += w;
        attackers += w != 0;
    }
};

// The score of the side to move of pos (the scored side), without tempo.
template <bool Trace>
int ScoreSide(const PawnLookup& pawnLookup, const Position& pos, int phase, int16_t* row) {
    const Bitboard own = pos.own;
    const Bitboard occupied = Occupied(pos);
    const Bitboard allPawns = Pawns(pos);
    const Bitboard ownPawns = allPawns & own;
    const Bitboard enemyPawns = allPawns & ~own;
    const Bitboard kings = Kings(pos);
    const int ownKing = OwnKingSquare(pos);
    const Bitboard enemyKingBit = kings & ~own;
    const int enemyKing = enemyKingBit ? Lsb(enemyKingBit) : 0;
    const bool enemyKingOnRank8 = (enemyKingBit & RANK_8) != 0;
    const Bitboard zone = KingZone[enemyKing];
    const int ownPawnCount = PopCount(ownPawns);
    const bool outpostsScored = PopCount(enemyPawns) >= 5;
    // A square counts as unsafe only when an enemy pawn attacks it from a rank above; rank 1 is always safe.
    const Bitboard unsafe = (((enemyPawns >> 7) & ~FILE_A) | ((enemyPawns >> 9) & ~FILE_H)) & ~RANK_1;
    const Bitboard safe = ~unsafe;
    KingAttack attack;

    // 1. Outposts: covered by own pawns now or after advancing, never by enemy pawns.
    const Bitboard ownFill = FillUp(ownPawns), enemyFill = FillDown(enemyPawns);
    const Bitboard ownSpan = ((ownFill << 9) & ~FILE_A) | ((ownFill << 7) & ~FILE_H);
    const Bitboard enemySpan = ((enemyFill >> 9) & ~FILE_H) | ((enemyFill >> 7) & ~FILE_A);
    const Bitboard outposts = OUTPOST_SQUARES & ownSpan & ~enemySpan;

    // 3. Pawns against the enemy king, and the own king's pawn shield.
    const Bitboard inner = InnerShield[ownKing], outer = OuterShield[ownKing];
    const Bitboard zoneAttackers =
        ownPawns & (((zone >> 7) & ~FILE_A) | ((zone >> 9) & ~FILE_H)) & ~(RANK_1 | RANK_8);
    for (int i = PopCount(zoneAttackers); i > 0; --i) attack.Add(5);
    const int shield = 8 * PopCount(ownPawns & inner) + 4 * PopCount(ownPawns & outer & ~inner);
    int score = shield;
    TraceAdd<Trace>(row, TRACE_KING_SHIELD, shield);

    // 6. Knights.
    for (Bitboard b = Knights(pos) & own; b;) {
        const int sq = PopLsb(b);
        const int trapped = (KnightTrap[sq] & enemyPawns) ? -20 : 0;
        score += 300 + trapped + KnightPst[sq] + KnightAdjustment[ownPawnCount];
        TraceAdd<Trace>(row, TRACE_KNIGHT_MATERIAL, 300);
        TraceAdd<Trace>(row, TRACE_KNIGHT_TRAPPED, trapped);
        TraceAdd<Trace>(row, TRACE_KNIGHT_PST, KnightPst[sq]);
        TraceAdd<Trace>(row, TRACE_KNIGHT_ADJUSTMENT, KnightAdjustment[ownPawnCount]);
        if (outpostsScored && (outposts & SquareBit(sq))) {
            score += KnightOutpostBonus[sq];
            TraceAdd<Trace>(row, TRACE_KNIGHT_OUTPOST, KnightOutpostBonus[sq]);
        }
        const Bitboard targets = KnightAttacks[sq] & ~own;
        attack.Add(2 * PopCount(targets & zone));
        const int mobility = 4 * PopCount(targets & safe) - 16;
        score += mobility;
        TraceAdd<Trace>(row, TRACE_KNIGHT_MOBILITY, mobility);
    }

    // 7. Bishops.
    const Bitboard bishops = Bishops(pos) & own;
    for (Bitboard b = bishops; b;) {
        const int sq = PopLsb(b);
        const int trapped = (BishopTrap[sq] & enemyPawns) ? -100 : 0;
        score += 325 + trapped + BishopPst[sq];
        TraceAdd<Trace>(row, TRACE_BISHOP_MATERIAL, 325);
        TraceAdd<Trace>(row, TRACE_BISHOP_TRAPPED, trapped);
        TraceAdd<Trace>(row, TRACE_BISHOP_PST, BishopPst[sq]);
        // Pawns on rank 7 are about to leave the diagonal and do not close it.
        if ((LONG_DIAGONALS & SquareBit(sq)) && !(Diagonals[sq] & allPawns & ~RANK_7)) {
            score += 15;
            TraceAdd<Trace>(row, TRACE_OPEN_DIAGS, 15);
        }
        if (outpostsScored && (outposts & SquareBit(sq))) {
            score += 15;
            TraceAdd<Trace>(row, TRACE_BISHOP_OUTPOST, 15);
        }
        const Bitboard targets = BishopAttacks(sq, allPawns) & ~own;
        attack.Add(2 * PopCount(targets & zone));
        const int mobility = 3 * PopCount(targets & safe) - 21;
        score += mobility;
        TraceAdd<Trace>(row, TRACE_BISHOP_MOBILITY, mobility);
    }
    if (PopCount(bishops) == 2) {
        if ((bishops & LIGHT_SQUARES) && (bishops & ~LIGHT_SQUARES)) {
            score += 30;
            TraceAdd<Trace>(row, TRACE_BISHOP_PAIR, 30);
        }
    } else if (PopCount(bishops) == 1) {
        const Bitboard bishopColour = (bishops & LIGHT_SQUARES) ? LIGHT_SQUARES : ~LIGHT_SQUARES;
        const int weakness = 3 * (PopCount(ownPawns & ~bishopColour) - PopCount(ownPawns & bishopColour));
        score += weakness;
        TraceAdd<Trace>(row, TRACE_COLOR_WEAKNESS, weakness);
    }

    // 2. Pawn structure. Taken after the pieces, which do not need it, so that the pawn table's slot has
    // arrived; the terms are summed in another order, to the same total.
    const PawnStructure pawns = Trace ? ComputePawnStructure<true>(pos, row) : FinishPawnLookup(pawnLookup, pos);
    score += pawns.score;

    // 4. Pawn ending.
    if (occupied == (allPawns | kings)) {
        score += pawnEnding[pawns.healthyCount];
        TraceAdd<Trace>(row, TRACE_PAWN_ENDING, pawnEnding[pawns.healthyCount]);
    }

    // 5. Passed pawns near the own king and far from the enemy king, once the board has thinned out.
    if (PopCount(occupied) <= 16) {
        if (pawns.passed & KingAttacks[ownKing]) {
            score += 15;
            TraceAdd<Trace>(row, TRACE_KING_SUPPORT, 15);
        }
        if (!Queens(pos)) {
            int trop = 0;
            for (Bitboard b = pawns.passed; b;) {
                const int sq = PopLsb(b);
                trop += KingDistance[sq][enemyKing] * EnemyKingTrop[sq];
            }
            score += trop;
            TraceAdd<Trace>(row, TRACE_ENEMY_KING_TROP, trop);
        }
    }

    // 8. Rooks.
    const bool onlyRooksLeft = !(occupied & ~(allPawns | kings | Rooks(pos)));
    const bool ownPawnOnEveryFile = FileSet(ownPawns) == 0xFF;
    for (Bitboard b = Rooks(pos) & own; b;) {
        const int sq = PopLsb(b);
        const int file = FileOf(sq);
        score += 500 + RookAdjustment[ownPawnCount] + RookPst[sq];
        TraceAdd<Trace>(row, TRACE_ROOK_MATERIAL, 500);
        TraceAdd<Trace>(row, TRACE_ROOK_ADJUSTMENT, RookAdjustment[ownPawnCount]);
        TraceAdd<Trace>(row, TRACE_ROOK_PST, RookPst[sq]);
        if (!allPawns) continue;

        // Shut in by its own uncastled king.
        const bool kingside = (ownKing == 5 || ownKing == 6) && (sq == 6 || sq == 7 || sq == 15);
        const bool queenside = (ownKing == 1 || ownKing == 2) && (sq == 0 || sq == 1 || sq == 8);
        if (kingside || queenside) {
            score -= 30;
            TraceAdd<Trace>(row, TRACE_ROOK_TRAPPED, -30);
        }
        if (outpostsScored && (outposts & SquareBit(sq)) && !ownPawnOnEveryFile) {
            score += 15;
            TraceAdd<Trace>(row, TRACE_ROOK_OUTPOST, 15);
        }
        if (!(FileMask[file] & allPawns)) {
            score += 10;
            TraceAdd<Trace>(row, TRACE_OPEN_FILE, 10);
        } else if (!(FileMask[file] & ownPawns)) {
            score += 5;
            TraceAdd<Trace>(row, TRACE_SEMIOPEN_FILE, 5);
        }
        if (RankOf(sq) == 6 && enemyKingOnRank8) {
            score += 20;
            TraceAdd<Trace>(row, TRACE_SEVENTH_RANK, 20);
        }
        // Tarrasch: the rook belongs behind its passed pawn, not in front of it.
        if (onlyRooksLeft) {
            const int blocked = PopCount(pawns.passed & FileMask[file] & (SquareBit(sq) - 1));
            score -= 25 * blocked;
            TraceAdd<Trace>(row, TRACE_TARRASCH, -25 * blocked);
        }
        const Bitboard targets = RookAttacks(sq, allPawns) & ~own;
        attack.Add(3 * PopCount(targets & zone));
        const int n = PopCount(targets & safe);
        const int mobility = phase < 6 ? (n - 7) * 4 : (n - 7) * 2;
        score += mobility;
        TraceAdd<Trace>(row, TRACE_ROOK_MOBILITY, mobility);
    }

    // 9. Queens.
    for (Bitboard b = Queens(pos) & own; b;) {
        const int sq = PopLsb(b);
        const int material = (RankOf(sq) == 6 && enemyKingOnRank8) ? 990 : 975;
        score += material + QueenPst[sq];
        TraceAdd<Trace>(row, TRACE_QUEEN_MATERIAL, material);
        TraceAdd<Trace>(row, TRACE_QUEEN_PST, QueenPst[sq]);
        const Bitboard targets = QueenAttacks(sq, allPawns) & ~own;
        attack.Add(4 * PopCount(targets & zone));
        const int n = PopCount(targets & safe);
        const int mobility = phase >= 6 ? n - 14 : 2 * n - 28;
        score += mobility;
        TraceAdd<Trace>(row, TRACE_QUEEN_MOBILITY, mobility);
    }

    // 10. King table, blended by phase; the shift rounds towards minus infinity.
    const int kingPst = (KingMiddlegamePst[ownKing] * phase + KingEndgamePst[ownKing] * (14 - phase)) >> 4;
    score += kingPst;
    TraceAdd<Trace>(row, TRACE_KING_PST, kingPst);
    TraceAdd<Trace>(row, TRACE_ATTACKER_COUNT, attack.attackers);
    TraceAdd<Trace>(row, TRACE_ATTACK_WEIGHT, attack.weight);

    // 11. King safety; weights beyond the table read its last, flat entry.
    if (phase > 4) {
        const int safety = KingSafetyTable[attack.weight < 99 ? attack.weight : 99] +
                           8 * PopCount(allPawns & inner) + 4 * PopCount(allPawns & outer & ~inner);
        score += safety;
        TraceAdd<Trace>(row, TRACE_KING_SAFETY, safety);
    }
    return int16_t(score);
}

template <bool Trace>
int16_t EvaluatePosition(Position& pos, PawnHashTable* pawnHash) {
    const int phase = PopCount(Occupied(pos) & ~Pawns(pos) & ~Kings(pos));
    // The pawn structures of both sides are looked up first, the other side's in its own view.
    const Bitboard pawns = Pawns(pos), ownPawns = pawns & pos.own, enemyPawns = pawns & ~pos.own;
    // Made in place: a lookup copied from a returned one was read back before its parts had been written.
    const PawnLookup lookups[2] = {
        Trace ? PawnLookup{} : StartPawnLookup(pawnHash, {ownPawns, enemyPawns}, pos.side),
        Trace ? PawnLookup{} : StartPawnLookup(pawnHash, {ByteSwap(enemyPawns), ByteSwap(ownPawns)}, pos.side ^ 1)};
    // Each pass's total is negated into the next; the sums wrap at 16 bits.
    int16_t sum = int16_t(ScoreSide<Trace>(lookups[0], pos, phase, EvalTrace[0]) + TEMPO);
    // The other side is scored on a turned-over copy, rather than turning the record over and back. The copy
    // is made field by field: a whole copy read the fields, just written one by one, back at once and stalled.
    const Position flipped{ByteSwap(Opponent(pos)), ByteSwap(pos.plane1), ByteSwap(pos.plane2),
                           ByteSwap(pos.plane4), uint8_t(pos.castling << 4 | pos.castling >> 4), pos.epFile,
                           pos.halfmoveClock, pos.repetitions, pos.side ^ 1, pos.key};
    sum = int16_t(-sum + ScoreSide<Trace>(lookups[1], flipped, phase, EvalTrace[1]));
    return int16_t(-sum);
}

}  // namespace

int16_t Evaluate(Position& pos, PawnHashTable* pawnHash) { return EvaluatePosition<false>(pos, pawnHash); }

int16_t EvaluateTraced(Position& pos) {
    memset(EvalTrace, 0, sizeof(EvalTrace));
    return EvaluatePosition<true>(pos, nullptr);
}
