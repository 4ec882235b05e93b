#include "book/book.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "settings/settings.h"

namespace {

const char PIECE_KINDS[] = "pPnNbBrRqQkK";
const char PROMOTION_LETTERS[] = " nbrq";

enum : int { LOOKUP_NOT_FOUND = 0, LOOKUP_TOO_MANY = -1, LOOKUP_NO_FILE = -2 };

// Entries of one key, at most BOOK_MAX_MOVES of them, in file order.
struct Candidates {
    BookEntry entries[BOOK_MAX_MOVES];
    int count;
};

// The pawn of the given letter stands on the rank (0 = rank 1) beside file f.
bool PawnBeside(const char (&grid)[8][8], char pawn, int rank, int f) {
    return (f > 0 && grid[rank][f - 1] == pawn) || (f < 7 && grid[rank][f + 1] == pawn);
}

bool ReadEntryAt(FILE* file, long index, BookEntry* entry) {
    return std::fseek(file, index * 16, SEEK_SET) == 0 && ReadBookEntry(file, entry) == 0;
}

// Finds the entries of key in the file. Returns their count, LOOKUP_NOT_FOUND, LOOKUP_TOO_MANY or
// LOOKUP_NO_FILE (the system's report already written on standard error). The file is always closed.
int Lookup(const char* fileName, uint64_t key, Candidates& found) {
    FILE* file = std::fopen(fileName, "rb");
    if (!file) {
        std::perror(fileName);
        return LOOKUP_NO_FILE;
    }
    found.count = 0;
    int result = LOOKUP_NOT_FOUND;
    BookEntry candidate;
    if (std::fseek(file, -16, SEEK_END) == 0) {
        long hi = std::ftell(file) / 16;
        long lo = -1;
        if (ReadBookEntry(file, &candidate) == 0) {
            // Invariant: every entry at or below lo has a smaller key, the one at hi is the candidate.
            while (hi - lo != 1) {
                long mid = (lo + hi) / 2;
                BookEntry entry;
                if (!ReadEntryAt(file, mid, &entry)) break;
                if (key <= entry.key) {
                    candidate = entry;
                    hi = mid;
                } else {
                    lo = mid;
                }
            }
            if (candidate.key == key) {
                found.entries[found.count++] = candidate;
                result = found.count;
                BookEntry next;
                if (std::fseek(file, (hi + 1) * 16, SEEK_SET) == 0) {
                    while (ReadBookEntry(file, &next) == 0 && next.key == key) {
                        if (found.count == BOOK_MAX_MOVES) {
                            result = LOOKUP_TOO_MANY;
                            break;
                        }
                        found.entries[found.count++] = next;
                        result = found.count;
                    }
                }
            }
        }
    }
    std::fclose(file);
    return result;
}

}  // namespace

uint64_t BookKey(const char* fen) {
    char placement[73] = "";
    char side = 'w';
    char castling[5] = "-";
    char ep[3] = "-";
    std::sscanf(fen, "%72s %c %4s %2s", placement, &side, castling, ep);

    char grid[8][8];  // [rank][file], rank 0 = rank 1
    std::memset(grid, '-', sizeof grid);
    int rank = 7, file = 0;
    for (const char* c = placement; *c; ++c) {
        if (*c == '/') {
            --rank;
            file = 0;
        } else if (*c >= '1' && *c <= '8') {
            file += *c - '0';
        } else {
            if (rank >= 0 && rank < 8 && file < 8) grid[rank][file] = *c;
            ++file;
        }
    }

    uint64_t key = 0;
    for (int r = 0; r < 8; ++r)
        for (int f = 0; f < 8; ++f) {
            // A letter outside the kind string names no piece and adds nothing to the key.
            const char* kind = grid[r][f] == '-' ? nullptr : std::strchr(PIECE_KINDS, grid[r][f]);
            if (kind) key ^= Random64[64 * (kind - PIECE_KINDS) + 8 * r + f];
        }

    for (const char* c = castling; *c; ++c) {
        if (*c == 'K') key ^= Random64[768];
        if (*c == 'Q') key ^= Random64[769];
        if (*c == 'k') key ^= Random64[770];
        if (*c == 'q') key ^= Random64[771];
    }

    // The en-passant file counts only when a pawn of the side to move could capture there.
    if (ep[0] != '-' && ep[0] >= 'a' && ep[0] <= 'h') {
        int f = ep[0] - 'a';
        bool capturable = side == 'b' ? PawnBeside(grid, 'p', 3, f) : PawnBeside(grid, 'P', 4, f);
        if (capturable) key ^= Random64[772 + f];
    }

    if (side == 'w') key ^= Random64[780];
    return key;
}

int ReadBookEntry(FILE* file, BookEntry* entry) {
    uint64_t fields[4] = {};
    const int widths[4] = {8, 2, 2, 4};
    for (int i = 0; i < 4; ++i)
        for (int b = 0; b < widths[i]; ++b) {
            int c = std::fgetc(file);
            if (c == EOF) return 1;
            fields[i] = fields[i] << 8 | uint64_t(c);
        }
    entry->key = fields[0];
    entry->move = uint16_t(fields[1]);
    entry->weight = uint16_t(fields[2]);
    entry->learn = uint32_t(fields[3]);
    return 0;
}

void BookMoveText(char* text, uint16_t move) {
    int promotion = (move >> 12) & 7;
    text[0] = char('a' + ((move >> 6) & 7));
    text[1] = char('1' + ((move >> 9) & 7));
    text[2] = char('a' + (move & 7));
    text[3] = char('1' + ((move >> 3) & 7));
    text[4] = '\0';
    if (promotion) {
        // Fields 5 to 7 occur in no valid book: a "?" keeps such an entry visible and unplayable.
        text[4] = promotion <= 4 ? PROMOTION_LETTERS[promotion] : '?';
        text[5] = '\0';
        return;
    }
    // Polyglot writes castling as the king taking its own rook.
    static const char* const REWRITES[4][2] = {{"e1h1", "e1g1"}, {"e1a1", "e1c1"}, {"e8h8", "e8g8"}, {"e8a8", "e8c8"}};
    for (const auto& rewrite : REWRITES)
        if (std::strcmp(text, rewrite[0]) == 0) {
            std::strcpy(text, rewrite[1]);
            return;
        }
}

int BookPick(const char* fileName, char* move, const char* fen) {
    Candidates found;
    int n = Lookup(fileName, BookKey(fen), found);
    if (n == LOOKUP_TOO_MANY) std::printf("#DEBUG: Too many moves in this position (max=%d)\n", BOOK_MAX_MOVES);
    if (n <= 0) return 1;
    int chosen = 0;
    if (settings.randomBook) {
        // Reseeded at every pick: the same position within one second gives the same move.
        std::srand(unsigned(std::time(nullptr)));
        chosen = std::rand() % n;
    }
    BookMoveText(move, found.entries[chosen].move);
    return 0;
}

int BookList(const char* fileName, const char* fen) {
    uint64_t key = BookKey(fen);
    Candidates found;
    int n = Lookup(fileName, key, found);
    if (n == LOOKUP_NO_FILE) return 1;
    if (n == LOOKUP_TOO_MANY) {
        std::printf("Too many moves in this position (max=%d)\n", BOOK_MAX_MOVES);
        return 1;
    }
    if (n == LOOKUP_NOT_FOUND) {
        std::printf("%" PRIu64 ": No such key\n", key);
        return 1;
    }
    int32_t sum = 0;
    for (int i = 0; i < n; ++i) sum += found.entries[i].weight;
    for (int i = 0; i < n; ++i) {
        char text[6];
        BookMoveText(text, found.entries[i].move);
        // Keys whose weights are all 0 list every move at 0.00% rather than a division by zero.
        double share = sum > 0 ? found.entries[i].weight / double(sum) * 100.0 : 0.0;
        std::printf("move=%s weight=%5.2f%%\n", text, share);
    }
    std::fflush(stdout);
    return 0;
}
