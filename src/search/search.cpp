#include "search/search.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/legality.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/evaluate.h"
#include "search/ordering.h"
#include "search/quiesce.h"
#include "search/tt.h"
#include "settings/settings.h"
#include "tablebases/tbprobe.h"

Position* NewGame() {
    hashAge = 0;
    return ResetStack(mainContext.positionStack);
}

namespace {

// Plies beyond which the main search hands over to the quiescence search (which hands over to the static
// evaluation beyond QUIESCE_MAX_PLY).
constexpr int MAX_SEARCH_PLY = 63;
// Windows with an edge at or beyond this are mate searches: no futility, razoring or null move.
constexpr int MATE_WINDOW = MATE_BOUND + 1;
constexpr int FUTILITY_MARGIN = 70;

// The one place where the tree consults the tablebases: the WDL value of the position as a score.
bool ProbeTablebaseScore(Position* pos, int& score) {
    static constexpr int WDL_SCORES[5] = {-TB_WIN, -TB_CURSED_WIN, 0, TB_CURSED_WIN, TB_WIN};
    int success = 0;
    const int wdl = ProbeWdl(pos, success);
    if (!success) return false;
    score = WDL_SCORES[wdl + 2];
    return true;
}

bool HasPieces(const Position& pos) { return (Occupied(pos) & ~Pawns(pos) & ~Kings(pos)) != 0; }

}  // namespace

namespace {

// AlphaBeta for a caller that already has Checkers(*thread.current): a node's quiet moves learn whether they
// give check before their child is searched.
int16_t SearchNode(SearchThread& thread, Bitboard checkers, int16_t depth, uint8_t ply, int16_t alpha16,
                   int16_t beta16, uint8_t tbLimit, PvLine& pv);

}  // namespace

int16_t AlphaBeta(SearchThread& thread, int16_t depth, uint8_t ply, int16_t alpha, int16_t beta, uint8_t tbLimit,
                  PvLine& pv) {
    return SearchNode(thread, Checkers(*thread.current), depth, ply, alpha, beta, tbLimit, pv);
}

namespace {

int16_t SearchNode(SearchThread& thread, Bitboard checkers, int16_t depth, uint8_t ply, int16_t alpha16,
                   int16_t beta16, uint8_t tbLimit, PvLine& pv) {
    Position* const pos = thread.current;
    int d = depth, alpha = alpha16, beta = beta16;

    // 1. Check status; one child line, shared by every child of this node
    const bool inCheck = checkers != 0;
    PvLine line;
    line.count = 0;

    // 2. Stop flags
    if (searchStop) {
        iterationAbort = 1;
        return int16_t(alpha);
    }
    if (iterationAbort) return int16_t(alpha);

    // 3. Draws by repetition and by the fifty-move rule (a mate on the hundredth halfmove still counts)
    if (pos->repetitions == 2) return 0;
    if (pos->halfmoveClock > 100 || (pos->halfmoveClock == 100 && !inCheck)) return 0;

    // 4. Check extension at PV nodes
    const bool pvNode = beta != alpha + 1;
    bool reductionsAllowed = true;
    if (inCheck && pvNode) {
        ++d;
        reductionsAllowed = false;
    }

    // 5. Too deep for the main search
    if (ply > MAX_SEARCH_PLY) {
        if (ply + 1 > QUIESCE_MAX_PLY) return Evaluate(*thread.current, thread.pawnHash);
        return Quiesce(thread, 0, uint8_t(ply + 1), int16_t(alpha), int16_t(beta), tbLimit);
    }

    // 6. Selective depth: the deepest ply reached in this iteration
    if (ply > thread.selDepth) thread.selDepth = ply;

    // 7. Mate-distance pruning
    if (alpha < ply - MATE) alpha = ply - MATE;
    if (beta > MATE - ply) beta = MATE - ply;
    if (alpha >= beta) return int16_t(alpha);

    // The evaluation that the node needs unless the probe ends it (the quiescence search at a leaf, the
    // futility tests above it) is made first, while the bucket that MakeMove's caller asked for arrives.
    const bool futilityWindow = std::abs(beta) < MATE_WINDOW && std::abs(alpha) < MATE_WINDOW && !inCheck;
    int evaluation = 0;
    bool evaluated = false;
    if (d <= 0 || (d <= 3 && futilityWindow)) evaluation = Evaluate(*thread.current, thread.pawnHash), evaluated = true;

    // 8-9. Transposition table; a miss leaves data 0: no bound, no move
    uint64_t data = 0;
    const int16_t hashScore = ProbeHash(*pos, data, uint8_t(d), ply, int16_t(alpha), int16_t(beta));
    const int hashFlags = HashFlags(data);
    if (hashScore != HashNoCut && hashScore != HashMiss && hashFlags == BoundUpper) return hashScore;
    Move hashMove = HashBest(data);

    // 10. Tablebases
    if (settings.useSyzygy && PopCount(Occupied(*pos)) <= tbLimit && pos->halfmoveClock == 0) {
        int score;
        if (ProbeTablebaseScore(pos, score)) {
            StoreHash(*pos, uint8_t(d), ply, BoundExact, int16_t(score), 0);
            return int16_t(score);
        }
    }

    // 11. Leaves
    if (d <= 0) {
        if (searchStop) {
            iterationAbort = 1;
            return int16_t(alpha);
        }
        if (iterationAbort) return int16_t(alpha);
        return QuiesceEvaluated(thread, int16_t(evaluation), checkers, 0, uint8_t(ply + 1), int16_t(alpha),
                                int16_t(beta), tbLimit);
    }

    bool futility = false;
    if (d <= 3) {
        // 12. Static futility, then razoring at non-PV nodes
        auto staticEval = [&] {
            if (!evaluated) evaluation = Evaluate(*thread.current, thread.pawnHash), evaluated = true;
            return evaluation;
        };
        if (futilityWindow) {
            const int e = staticEval() - FUTILITY_MARGIN * d;
            if (e >= beta) return int16_t(e);
        }
        if (!pvNode && std::abs(beta) < MATE_WINDOW && !inCheck) {
            const int r = alpha - FUTILITY_MARGIN * d;
            if (r > staticEval()) {
                int q;
                if (searchStop) {
                    iterationAbort = 1;
                    q = r - 1;
                } else if (iterationAbort) {
                    q = r - 1;
                } else {
                    q = QuiesceEvaluated(thread, int16_t(staticEval()), checkers, 0, uint8_t(ply + 1),
                                         int16_t(r - 1), int16_t(r), tbLimit);
                }
                if (q < r) return int16_t(q);
                futility = true;
            }
        }
    } else {
        // 13. Null move
        if (!inCheck && std::abs(beta) < MATE_WINDOW && std::abs(alpha) < MATE_WINDOW && hashFlags != BoundExact &&
            HasPieces(*pos)) {
            PvLine scratch;
            scratch.count = 0;
            thread.current = MakeNullMove(pos);
            PrefetchHash(thread.current->key);
            const int v = -AlphaBeta(thread, int16_t(d - 4), uint8_t(ply + 1), int16_t(-beta), int16_t(-beta + 1),
                                     tbLimit, scratch);
            thread.current = pos;
            if (v >= beta) {
                StoreHash(*pos, uint8_t(d), ply, BoundLower, int16_t(v), 0);
                return int16_t(v);
            }
        }
        // 14. Internal iterative deepening, with the killers and mate distances of ply 0
        if (d >= 6 && pvNode && hashMove == 0 && hashFlags != BoundUpper) {
            PvLine iid;
            iid.count = 0;
            AlphaBeta(thread, int16_t(d / 2), 0, int16_t(alpha), int16_t(beta), tbLimit, iid);
            if (iid.count != 0) hashMove = iid.moves[0];
        }
    }

    // 15. Moves: hash move, captures, quiet moves. After each move the child's bucket is asked for at once,
    // so that it arrives while the child does its first steps; only the children searched here probe the
    // table, quiescence nodes never do.
    const NodeLegality isLegal(*pos, inCheck);
    int b = alpha;
    Move best = 0;
    bool raised = false;
    int searched = 0;

    if (hashMove && isLegal(hashMove)) {
        ++searched;
        thread.current = MakeMove(pos, hashMove);
        PrefetchHash(thread.current->key);
        const int v = -AlphaBeta(thread, int16_t(d - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b), tbLimit, line);
        thread.current = pos;
        if (v >= beta) {
            if (IsQuietMove(hashMove)) {
                UpdateKillers(thread, ply, hashMove);
                UpdateHistory(thread, uint8_t(d), hashMove);
            }
            StoreHash(*pos, uint8_t(d), ply, BoundLower, int16_t(v), hashMove);
            return int16_t(v);
        }
        if (v > b) {
            b = v;
            best = hashMove;
            AdoptLine(pv, hashMove, line);
            raised = true;
        }
    }

    MoveEntry captures[MOVELIST_SIZE];
    MoveEntry* end = GenerateNoisy(*pos, captures);
    for (MoveEntry* slot = end - 1; slot >= captures; --slot) {
        PickBestCapture(slot, captures);
        const Move m = slot->move;
        if (m == hashMove || !isLegal(m)) continue;
        ++searched;
        thread.current = MakeMove(pos, m);
        PrefetchHash(thread.current->key);
        int v;
        if (raised) {
            v = -AlphaBeta(thread, int16_t(d - 1), uint8_t(ply + 1), int16_t(-b - 1), int16_t(-b), tbLimit, line);
            if (v > b && v < beta)
                v = -AlphaBeta(thread, int16_t(d - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b), tbLimit, line);
        } else {
            v = -AlphaBeta(thread, int16_t(d - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b), tbLimit, line);
        }
        thread.current = pos;
        if (v > b) {
            if (v >= beta) {
                StoreHash(*pos, uint8_t(d), ply, BoundLower, int16_t(v), m);
                return int16_t(v);
            }
            b = v;
            best = m;
            AdoptLine(pv, m, line);
            raised = true;
        }
    }

    MoveEntry quiets[MOVELIST_SIZE];
    end = GenerateQuiets(*pos, quiets);
    int quietCount = 0;
    // Once no killer is left among the remaining moves, none is while the killers stay as they were: the
    // remaining moves only become fewer. (The killers of this ply can still change, under an internal
    // iterative deepening below.)
    bool killersGone = false;
    Move goneKillers[2] = {0, 0};
    for (MoveEntry* slot = end - 1; slot >= quiets; --slot) {
        const Move* killers = thread.killers[ply];
        bool picked = false;
        if (!killersGone || killers[0] != goneKillers[0] || killers[1] != goneKillers[1]) {
            picked = PickKiller(thread, ply, slot, quiets);
            killersGone = !picked;
            goneKillers[0] = killers[0];
            goneKillers[1] = killers[1];
        }
        if (!picked) PickHistory(thread, slot, quiets);
        const Move m = slot->move;
        if (m == hashMove || !isLegal(m)) continue;
        // Pruned moves count too: a node whose moves were all pruned is neither mate nor stalemate.
        ++quietCount;
        thread.current = MakeMove(pos, m);
        const Bitboard childCheckers = Checkers(*thread.current);
        const bool givesCheck = childCheckers != 0;
        if (!givesCheck && futility) {
            thread.current = pos;
            continue;
        }
        PrefetchHash(thread.current->key);
        // Late-move reduction
        int reduction = 0;
        if (!givesCheck && !inCheck && reductionsAllowed && d >= 2 && quietCount >= 4) {
            const int counter = thread.history[pos->side & 1][MoveFrom(m)][MoveTo(m)];
            reduction = d == 2 ? 1 : counter < 10 * d * d ? 2 : 1;
        }
        int v;
        if (reduction > 0 || raised) {
            v = -SearchNode(thread, childCheckers, int16_t(d - 1 - reduction), uint8_t(ply + 1), int16_t(-b - 1),
                            int16_t(-b), tbLimit, line);
            if (v > b && v < beta)
                v = -SearchNode(thread, childCheckers, int16_t(d - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b),
                                tbLimit, line);
        } else {
            v = -SearchNode(thread, childCheckers, int16_t(d - 1), uint8_t(ply + 1), int16_t(-beta), int16_t(-b),
                            tbLimit, line);
        }
        thread.current = pos;
        if (v > b) {
            if (v >= beta) {
                UpdateKillers(thread, ply, m);
                UpdateHistory(thread, uint8_t(d), m);
                StoreHash(*pos, uint8_t(d), ply, BoundLower, int16_t(v), m);
                return int16_t(v);
            }
            b = v;
            best = m;
            AdoptLine(pv, m, line);
            raised = true;
        }
    }

    // 16. Mate, stalemate, or the node's bound
    if (searched == 0 && quietCount == 0) {
        const int score = inCheck ? ply - MATE : 0;
        StoreHash(*pos, uint8_t(d), ply, BoundExact, int16_t(score), 0);
        return int16_t(score);
    }
    StoreHash(*pos, uint8_t(d), ply, raised ? BoundExact : BoundUpper, int16_t(b), best);
    return int16_t(b);
}

}  // namespace

uint64_t SearchRoot(SearchThread& thread, int depth, int16_t alpha, int16_t beta, MoveEntry* rootStart,
                    MoveEntry* rootEnd, uint8_t tbLimit, PvLine& line) {
    Position* root = thread.current;
    PvLine child;
    std::memset(&child, 0, sizeof child);
    Move best = 0;
    bool raised = false;

    // Hash move first, when it is one of the root moves: the tablebase filter may have removed it, and
    // the record may come from another position with the same key.
    uint64_t data = 0;
    bool found = ProbeHash(*root, data, uint8_t(depth), 0, alpha, beta) != HashMiss;
    Move hashMove = found ? HashBest(data) : 0;
    const auto isHashMove = [hashMove](const MoveEntry& e) { return e.move == hashMove; };
    if (hashMove && std::any_of(rootStart, rootEnd, isHashMove)) {
        thread.current = MakeMove(root, hashMove);
        int16_t v = int16_t(-AlphaBeta(thread, int16_t(depth - 1), 1, int16_t(-beta), int16_t(-alpha), tbLimit,
                                       child));
        thread.current = root;
        if (v > alpha) {
            alpha = v;
            best = hashMove;
            AdoptLine(line, hashMove, child);
            raised = true;
        }
    }

    for (MoveEntry* e = rootEnd; e-- > rootStart;) {
        Move m = e->move;
        if (found && m == hashMove) continue;
        thread.current = MakeMove(root, m);
        int16_t v;
        if (raised) {
            v = int16_t(-AlphaBeta(thread, int16_t(depth - 1), 1, int16_t(-alpha - 1), int16_t(-alpha), tbLimit,
                                   child));
            if (v > alpha)
                v = int16_t(-AlphaBeta(thread, int16_t(depth - 1), 1, int16_t(-beta), int16_t(-alpha), tbLimit,
                                       child));
        } else {
            v = int16_t(-AlphaBeta(thread, int16_t(depth - 1), 1, int16_t(-beta), int16_t(-alpha), tbLimit,
                                   child));
        }
        thread.current = root;
        if (v > alpha) {
            alpha = v;
            best = m;
            AdoptLine(line, m, child);
            raised = true;
        }
    }

    StoreHash(*root, uint8_t(depth), 0, BoundExact, alpha, best);
    return MakeSearchResult(best, alpha);
}
