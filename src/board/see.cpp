#include "board/see.h"

#include "board/attacks.h"
#include "board/makemove.h"

namespace {

constexpr int32_t KING_VALUE = 10000;
// One entry per piece on the board plus the first move.
constexpr int GAIN_LIST_SIZE = 33;

}  // namespace

int32_t See(Position* pos, Move m) {
    const int to = MoveTo(m);
    int32_t gain[GAIN_LIST_SIZE];
    if ((pos->epFile != 8 && to == 40 + pos->epFile) || MoveType(m) == PROMOTION)
        gain[0] = SeeValues[PAWN];
    else
        gain[0] = SeeValues[PieceOn(*pos, to)];
    if (gain[0] == KING_VALUE) return KING_VALUE;

    Position* scratch = MakeMove(pos, m);
    int sq = to ^ 56;
    int32_t onSquare = SeeValues[PieceOn(*scratch, sq)];
    Bitboard occupied = Occupied(*scratch);
    int count = 1;

    // The planes stay as they are; removing each capturer from occupied uncovers the sliders behind it.
    while (count < GAIN_LIST_SIZE) {
        const Bitboard mine = occupied & scratch->own;
        Bitboard attackers;
        int attacker;
        // The slider lookups, which often miss the cache, are made only once no pawn or knight attacks.
        if ((attackers = PawnAttackers[sq] & Pawns(*scratch) & mine)) {
            attacker = PAWN;
        } else if ((attackers = KnightAttacks[sq] & Knights(*scratch) & mine)) {
            attacker = KNIGHT;
        } else {
            const Bitboard bishopLines = BishopAttacks(sq, occupied);
            const Bitboard rookLines = RookAttacks(sq, occupied);
            if ((attackers = bishopLines & Bishops(*scratch) & mine))
                attacker = BISHOP;
            else if ((attackers = rookLines & Rooks(*scratch) & mine))
                attacker = ROOK;
            else if ((attackers = (bishopLines | rookLines) & Queens(*scratch) & mine))
                attacker = QUEEN;
            else if ((attackers = KingAttacks[sq] & Kings(*scratch) & mine))
                attacker = KING;
            else
                break;
        }

        gain[count++] = onSquare;
        if (onSquare == KING_VALUE) break;

        occupied &= ~SquareBit(Lsb(attackers));
        FlipPosition(*scratch);
        occupied = ByteSwap(occupied);
        sq ^= 56;
        onSquare = SeeValues[attacker];
    }

    int32_t v = 0;
    for (int k = count - 1; k >= 1; --k) {
        v = gain[k] - v;
        if (v < 0) v = 0;
    }
    return gain[0] - v;
}

bool SeeIsNegative(Position* pos, Move m) {
    const int32_t moverValue = SeeValues[PieceOn(*pos, MoveFrom(m))];
    const int32_t capturedValue = SeeValues[PieceOn(*pos, MoveTo(m))];
    if (capturedValue >= moverValue) return false;
    return See(pos, m) < 0;
}
