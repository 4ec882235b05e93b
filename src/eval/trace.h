// The evaluation trace: every term of one traced evaluation, by piece type, for both sides.
#pragma once

#include <cstdint>

// Cell indices of a trace row. TRACE_BISHOP_UNUSED and TRACE_QUEEN_UNUSED are never shown.
enum TraceCell : int {
    TRACE_PAWN_MATERIAL = 0,
    TRACE_PAWN_PST,
    TRACE_ISOLATED,
    TRACE_PASSED,
    TRACE_DOUBLED,
    TRACE_BACKWARD,
    TRACE_DISPERSION,
    TRACE_DISTORTION,
    TRACE_PAWN_ENDING,
    TRACE_KING_SUPPORT,
    TRACE_ENEMY_KING_TROP,
    TRACE_KING_SHIELD,
    TRACE_KNIGHT_MATERIAL = 12,
    TRACE_KNIGHT_PST,
    TRACE_KNIGHT_TRAPPED,
    TRACE_KNIGHT_ADJUSTMENT,
    TRACE_KNIGHT_OUTPOST,
    TRACE_KNIGHT_MOBILITY,
    TRACE_BISHOP_MATERIAL = 18,
    TRACE_BISHOP_PST,
    TRACE_BISHOP_TRAPPED,
    TRACE_BISHOP_UNUSED,
    TRACE_BISHOP_OUTPOST,
    TRACE_BISHOP_MOBILITY,
    TRACE_OPEN_DIAGS,
    TRACE_COLOR_WEAKNESS,
    TRACE_BISHOP_PAIR,
    TRACE_ROOK_MATERIAL = 27,
    TRACE_ROOK_PST,
    TRACE_ROOK_TRAPPED,
    TRACE_ROOK_ADJUSTMENT,
    TRACE_ROOK_OUTPOST,
    TRACE_ROOK_MOBILITY,
    TRACE_OPEN_FILE,
    TRACE_SEMIOPEN_FILE,
    TRACE_SEVENTH_RANK,
    TRACE_TARRASCH,
    TRACE_QUEEN_MATERIAL = 37,
    TRACE_QUEEN_PST,
    TRACE_QUEEN_UNUSED,
    TRACE_QUEEN_MOBILITY,
    TRACE_KING_PST = 41,
    TRACE_ATTACKER_COUNT,
    TRACE_ATTACK_WEIGHT,
    TRACE_KING_SAFETY,
    TRACE_CELLS
};
static_assert(TRACE_CELLS == 45);

// Row 0 the side to move, row 1 the opponent. Written only by a traced evaluation (EvaluateTraced).
extern int16_t EvalTrace[2][TRACE_CELLS];

// Adds to a trace cell in a traced evaluation; compiles to nothing otherwise.
template <bool Trace>
inline void TraceAdd(int16_t* row, int cell, int value) {
    if constexpr (Trace) row[cell] = int16_t(row[cell] + value);
}

// The six column totals of one row (pawn, knight, bishop, rook, queen, king) and their sum, each a
// signed 16-bit sum. The outpost cells and the two king-safety counters are shown but not added.
struct TraceTotals {
    int16_t column[6];
    int16_t all;
};
TraceTotals TraceRowTotals(const int16_t* row);

// Prints both rows as tables, then an empty line.
void PrintEvalTrace();
