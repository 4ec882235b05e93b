// Pseudo-legal move generators. Each takes the position and a write position in a caller-owned list of
// MoveEntry and returns the new end. Pieces of one kind come in increasing square order and the targets of
// one piece in increasing square order; consumers take lists from the end, so the order is observable.
// Quiet moves leave the entry's score as the buffer held it; captures and promotions carry ordering scores.
#pragma once

#include "board/position.h"
#include "board/types.h"

// The whole move of each castling: king e1-g1 and e1-c1 in the side-to-move view.
constexpr Move CASTLE_KINGSIDE = MakeMoveCode(KINGSIDE_CASTLING, 4, 6);
constexpr Move CASTLE_QUEENSIDE = MakeMoveCode(QUEENSIDE_CASTLING, 4, 2);
static_assert(CASTLE_KINGSIDE == 0x00060416 && CASTLE_QUEENSIDE == 0x00020426);

// Non-captures except promotions, castling included.
MoveEntry* GenerateQuiets(const Position& pos, MoveEntry* list);
// Captures, promotions (with and without capture) and en passant, with ordering scores.
MoveEntry* GenerateNoisy(const Position& pos, MoveEntry* list);
// GenerateQuiets followed by GenerateNoisy.
MoveEntry* GenerateAll(const Position& pos, MoveEntry* list);
// The legal moves in GenerateAll order; scores are set to 0.
MoveEntry* GenerateLegal(const Position& pos, MoveEntry* list);
// True when m is one of the generated moves and legal: the test for a move that comes from outside the
// position (text, a book, a line of an earlier search).
bool IsLegalMove(const Position& pos, Move m);
// Makes m on the context's game stack if it is one of the generated moves and legal: 1 and current
// advanced by one record, or 0 with nothing changed.
int MakeUserMove(StackWithCursor& context, Move m);
// Replies to check, checkers being the opponent pieces that give it (not empty).
MoveEntry* GenerateEvasions(const Position& pos, MoveEntry* list, Bitboard checkers);
// Quiet moves that give check, direct or discovered, and castlings that check. Heuristic: it may add a few
// moves that do not check and the same move twice.
MoveEntry* GenerateQuietChecks(const Position& pos, MoveEntry* list);
