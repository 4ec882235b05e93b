#include "board/position.h"

#include <cstring>


static uint64_t HashPieces(const Position& pos, Bitboard pieces, int colour) {
    uint64_t key = 0;
    while (pieces) {
        int sq = PopLsb(pieces);
        key ^= PieceKeys[colour * 8 + PieceOn(pos, sq)][sq];
    }
    return key;
}

uint64_t ComputeKey(Position& pos) {
    // Each colour's pieces are hashed in that colour's own view, so a real square keeps its key.
    uint64_t key = HashPieces(pos, pos.own, pos.side);
    FlipPosition(pos);
    key ^= HashPieces(pos, pos.own, pos.side);
    FlipPosition(pos);
    return key ^ CastleKeys[pos.castling] ^ EpKeys[pos.epFile] ^ SideKeys[pos.side];
}

Position* ResetStack(PositionStack& stack) {
    std::memset(stack.Records(), 0, STACK_SIZE * sizeof(Position));
    Position& p = stack[0];
    p.own = 0x000000000000FFFFull;
    p.plane1 = 0x2CFF00000000FF2Cull;
    p.plane2 = 0x7600000000000076ull;
    p.plane4 = 0x9900000000000099ull;
    p.castling = OWN_QUEENSIDE | OWN_KINGSIDE | OPP_QUEENSIDE | OPP_KINGSIDE;
    p.epFile = 8;
    p.halfmoveClock = 0;
    p.repetitions = 0;
    p.side = 0;
    p.key = ComputeKey(p);
    return &p;
}
