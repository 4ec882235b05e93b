// Position set-up from FEN text on any search context, and the colour-mirrored twin of a FEN.
#pragma once

#include <cctype>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "board/fen.h"
#include "board/position.h"
#include "search/search.h"

// Writes the position into record 0 of the thread's stack and points current at it.
inline bool SetupFen(SearchThread& thread, const std::string& fen) {
    thread.current = &thread.positionStack[0];
    return ParseFen(thread, fen.c_str(), nullptr) == 1;
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
