// The legality test of a node's move loop, answered without the attack test where the answer is
// already known.
#pragma once

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/position.h"
#include "board/types.h"

// IsLegal for the moves of one node. When the side to move is not in check, a move that is not made by the
// king, is not en passant and starts off every line through the king cannot leave the king attacked:
// the piece uncovers no line to it, and its arrival and a capture can only take attackers away. Every
// other move, and every move in check, gets the full test.
class NodeLegality {
  public:
    NodeLegality(const Position& pos, bool inCheck)
        : pos_(pos), tested_(inCheck ? ~Bitboard(0) : QueenAttacks(OwnKingSquare(pos), 0)) {}

    bool operator()(Move m) const {
        const int type = MoveType(m);
        if ((tested_ >> MoveFrom(m) & 1) || MovesKing(type) || type == EN_PASSANT) return IsLegal(pos_, m);
        return true;
    }

  private:
    const Position& pos_;
    Bitboard tested_;  // starting squares whose moves get the full test
};
