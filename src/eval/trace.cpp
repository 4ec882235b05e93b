#include "eval/trace.h"

#include <cstdio>

int16_t EvalTrace[2][TRACE_CELLS];

namespace {

// Cells summed into each column's total, -1 ending a short list.
constexpr int TOTAL_CELLS[6][12] = {
    {TRACE_PAWN_MATERIAL, TRACE_PAWN_PST, TRACE_ISOLATED, TRACE_PASSED, TRACE_DOUBLED, TRACE_BACKWARD,
     TRACE_DISPERSION, TRACE_DISTORTION, TRACE_PAWN_ENDING, TRACE_KING_SUPPORT, TRACE_ENEMY_KING_TROP, TRACE_KING_SHIELD},
    {TRACE_KNIGHT_MATERIAL, TRACE_KNIGHT_PST, TRACE_KNIGHT_TRAPPED, TRACE_KNIGHT_ADJUSTMENT,
     TRACE_KNIGHT_MOBILITY, -1},
    {TRACE_BISHOP_MATERIAL, TRACE_BISHOP_PST, TRACE_BISHOP_TRAPPED, TRACE_BISHOP_MOBILITY, TRACE_OPEN_DIAGS,
     TRACE_COLOR_WEAKNESS, TRACE_BISHOP_PAIR, -1},
    {TRACE_ROOK_MATERIAL, TRACE_ROOK_PST, TRACE_ROOK_TRAPPED, TRACE_ROOK_ADJUSTMENT, TRACE_ROOK_MOBILITY,
     TRACE_OPEN_FILE, TRACE_SEMIOPEN_FILE, TRACE_SEVENTH_RANK, TRACE_TARRASCH, -1},
    {TRACE_QUEEN_MATERIAL, TRACE_QUEEN_PST, TRACE_QUEEN_MOBILITY, -1},
    {TRACE_KING_PST, TRACE_KING_SAFETY, -1},
};

const char* const SEPARATOR_59 = "-----------------------------------------------------------\n";
const char* const SEPARATOR_66 = "------------------------------------------------------------------\n";

void PrintSection(const char* title, const int16_t* c) {
    const char* d = ".";
    printf("%s\n", title);
    fputs(SEPARATOR_59, stdout);
    printf("| Piece         |%6s|%6s|%6s|%6s|%6s|%6s|\n", "Pawn", "Knight", "Bishop", "Rook", "Queen", "King");
    fputs(SEPARATOR_59, stdout);
    printf("| Material      |%6i|%6i|%6i|%6i|%6i|%6s|\n", c[TRACE_PAWN_MATERIAL], c[TRACE_KNIGHT_MATERIAL],
           c[TRACE_BISHOP_MATERIAL], c[TRACE_ROOK_MATERIAL], c[TRACE_QUEEN_MATERIAL], d);
    printf("| PST           |%6i|%6i|%6i|%6i|%6i|%6i|\n", c[TRACE_PAWN_PST], c[TRACE_KNIGHT_PST], c[TRACE_BISHOP_PST],
           c[TRACE_ROOK_PST], c[TRACE_QUEEN_PST], c[TRACE_KING_PST]);
    printf("| Mobility      |%6s|%6i|%6i|%6i|%6i|%6s|\n", d, c[TRACE_KNIGHT_MOBILITY], c[TRACE_BISHOP_MOBILITY],
           c[TRACE_ROOK_MOBILITY], c[TRACE_QUEEN_MOBILITY], d);
    printf("| Passed        |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_PASSED], d, d, d, d, d);
    printf("| Isolated      |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_ISOLATED], d, d, d, d, d);
    printf("| Doubled       |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_DOUBLED], d, d, d, d, d);
    printf("| Backward      |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_BACKWARD], d, d, d, d, d);
    printf("| Dispersion    |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_DISPERSION], d, d, d, d, d);
    printf("| Distortion    |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_DISTORTION], d, d, d, d, d);
    printf("| pawnEnding    |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_PAWN_ENDING], d, d, d, d, d);
    printf("| kingSupport   |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_KING_SUPPORT], d, d, d, d, d);
    printf("| EnemyKingTrop |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_ENEMY_KING_TROP], d, d, d, d, d);
    printf("| Trapped       |%6s|%6i|%6i|%6i|%6s|%6s|\n", d, c[TRACE_KNIGHT_TRAPPED], c[TRACE_BISHOP_TRAPPED],
           c[TRACE_ROOK_TRAPPED], d, d);
    printf("| Adjustment    |%6s|%6i|%6s|%6i|%6s|%6s|\n", d, c[TRACE_KNIGHT_ADJUSTMENT], d,
           c[TRACE_ROOK_ADJUSTMENT], d, d);
    printf("| Outpost       |%6s|%6i|%6i|%6i|%6s|%6s|\n", d, c[TRACE_KNIGHT_OUTPOST], c[TRACE_BISHOP_OUTPOST],
           c[TRACE_ROOK_OUTPOST], d, d);
    printf("| openDiags     |%6s|%6s|%6i|%6s|%6s|%6s|\n", d, d, c[TRACE_OPEN_DIAGS], d, d, d);
    printf("| colorWeakness |%6s|%6s|%6i|%6s|%6s|%6s|\n", d, d, c[TRACE_COLOR_WEAKNESS], d, d, d);
    printf("| bishopPair    |%6s|%6s|%6i|%6s|%6s|%6s|\n", d, d, c[TRACE_BISHOP_PAIR], d, d, d);
    printf("| openFile      |%6s|%6s|%6s|%6i|%6s|%6s|\n", d, d, d, c[TRACE_OPEN_FILE], d, d);
    printf("| semiopenFile  |%6s|%6s|%6s|%6i|%6s|%6s|\n", d, d, d, c[TRACE_SEMIOPEN_FILE], d, d);
    printf("| 7th rank      |%6s|%6s|%6s|%6i|%6s|%6s|\n", d, d, d, c[TRACE_SEVENTH_RANK], d, d);
    printf("| Tarrash Rule  |%6s|%6s|%6s|%6i|%6s|%6s|\n", d, d, d, c[TRACE_TARRASCH], d, d);
    printf("| KingShield    |%6i|%6s|%6s|%6s|%6s|%6s|\n", c[TRACE_KING_SHIELD], d, d, d, d, d);
    printf("| KS AttCount   |%6s|%6s|%6s|%6s|%6s|%6s|%6i\n", d, d, d, d, d, d, c[TRACE_ATTACKER_COUNT]);
    printf("| KS AttWeight  |%6s|%6s|%6s|%6s|%6s|%6s|%6i|\n", d, d, d, d, d, d, c[TRACE_ATTACK_WEIGHT]);
    printf("| King Safety   |%6s|%6s|%6s|%6s|%6s|%6i|\n", d, d, d, d, d, c[TRACE_KING_SAFETY]);
    TraceTotals t = TraceRowTotals(c);
    fputs(SEPARATOR_66, stdout);
    printf("| Total         |%6i|%6i|%6i|%6i|%6i|%6i|%6i|\n", t.column[0], t.column[1], t.column[2], t.column[3],
           t.column[4], t.column[5], t.all);
    fputs(SEPARATOR_66, stdout);
}

}  // namespace

TraceTotals TraceRowTotals(const int16_t* row) {
    TraceTotals t{};
    for (int col = 0; col < 6; ++col) {
        for (int cell : TOTAL_CELLS[col]) {
            if (cell < 0) break;
            t.column[col] = int16_t(t.column[col] + row[cell]);
        }
        t.all = int16_t(t.all + t.column[col]);
    }
    return t;
}

void PrintEvalTrace() {
    PrintSection("\nSide to move", EvalTrace[0]);
    PrintSection("\nOpponent", EvalTrace[1]);
    printf("\n");
    fflush(stdout);
}
