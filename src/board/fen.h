// Conversions between the side-relative position record and absolute notation: FEN, coordinate move
// text and the board drawing.
#pragma once

#include "board/position.h"
#include "board/types.h"

// Longest FEN text ParseFen accepts; longer texts are refused whole.
constexpr int FEN_TEXT_MAX = 255;
// Room WriteFen needs, terminator included.
constexpr int FEN_BUFFER_SIZE = 96;
// Room MoveToText needs, terminator included.
constexpr int MOVE_TEXT_SIZE = 6;

// Reads a FEN (the fullmove field is ignored, a missing halfmove field reads as 0) into the record at
// context.current and, when moves is not null, replays the space-separated coordinate moves on the stack,
// collapsing it to record 0 after every capture or pawn move. 1 on success; 0 on failure, with the
// fields written before the failure left as written. Either way the record's key is its own, its castling
// rights have their king and rook at home, and an en-passant field that was not read counts as "-". A
// placement that fails PlacementPossible is refused; after a failure the record may still hold one, and a
// caller must not play from it.
int ParseFen(StackWithCursor& context, const char* fen, const char* moves);

// One king a side, no pawn on a back rank, and no more extra pieces than promoted pawns: a board that
// play can reach, whose move lists fit their buffers.
bool PlacementPossible(const Position& pos);

// The first four FEN fields followed by a space; buffer holds at least FEN_BUFFER_SIZE characters.
int WriteFen(const Position& pos, char* buffer);

// Coordinate notation ("e2e4", "e7e8q", castling as the king's move) of a move of the given side.
void MoveToText(char* buffer, Move m, int side);

// The move the text names, typed by the piece on its origin square; not checked for legality. A text
// that names no square gives 0 or a type that no generator produces.
Move TextToMove(const Position& pos, const char* text);

// Draws the board from White's view on standard output.
void PrintBoard(const Position& pos);
