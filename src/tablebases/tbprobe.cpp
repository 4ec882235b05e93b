#include "tablebases/tbprobe.h"

#include <cstring>
#include <utility>

#include "board/makemove.h"
#include "board/movegen.h"
#include "tablebases/tbdecode.h"
#include "tablebases/tbregistry.h"

namespace {

// The pieces of a real colour and kind on real squares (a1 = 0 for both colours).
Bitboard RealPieces(const Position& pos, int colour, int kind) {
    Bitboard b = KindSet(pos, kind) & (unsigned(colour) == pos.side ? pos.own : Opponent(pos));
    return pos.side ? ByteSwap(b) : b;
}

struct Orientation {
    int colourFlip;
    int squareFlip;
    int tableSide;
};

Orientation Orient(const TableEntry& e, uint64_t key, unsigned side) {
    if (e.symmetric) return side ? Orientation{8, 56, 0} : Orientation{0, 0, 0};
    if (key != e.key) return {8, 56, side == 0};
    return {0, 0, side == 1};
}

// Appends the squares of the pieces listed in pieces[from, num), a run of equal codes at a time; false when
// the position lacks a listed piece.
bool CollectSquares(const Position& pos, const uint8_t* pieces, int from, int num, const Orientation& o,
                    int squareFlip, int* sq) {
    for (int i = from; i < num;) {
        int c = pieces[i];
        Bitboard b = RealPieces(pos, (c ^ o.colourFlip) >> 3, c & 7);
        if (!b) return false;
        while (b && i < num) sq[i++] = PopLsb(b) ^ squareFlip;
    }
    return true;
}

// A TableSide of the requested side, or of side 0 when the file stores one side for both.
const TableSide& SideOf(const TableEntry& e, int group, int side) {
    return e.side[group][side].pairs ? e.side[group][side] : e.side[group][0];
}

}  // namespace

int ProbeWdlTable(const Position& pos, int& success) {
    uint64_t key = MaterialKey(pos, 0);
    if (key == KvKKey()) return 0;
    TableEntry* e = LookupWdlEntry(pos, key, success);
    if (!e) return 0;
    Orientation o = Orient(*e, key, pos.side);
    int sq[TBPIECES];
    const TableSide* ts;
    uint64_t idx;
    if (!e->hasPawns) {
        ts = &SideOf(*e, 0, o.tableSide);
        if (!CollectSquares(pos, ts->pieces, 0, e->num, o, 0, sq)) return success = 0;
        idx = EncodePiece(*e, ts->norm, sq, ts->factor);
    } else {
        const TableSide& first = SideOf(*e, 0, o.tableSide);
        if (!CollectSquares(pos, first.pieces, 0, e->pawns[0], o, o.squareFlip, sq)) return success = 0;
        int group = LeadingPawnFile(*e, sq);
        ts = &SideOf(*e, group, o.tableSide);
        if (!CollectSquares(pos, ts->pieces, e->pawns[0], e->num, o, o.squareFlip, sq)) return success = 0;
        idx = EncodePawn(*e, ts->norm, sq, ts->factor);
    }
    int stored = DecompressPairs(*ts->pairs, idx);
    if (stored > 4) return success = 0;  // no WDL value: the file is inconsistent
    return stored - 2;
}

int ProbeDtzTable(const Position& pos, int wdl, int& success) {
    uint64_t key = MaterialKey(pos, 0);
    TableEntry* e = LookupDtzEntry(pos, key, success);
    if (!e) return 0;
    Orientation o = Orient(*e, key, pos.side);
    int sq[TBPIECES];
    int group = 0;
    uint64_t idx;
    const TableSide& ts0 = e->side[0][0];
    if (!e->hasPawns) {
        if (!e->symmetric && (e->flags[0] & 1) != o.tableSide) return success = -1, 0;
        if (!CollectSquares(pos, ts0.pieces, 0, e->num, o, 0, sq)) return success = 0;
        idx = EncodePiece(*e, ts0.norm, sq, ts0.factor);
    } else {
        if (!CollectSquares(pos, ts0.pieces, 0, e->pawns[0], o, o.squareFlip, sq)) return success = 0;
        group = LeadingPawnFile(*e, sq);
        if ((e->flags[group] & 1) != o.tableSide) return success = -1, 0;
        const TableSide& ts = e->side[group][0];
        if (!CollectSquares(pos, ts.pieces, e->pawns[0], e->num, o, o.squareFlip, sq)) return success = 0;
        idx = EncodePawn(*e, ts.norm, sq, ts.factor);
    }
    int res = DecompressPairs(*e->side[group][0].pairs, idx);
    uint8_t flags = e->flags[group];
    if (wdl < -2 || wdl > 2) return success = 0;
    if (flags & 2) {
        static constexpr int mapOfWdl[5] = {1, 3, 0, 2, 0};
        uint32_t at = uint32_t(e->mapIdx[group][mapOfWdl[wdl + 2]]) + uint32_t(res);
        if (at >= e->mapLength) return success = 0;
        res = e->map[at];
    }
    static constexpr uint8_t fullPlies[5] = {8, 0, 0, 0, 4};
    if (!(flags & fullPlies[wdl + 2]) || (wdl & 1)) res *= 2;
    return res;
}

namespace {

constexpr int wdlToDtz[5] = {-1, -101, 0, 101, 1};

bool HasLegalMove(const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateAll(pos, list);
    for (MoveEntry* m = list; m < end; ++m)
        if (IsLegal(pos, m->move)) return true;
    return false;
}

// The best WDL value that a legal en-passant capture reaches (-3 when there is none); legal and epMoves count
// the legal moves and the legal en-passant captures. -4 when a probe failed.
int BestEnPassant(Position* pos, int& legal, int& epMoves, int& success) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateAll(*pos, list);
    int best = -3;
    legal = epMoves = 0;
    for (MoveEntry* m = list; m < end; ++m) {
        if (!IsLegal(*pos, m->move)) continue;
        ++legal;
        if (MoveType(m->move) != EN_PASSANT) continue;
        ++epMoves;
        int x = -ProbeAlphaBeta(MakeMove(pos, m->move), -2, 2, success);
        if (success == 0) return -4;
        if (x > best) best = x;
    }
    return best;
}

// The DTZ value before the en-passant correction; success 0 when a probe failed.
int DtzBeforeEnPassant(Position* pos, int& success) {
    int wdl = ProbeAlphaBeta(pos, -2, 2, success);
    if (success == 0 || wdl == 0) return 0;
    if (success == 2) return wdl == 2 ? 1 : 101;

    MoveEntry list[MOVELIST_SIZE];
    if (wdl > 0) {
        // A pawn move that keeps the win zeroes the counter at once.
        MoveEntry* end = GenerateAll(*pos, list);
        for (MoveEntry* m = end - 1; m >= list; --m) {
            int type = MoveType(m->move);
            if ((type != PAWN_MOVE && type != PROMOTION) || !IsLegal(*pos, m->move)) continue;
            int w = ProbeAlphaBeta(MakeMove(pos, m->move), -2, 1 - wdl, success);
            if (success == 0) return 0;
            if (-w == wdl) return wdl == 2 ? 1 : 101;
        }
    }

    int res = ProbeDtzTable(*pos, wdl, success);
    if (success >= 0) {
        int d = 1 + res + (wdl & 1 ? 100 : 0);
        return wdl > 0 ? d : -d;
    }

    // The table holds the other side to move: search one ply.
    if (wdl > 0) {
        int best = 65535;
        MoveEntry* end = GenerateQuiets(*pos, list);
        for (MoveEntry* m = end - 1; m >= list; --m) {
            if (MoveType(m->move) == PAWN_MOVE || !IsLegal(*pos, m->move)) continue;
            int v = ProbeDtz(MakeMove(pos, m->move), success);
            if (success == 0) return 0;
            if (-v > 0 && 1 - v < best) best = 1 - v;
        }
        return best;
    }
    int best = -1;
    MoveEntry* end = GenerateAll(*pos, list);
    for (MoveEntry* m = end - 1; m >= list; --m) {
        if (CapturesOnDestination(MoveType(m->move)) || !IsLegal(*pos, m->move)) continue;
        Position* child = MakeMove(pos, m->move);
        int v;
        if (child->halfmoveClock == 0) {
            if (wdl == -2) {
                v = -1;
            } else {
                v = ProbeAlphaBeta(child, 1, 2, success) == 2 ? 0 : -101;
                if (success == 0) return 0;
            }
        } else {
            v = -ProbeDtz(child, success) - 1;
            if (success == 0) return 0;
        }
        if (v < best) best = v;
    }
    return best;
}

// Quicksort of list[first..last] (both included) by score, highest first; not stable.
void SortMovesDescending(MoveEntry* list, int first, int last) {
    while (first < last) {
        const int16_t pivot = list[first].score;
        int left = first + 1, right = last;
        while (left <= right) {
            if (list[left].score > pivot) ++left;
            else std::swap(list[left], list[right--]);
        }
        std::swap(list[first], list[left - 1]);
        SortMovesDescending(list, left, last);
        last = left - 2;
    }
}

}  // namespace

int ProbeAlphaBeta(Position* pos, int alpha, int beta, int& success) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateNoisy(*pos, list);
    while (end > list) {
        // Highest ordering score first; among equals the one nearest the end.
        MoveEntry* best = end - 1;
        for (MoveEntry* m = end - 2; m >= list; --m)
            if (m->score > best->score) best = m;
        Move move = best->move;
        std::memmove(best, best + 1, size_t(end - best - 1) * sizeof(MoveEntry));
        --end;
        if (MoveType(move) == EN_PASSANT || !IsLegal(*pos, move)) continue;
        int v = -ProbeAlphaBeta(MakeMove(pos, move), -beta, -alpha, success);
        if (success == 0) return 0;
        if (v > alpha) {
            if (v >= beta) {
                success = 2;
                return v;
            }
            alpha = v;
        }
    }
    int v = ProbeWdlTable(*pos, success);
    if (success == 0) return 0;
    if (alpha >= v) {
        success = alpha > 0 ? 2 : 1;
        return alpha;
    }
    success = 1;
    return v;
}

int ProbeWdl(Position* pos, int& success) {
    success = 1;
    int v = ProbeAlphaBeta(pos, -2, 2, success);
    if (pos->epFile == 8) return v;
    if (success == 0) return 0;
    int legal, epMoves;
    int e = BestEnPassant(pos, legal, epMoves, success);
    if (e == -4) return 0;
    if (e == -3) return v;
    if (e >= v) return e;
    if (v != 0) return v;
    if (legal == epMoves) return e;
    return 0;
}

int ProbeDtz(Position* pos, int& success) {
    success = 1;
    int v = DtzBeforeEnPassant(pos, success);
    if (pos->epFile == 8 || success == 0) return success == 0 ? 0 : v;
    int legal, epMoves;
    int y = BestEnPassant(pos, legal, epMoves, success);
    if (y == -4) return 0;
    if (y == -3) return v;
    int e = wdlToDtz[y + 2];
    if (v < -100) return e >= 0 ? e : v;
    if (v < 0) return e >= 0 || e < -100 ? e : v;
    if (v > 100) return e > 0 ? e : v;
    if (v > 0) return e == 1 ? 1 : v;
    if (legal == epMoves) return e;
    return e >= 0 ? e : 0;
}

int RootProbe(Position* pos, MoveEntry* firstMove, int16_t& score, MoveEntry*& lastMove) {
    int success;
    int dtz = ProbeDtz(pos, success);
    if (success == 0) return 0;

    for (MoveEntry* m = firstMove; m < lastMove; ++m) {
        if (!IsLegal(*pos, m->move)) continue;
        Position* child = MakeMove(pos, m->move);
        int v;
        if (dtz > 0 && Checkers(*child) && !HasLegalMove(*child)) {
            v = 1;
        } else if (child->halfmoveClock == 0) {
            v = wdlToDtz[2 - ProbeWdl(child, success)];
        } else {
            v = -ProbeDtz(child, success);
            v += v > 0 ? 1 : v < 0 ? -1 : 0;
        }
        if (success == 0) return 0;
        m->score = int16_t(v);
    }

    int c = pos->halfmoveClock;
    MoveEntry* kept = firstMove;
    auto keepIf = [&](auto&& keep) {
        for (MoveEntry* m = firstMove; m < lastMove; ++m)
            if (keep(m->score)) *kept++ = *m;
    };
    if (dtz > 0) {
        score = dtz + c <= 100 ? TB_WIN : TB_CURSED_WIN;
        int best = 65535;
        for (MoveEntry* m = firstMove; m < lastMove; ++m)
            if (m->score > 0 && m->score < best) best = m->score;
        // A root that repeats an earlier position needs the fastest win to make progress.
        const Position* stackStart = PositionStack::Floor(pos);
        bool repeated = false;
        for (int back = 0; back <= c && pos - back >= stackStart; back += 2)
            if (pos[-back].repetitions & 1) {
                repeated = true;
                break;
            }
        int bound = !repeated && best + c <= 99 ? 99 - c : best;
        keepIf([&](int s) { return s > 0 && s <= bound; });
    } else if (dtz == 0) {
        score = 0;
        keepIf([](int s) { return s == 0; });
    } else {
        score = c - dtz <= 100 ? -TB_WIN : -TB_CURSED_WIN;
        int best = 0;
        for (MoveEntry* m = firstMove; m < lastMove; ++m)
            if (m->score < best) best = m->score;
        if (c - 2 * best <= 99) return 1;
        keepIf([&](int s) { return s == best; });
    }
    lastMove = kept;
    if (kept - firstMove >= 2) SortMovesDescending(firstMove, 0, int(kept - firstMove) - 1);
    return 1;
}
