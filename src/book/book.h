// The opening book: Polyglot keys, lookup, choice and listing of book moves.
#pragma once

#include <cstdint>
#include <cstdio>

struct Position;

// One 16-byte book entry in memory, fields in file order.
struct BookEntry {
    uint64_t key;
    uint16_t move;
    uint16_t weight;
    uint32_t learn;
};

// The most entries one key may have.
constexpr int BOOK_MAX_MOVES = 100;

// The book used without a "BookFile" setting, and the one the console's "book" command always lists.
constexpr const char* DEFAULT_BOOK_FILE = "Tellarin_12.9c.bin";

// The published Polyglot key table.
extern const uint64_t Random64[781];

// The Polyglot key of the position in the FEN text (only its first four fields are read).
uint64_t BookKey(const char* fen);

// Reads the next 16 bytes big-endian into entry; returns 0 on success, 1 at the end of the file
// (a partly read entry counts as the end).
int ReadBookEntry(FILE* file, BookEntry* entry);

// Writes the move field as coordinate text (at most 5 characters and the terminator),
// castling written as the king's two-square move.
void BookMoveText(char* text, uint16_t move);

// Chooses a move of the position for play: 0 when one was written to move, 1 when there is none.
int BookPick(const char* fileName, char* move, const char* fen);

// Prints every entry of the position with its share of the total weight: 0 when something was listed.
int BookList(const char* fileName, const char* fen);
