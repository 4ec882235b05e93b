// ParseFen with a move list on arbitrary bytes; accepted positions must stay self-consistent.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "search/search.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Everything before the first line feed is the FEN, the rest the move list.
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string fen = text.substr(0, text.find('\n'));
    std::string moves = text.find('\n') == std::string::npos ? "" : text.substr(text.find('\n') + 1);

    mainContext.current = NewGame();
    if (!ParseFen(mainContext, fen.c_str(), moves.empty() ? nullptr : moves.c_str())) return 0;

    Position& pos = *mainContext.current;
    if (pos.key != ComputeKey(pos)) std::abort();
    char buffer[FEN_BUFFER_SIZE];
    WriteFen(pos, buffer);

    // Every legal move of an accepted position can be made and keeps the key in step.
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(pos, list);
    for (MoveEntry* e = list; e != end; ++e) {
        Position* next = MakeMove(&pos, e->move);
        if (next->key != ComputeKey(*next)) std::abort();
        char move[MOVE_TEXT_SIZE];
        MoveToText(move, e->move, pos.side);
    }
    return 0;
}
