// Test-local position set-up from FEN text, independent of the engine's own FEN reader, and the
// colour-mirrored twin of a FEN.
#pragma once

#include <cctype>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "board/position.h"
#include "search/search.h"

// Writes the position into record 0 of the thread's stack and points current at it.
inline bool SetupFen(SearchThread& thread, const std::string& fen) {
    std::istringstream in(fen);
    std::string placement, side, castling = "-", ep = "-";
    int halfmove = 0;
    if (!(in >> placement >> side)) return false;
    in >> castling >> ep >> halfmove;
    Position pos{};
    int rank = 7, file = 0;
    for (char c : placement) {
        if (c == '/') {
            --rank;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else {
            const char* pieces = "pnbrqk";
            const char* p = strchr(pieces, tolower(c));
            if (!p || file > 7 || rank < 0) return false;
            const int code = int(p - pieces) + 1, sq = file + 8 * rank;
            if (code & 1) pos.plane1 |= SquareBit(sq);
            if (code & 2) pos.plane2 |= SquareBit(sq);
            if (code & 4) pos.plane4 |= SquareBit(sq);
            if (isupper(c)) pos.own |= SquareBit(sq);
            ++file;
        }
    }
    for (char c : castling) {
        if (c == 'K') pos.castling |= 2;
        if (c == 'Q') pos.castling |= 1;
        if (c == 'k') pos.castling |= 0x20;
        if (c == 'q') pos.castling |= 0x10;
    }
    pos.epFile = ep == "-" ? 8 : uint8_t(ep[0] - 'a');
    pos.halfmoveClock = uint8_t(halfmove);
    if (side == "b") FlipPosition(pos);
    pos.key = ComputeKey(pos);
    thread.positionStack[0] = pos;
    thread.current = &thread.positionStack[0];
    return true;
}

// The same game with the colours exchanged: ranks mirrored, piece colours and the side to move swapped.
inline std::string MirrorFen(const std::string& fen) {
    std::istringstream in(fen);
    std::string placement, side, castling = "-", ep = "-", rest;
    in >> placement >> side >> castling >> ep;
    std::getline(in, rest);
    std::string ranks[8], mirrored;
    int r = 0;
    for (char c : placement) {
        if (c == '/') ++r;
        else ranks[r] += char(isupper(c) ? tolower(c) : toupper(c));
    }
    for (int i = 7; i >= 0; --i) mirrored += ranks[i] + (i ? "/" : "");
    for (char& c : castling) c = char(isupper(c) ? tolower(c) : toupper(c));
    if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
    return mirrored + (side == "w" ? " b " : " w ") + castling + " " + ep + rest;
}

// Search contexts are large; tests take them from the heap, without a pawn table.
inline std::unique_ptr<SearchThread> NewTestThread() {
    auto thread = std::make_unique<SearchThread>();
    thread->pawnHash = nullptr;
    thread->current = &thread->positionStack[0];
    return thread;
}
