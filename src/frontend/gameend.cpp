#include "frontend/gameend.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "search/search.h"

namespace {

bool HasLegalMove(SearchThread& context) {
    Position* pos = context.current;
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateAll(*pos, list);
    for (MoveEntry* entry = list; entry < end; ++entry) {
        if (!IsLegal(*pos, entry->move)) continue;
        // The move is played into the scratch record above the game position, which stays current.
        if (pos + 1 < context.positionStack.Records() + STACK_SIZE) MakeMove(pos, entry->move);
        return true;
    }
    return false;
}

}  // namespace

void CheckGameEnd(SearchThread& context) {
    const Position& pos = *context.current;
    // The three checks are independent: a position may earn more than one line.
    if (pos.repetitions == 2) std::printf("1/2-1/2 {Draw by repetition}\n");
    if (pos.halfmoveClock > 99) std::printf("1/2-1/2 {Draw by 50 move rule}\n");
    if (!HasLegalMove(context)) {
        if (!Checkers(pos))
            std::printf("1/2-1/2 {Stalemate}\n");
        else if (pos.side == 1)
            std::printf("1-0 {White mates}\n");
        else
            std::printf("0-1 {Black mates}\n");
    }
    std::fflush(stdout);
}
