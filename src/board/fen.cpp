#include "board/fen.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "board/makemove.h"
#include "board/movegen.h"

namespace {

constexpr int FEN_FIELDS = 6;

bool IsSeparator(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Splits text in place at runs of separators; returns the number of fields found (at most max).
int SplitFields(char* text, char* fields[], int max) {
    int count = 0;
    char* c = text;
    while (count < max) {
        while (IsSeparator(*c)) ++c;
        if (*c == '\0') break;
        fields[count++] = c;
        while (*c != '\0' && !IsSeparator(*c)) ++c;
        if (*c == '\0') break;
        *c++ = '\0';
    }
    return count;
}

int PieceCodeOf(char c) {
    switch (c) {
        case 'p': case 'P': return PAWN;
        case 'n': case 'N': return KNIGHT;
        case 'b': case 'B': return BISHOP;
        case 'r': case 'R': return ROOK;
        case 'q': case 'Q': return QUEEN;
        case 'k': case 'K': return KING;
        default: return EMPTY;
    }
}

void PutPiece(Position& pos, int code, int sq) {
    const Bitboard bit = SquareBit(sq);
    if (code & 1) pos.plane1 |= bit;
    if (code & 2) pos.plane2 |= bit;
    if (code & 4) pos.plane4 |= bit;
}

// Ranks 8 down to 1, White's pieces going into own.
bool ReadPlacement(Position& pos, const char* c) {
    for (int rank = 7; rank >= 0; --rank) {
        int file = 0;
        while (file < 8) {
            const char ch = *c;
            if (ch == '\0' || ch == '/') return false;
            ++c;
            if (ch >= '1' && ch <= '8') {
                file += ch - '0';
                continue;
            }
            const int code = PieceCodeOf(ch);
            if (code == EMPTY) return false;
            const int sq = file + 8 * rank;
            PutPiece(pos, code, sq);
            if (ch >= 'A' && ch <= 'Z') pos.own |= SquareBit(sq);
            ++file;
        }
        while (*c != '\0' && *c != '/') ++c;
        if (rank > 0) {
            if (*c != '/') return false;
            ++c;
        }
    }
    return true;
}

// One side's material could stand on a board reached by play: one king, at most eight pawns and no
// more extra pieces than pawns promoted. This also keeps every pseudo-legal move list within its buffer.
bool MaterialPossible(const Position& pos, Bitboard side) {
    const int pawns = PopCount(Pawns(pos) & side);
    const auto extra = [&](Bitboard pieces, int original) {
        const int n = PopCount(pieces & side);
        return n > original ? n - original : 0;
    };
    const int promoted = extra(Queens(pos), 1) + extra(Rooks(pos), 2) + extra(Bishops(pos), 2) +
                         extra(Knights(pos), 2);
    return PopCount(Kings(pos) & side) == 1 && pawns + promoted <= 8;
}

constexpr Bitboard BACK_RANKS = 0xFF000000000000FFull;

// Rights without their king and rook at home would let castling conjure pieces; they are dropped.
// The record is in White's view here.
uint8_t PossibleCastling(const Position& pos, uint8_t castling) {
    const Bitboard white = pos.own;
    const Bitboard black = Opponent(pos);
    const Bitboard kings = Kings(pos);
    const Bitboard rooks = Rooks(pos);
    const auto home = [&](Bitboard side, int kingSq, int rookSq) {
        return (kings & side & SquareBit(kingSq)) && (rooks & side & SquareBit(rookSq));
    };
    if (!home(white, 4, 7)) castling &= uint8_t(~OWN_KINGSIDE);
    if (!home(white, 4, 0)) castling &= uint8_t(~OWN_QUEENSIDE);
    if (!home(black, 60, 63)) castling &= uint8_t(~OPP_KINGSIDE);
    if (!home(black, 60, 56)) castling &= uint8_t(~OPP_QUEENSIDE);
    return castling;
}

// Reads the halfmove field like a C decimal conversion: optional sign, digits up to the first other
// character. Only the low eight bits are kept, as the record does.
bool ReadHalfmoveClock(const char* c, uint8_t& clock) {
    bool negative = false;
    if (*c == '+' || *c == '-') negative = *c++ == '-';
    unsigned value = 0;
    bool nonzero = false;
    for (; *c >= '0' && *c <= '9'; ++c) {
        value = (value * 10 + unsigned(*c - '0')) & 0xFF;
        nonzero |= *c != '0';
    }
    if (negative && nonzero) return false;
    clock = uint8_t(value);
    return true;
}

bool ReplayMoves(StackWithCursor& context, const char* moves) {
    const char* c = moves;
    for (;;) {
        while (IsSeparator(*c)) ++c;
        if (*c == '\0') return true;
        char text[MOVE_TEXT_SIZE] = {};
        int length = 0;
        while (*c != '\0' && !IsSeparator(*c)) {
            if (length == 5) return false;
            text[length++] = *c++;
        }
        if (length < 4) return false;

        // Only moves a generator produces are made: anything else could corrupt the record.
        const Position* pos = context.current;
        const Move m = TextToMove(*pos, text);
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateAll(*pos, list);
        if (std::none_of(list, end, [m](const MoveEntry& e) { return e.move == m; })) return false;

        MakeRoomForMove(context);
        context.current = MakeMove(context.current, m);
        if (context.current->halfmoveClock == 0) {
            context.positionStack[0] = *context.current;
            context.current = &context.positionStack[0];
        }
    }
}

// The fields after the side to move, in order, into pos; false at the first one that fails. The side and
// the repetition count are set first, so the record always says in whose view it is.
bool ReadPosition(Position& pos, char* fields[], int count) {
    const bool blackToMove = fields[1][0] == 'b';
    pos.own = pos.plane1 = pos.plane2 = pos.plane4 = 0;
    pos.side = 0;
    pos.repetitions = 0;
    if (!ReadPlacement(pos, fields[0])) return false;
    if (!PlacementPossible(pos)) return false;

    if (count < 3) return false;
    pos.castling = 0;
    if (std::strcmp(fields[2], "-") != 0) {
        for (const char* c = fields[2]; *c; ++c) {
            switch (*c) {
                case 'K': pos.castling |= OWN_KINGSIDE; break;
                case 'Q': pos.castling |= OWN_QUEENSIDE; break;
                case 'k': pos.castling |= OPP_KINGSIDE; break;
                case 'q': pos.castling |= OPP_QUEENSIDE; break;
                default: return false;
            }
        }
        pos.castling = PossibleCastling(pos, pos.castling);
    }

    uint8_t clock = 0;
    if (count >= 5 && !ReadHalfmoveClock(fields[4], clock)) return false;
    pos.halfmoveClock = clock;

    if (blackToMove) FlipPosition(pos);

    if (count < 4) return false;
    const char* ep = fields[3];
    if (std::strcmp(ep, "-") == 0) {
        pos.epFile = 8;
    } else {
        if (ep[0] < 'a' || ep[0] > 'h' || ep[1] != (blackToMove ? '3' : '6') || ep[2] != '\0') return false;
        pos.epFile = uint8_t(ep[0] - 'a');
    }
    return true;
}

constexpr int BOARD_TEXT_SIZE = 651;
constexpr int BOARD_FIRST_SQUARE = 42;

constexpr std::array<char, BOARD_TEXT_SIZE + 1> MakeBoardTemplate() {
    std::array<char, BOARD_TEXT_SIZE + 1> t{};
    int n = 0;
    const auto put = [&](const char* s) {
        while (*s) t[n++] = *s++;
    };
    const char* separator = "  +---+---+---+---+---+---+---+---+\n";
    put("\n\n");
    put(separator);
    for (int rank = 8; rank >= 1; --rank) {
        t[n++] = char('0' + rank);
        put(" |");
        for (int file = 0; file < 8; ++file) put("   |");
        put("\n");
        put(separator);
    }
    put("\n    A   B   C   D   E   F   G   H\n\n\n");
    return t;
}

constexpr auto BOARD_TEMPLATE = MakeBoardTemplate();
static_assert(BOARD_TEMPLATE[BOARD_TEXT_SIZE - 1] == '\n' && BOARD_TEMPLATE[BOARD_TEXT_SIZE] == '\0');
static_assert(BOARD_TEMPLATE[BOARD_FIRST_SQUARE - 1] == ' ' && BOARD_TEMPLATE[BOARD_FIRST_SQUARE + 2] == '|');

// Piece letter of a square of a record in White's view.
char PieceLetter(const Position& pos, int sq) {
    const int code = PieceOn(pos, sq);
    if (code == EMPTY || code > KING) return ' ';
    return (pos.own & SquareBit(sq)) ? "PNBRQK"[code - 1] : "pnbrqk"[code - 1];
}

}  // namespace

bool PlacementPossible(const Position& pos) {
    return (Pawns(pos) & BACK_RANKS) == 0 && MaterialPossible(pos, pos.own) &&
           MaterialPossible(pos, Opponent(pos));
}

int ParseFen(StackWithCursor& context, const char* fen, const char* moves) {
    if (fen == nullptr) return 0;
    char buffer[FEN_TEXT_MAX + 1];
    const size_t length = strnlen(fen, FEN_TEXT_MAX + 1);
    if (length > size_t(FEN_TEXT_MAX)) return 0;
    std::memcpy(buffer, fen, length + 1);
    char* fields[FEN_FIELDS];
    const int count = SplitFields(buffer, fields, FEN_FIELDS);

    if (count < 2 || (std::strcmp(fields[1], "w") != 0 && std::strcmp(fields[1], "b") != 0)) return 0;

    Position& pos = *context.current;
    if (!ReadPosition(pos, fields, count)) {
        // What was read stays; the rest is made to agree with it, so that every later command can use
        // the record. Until the board is turned, it is in White's view with White to move.
        if (pos.side == 0) pos.castling = PossibleCastling(pos, pos.castling);
        pos.epFile = 8;
        pos.key = ComputeKey(pos);
        return 0;
    }

    if (moves != nullptr && !ReplayMoves(context, moves)) {
        context.current->key = ComputeKey(*context.current);
        return 0;
    }
    context.current->key = ComputeKey(*context.current);
    return 1;
}

int WriteFen(const Position& pos, char* buffer) {
    Position white = pos;
    if (white.side == 1) FlipPosition(white);
    char* out = buffer;
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            const char letter = PieceLetter(white, file + 8 * rank);
            if (letter == ' ') {
                ++empty;
                continue;
            }
            if (empty) *out++ = char('0' + empty);
            empty = 0;
            *out++ = letter;
        }
        if (empty) *out++ = char('0' + empty);
        if (rank > 0) *out++ = '/';
    }
    *out++ = ' ';
    *out++ = pos.side == 1 ? 'b' : 'w';
    *out++ = ' ';
    const char* start = out;
    if (white.castling & OWN_KINGSIDE) *out++ = 'K';
    if (white.castling & OWN_QUEENSIDE) *out++ = 'Q';
    if (white.castling & OPP_KINGSIDE) *out++ = 'k';
    if (white.castling & OPP_QUEENSIDE) *out++ = 'q';
    if (out == start) *out++ = '-';
    *out++ = ' ';
    if (pos.epFile < 8) {
        *out++ = char('a' + pos.epFile);
        *out++ = pos.side == 1 ? '3' : '6';
    } else {
        *out++ = '-';
    }
    *out++ = ' ';
    *out = '\0';
    return 1;
}

void MoveToText(char* buffer, Move m, int side) {
    const int from = MoveFrom(m);
    const int to = MoveTo(m);
    const auto rankDigit = [side](int sq) { return char('1' + (side == 1 ? 7 - sq / 8 : sq / 8)); };
    char* out = buffer;
    *out++ = char('a' + from % 8);
    *out++ = rankDigit(from);
    *out++ = char('a' + to % 8);
    *out++ = rankDigit(to);
    const int promotion = MovePromotion(m);
    if (promotion >= KNIGHT && promotion <= QUEEN) *out++ = "nbrq"[promotion - KNIGHT];
    *out = '\0';
}

Move TextToMove(const Position& pos, const char* text) {
    if (text == nullptr) return 0;
    char c[5] = {};
    for (int i = 0; i < 5 && text[i] != '\0'; ++i) c[i] = text[i];
    const int fromFile = c[0] - 'a', fromRank = c[1] - '1', toFile = c[2] - 'a', toRank = c[3] - '1';
    if (fromFile < 0 || fromFile > 7 || fromRank < 0 || fromRank > 7 || toFile < 0 || toFile > 7 || toRank < 0 ||
        toRank > 7)
        return 0;
    const int mirror = pos.side == 1 ? 56 : 0;
    const int from = (fromFile + 8 * fromRank) ^ mirror;
    const int to = (toFile + 8 * toRank) ^ mirror;

    int promotion = 0;
    switch (c[4]) {
        case 'n': promotion = KNIGHT; break;
        case 'b': promotion = BISHOP; break;
        case 'r': promotion = ROOK; break;
        case 'q': promotion = QUEEN; break;
        default: break;
    }

    // The piece's plain move, made special by its squares, then marked as a capture when the
    // destination is occupied.
    int type = PieceOn(pos, from);
    if (type == PAWN) {
        if (RankOf(to) == 7)
            type = PROMOTION;
        else if (pos.epFile != 8 && to == 40 + pos.epFile)
            type = EN_PASSANT;
    } else if (type == KING) {
        if (to - from == 2) type = KINGSIDE_CASTLING;
        if (from - to == 2) type = QUEENSIDE_CASTLING;
    }
    if (Occupied(pos) & SquareBit(to)) type += CAPTURE;
    return MakeMoveCode(type, from, to, promotion);
}

void PrintBoard(const Position& pos) {
    Position white = pos;
    if (white.side == 1) FlipPosition(white);
    std::array<char, BOARD_TEXT_SIZE + 1> board = BOARD_TEMPLATE;
    for (int sq = 0; sq < 64; ++sq)
        board[BOARD_FIRST_SQUARE + 4 * FileOf(sq) + 72 * (7 - RankOf(sq))] = PieceLetter(white, sq);
    std::fputs(board.data(), stdout);
    std::fflush(stdout);
}
