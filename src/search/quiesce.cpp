#include "search/quiesce.h"

#include <algorithm>

#include "board/legality.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/ordering.h"

namespace {

// Searches one move of a quiescence node and returns its score for the node's side. While the search is
// being stopped every move scores beta, so that each node cuts at once.
int SearchMove(SearchThread& thread, Move m, int16_t qdepth, uint8_t ply, int beta, int b, uint8_t tbLimit) {
    Position* node = thread.current;
    thread.current = MakeMove(node, m);
    int score;
    if (searchStop) {
        iterationAbort = 1;
        score = beta;
    } else if (iterationAbort) {
        score = beta;
    } else if (ply + 1 > QUIESCE_MAX_PLY) {
        score = -Evaluate(*thread.current, thread.pawnHash);
    } else {
        score = -Quiesce(thread, int16_t(qdepth - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b), tbLimit);
    }
    thread.current = node;
    return score;
}

// The node's search; the evaluation and the checkers are found here unless the caller has them (KNOWN).
template <bool KNOWN>
int16_t QuiesceNode(SearchThread& thread, int16_t evaluation, Bitboard knownCheckers, int16_t qdepth, uint8_t ply,
                    int16_t alpha16, int16_t beta16, uint8_t tbLimit) {
    int alpha = alpha16, beta = beta16;
    // Mate-distance pruning
    alpha = std::max(alpha, ply - MATE);
    beta = std::min(beta, MATE - ply);
    if (alpha >= beta) return int16_t(alpha);

    Position* pos = thread.current;
    const Bitboard checkers = KNOWN ? knownCheckers : Checkers(*pos);
    const int e = KNOWN ? evaluation : Evaluate(*thread.current, thread.pawnHash);
    if (!checkers && e >= beta) return int16_t(e);
    // The evaluation is a floor even in check; it only cuts when not in check.
    int b = std::max(alpha, e);

    MoveEntry list[MOVELIST_SIZE];
    if (checkers) {
        MoveEntry* end = GenerateEvasions(*pos, list, checkers);
        int legal = 0;
        for (MoveEntry* entry = end - 1; entry >= list; --entry) {
            if (!IsLegal(*pos, entry->move)) continue;
            ++legal;
            b = std::max(b, SearchMove(thread, entry->move, qdepth, ply, beta, b, tbLimit));
            if (b >= beta) return int16_t(b);
        }
        return int16_t(legal ? b : ply - MATE);
    }

    // Captures and promotions, best first; losing captures are left out.
    const NodeLegality isLegal(*pos, false);
    MoveEntry* end = GenerateNoisy(*pos, list);
    for (MoveEntry* slot = end - 1; slot >= list; --slot) {
        PickBestCapture(slot, list);
        const Move m = slot->move;
        if (!isLegal(m) || SeeIsNegative(pos, m)) continue;
        b = std::max(b, SearchMove(thread, m, qdepth, ply, beta, b, tbLimit));
        if (b >= beta) return int16_t(b);
    }

    if (qdepth < -1) return int16_t(b);

    // Quiet checks, at the first two levels only.
    MoveEntry checks[MOVELIST_SIZE];
    end = GenerateQuietChecks(*pos, checks);
    for (MoveEntry* entry = end - 1; entry >= checks; --entry) {
        const Move m = entry->move;
        if (!isLegal(m) || SeeIsNegative(pos, m)) continue;
        b = std::max(b, SearchMove(thread, m, qdepth, ply, beta, b, tbLimit));
        if (b >= beta) return int16_t(b);
    }
    return int16_t(b);
}

}  // namespace

int16_t Quiesce(SearchThread& thread, int16_t qdepth, uint8_t ply, int16_t alpha, int16_t beta, uint8_t tbLimit) {
    return QuiesceNode<false>(thread, 0, 0, qdepth, ply, alpha, beta, tbLimit);
}

int16_t QuiesceEvaluated(SearchThread& thread, int16_t evaluation, Bitboard checkers, int16_t qdepth, uint8_t ply,
                         int16_t alpha, int16_t beta, uint8_t tbLimit) {
    return QuiesceNode<true>(thread, evaluation, checkers, qdepth, ply, alpha, beta, tbLimit);
}
