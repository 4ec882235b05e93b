#include "eval/evaluate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "eval/pawns.h"
#include "eval/trace.h"
#include "eval_positions.h"
#include "testdata.h"

namespace {

int EvalFen(const std::string& fen) {
    auto thread = NewTestThread();
    EXPECT_TRUE(SetupFen(*thread, fen)) << fen;
    return Evaluate(*thread);
}

// What one side's trace row says that side scored: the column totals plus the outposts, which the
// totals leave out.
int SideFromTrace(int row) {
    return TraceRowTotals(EvalTrace[row]).all + EvalTrace[row][TRACE_KNIGHT_OUTPOST] +
           EvalTrace[row][TRACE_BISHOP_OUTPOST] + EvalTrace[row][TRACE_ROOK_OUTPOST];
}

}  // namespace

TEST(Evaluate, ScoresOfKnownPositions) {
    const char* start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
    EXPECT_EQ(EvalFen(start), 10);
    EXPECT_EQ(EvalFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1"), -22);
    EXPECT_EQ(EvalFen("8/8/4k3/8/8/4K3/4P3/8 w - - 0 1"), 102);
    EXPECT_EQ(EvalFen("8/8/4k3/8/8/4K3/4P3/8 b - - 0 1"), -82);
    EXPECT_EQ(EvalFen("6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1"), 560);
    // A trapped knight on a8 does not make its neighbour on c1 trapped.
    EXPECT_EQ(EvalFen("N6k/p1p5/8/8/8/8/8/K1N5 w - - 0 1"), 325);
    EXPECT_EQ(EvalFen("N6k/p1p5/8/8/8/8/8/K7 w - - 0 1"), 45);
}

// Terms whose conditions the known scores above do not reach, read from the side-to-move trace row.
TEST(Evaluate, PieceTermsInThinnedPositions) {
    auto thread = NewTestThread();
    const auto term = [&](const char* fen, int cell) {
        EXPECT_TRUE(SetupFen(*thread, fen)) << fen;
        EvaluateTraced(*thread);
        return EvalTrace[0][cell];
    };
    // Phase 5 scores king safety yet uses the endgame rook mobility (a1, f1, g1, h1: (4 - 7) * 4);
    // phase 6 uses the middlegame weight and phase 4 has no king safety.
    EXPECT_EQ(term("r3k1n1/pp6/8/8/8/8/3PPP2/1NBRK3 w - - 0 1", TRACE_KING_SAFETY), 24);
    EXPECT_EQ(EvalTrace[0][TRACE_ROOK_MOBILITY], -12);
    EXPECT_EQ(term("r3k1nn/pp6/8/8/8/8/3PPP2/1NBRK3 w - - 0 1", TRACE_ROOK_MOBILITY), -6);
    EXPECT_EQ(term("r3k3/pp6/8/8/8/8/3PPP2/1NBRK3 w - - 0 1", TRACE_KING_SAFETY), 0);

    // Outposts need five enemy pawns and no enemy pawn able to chase the piece away: d5 is safe, e5 is
    // covered by the f7 pawn.
    EXPECT_EQ(term("4k3/pp3ppp/8/3N4/4P3/8/8/4K3 w - - 0 1", TRACE_KNIGHT_OUTPOST), 30);
    EXPECT_EQ(term("4k3/pp3ppp/8/4N3/3P4/8/8/4K3 w - - 0 1", TRACE_KNIGHT_OUTPOST), 0);

    // Rooks: shut in by the king, behind or in front of their own passed pawn.
    EXPECT_EQ(term("6k1/5ppp/8/8/8/8/5PPP/6KR w - - 0 1", TRACE_ROOK_TRAPPED), -30);
    EXPECT_EQ(term("R5k1/8/8/8/P7/8/8/6K1 w - - 0 1", TRACE_TARRASCH), -25);
    EXPECT_EQ(term("6k1/8/8/8/P7/8/8/R5K1 w - - 0 1", TRACE_TARRASCH), 0);

    // Bishops: the long-diagonal bonus ignores pawns on rank 7; b2 and c1 are no pair (both dark); three
    // bishops get no colour weakness; c1 with pawns on light a2, c2, e2 and dark b2 loses 3 * (3 - 1).
    EXPECT_EQ(term("4k3/6p1/8/8/8/8/1B6/2B1K3 w - - 0 1", TRACE_OPEN_DIAGS), 15);
    EXPECT_EQ(EvalTrace[0][TRACE_BISHOP_PAIR], 0);
    EXPECT_EQ(term("4k3/6p1/8/8/3P4/8/1B6/2B1K3 w - - 0 1", TRACE_OPEN_DIAGS), 0);
    EXPECT_EQ(term("4k3/8/8/8/8/8/PP6/BBB1K3 w - - 0 1", TRACE_COLOR_WEAKNESS), 0);
    EXPECT_EQ(term("4k3/8/8/8/8/8/PPP1P3/2B1K3 w - - 0 1", TRACE_COLOR_WEAKNESS), 6);
}

// Over many varied positions: the colour-mirrored twin scores the same, the position is left as it was,
// a cached and an uncached pawn structure agree, and the trace reproduces the score.
TEST(Evaluate, MirrorCacheAndTraceAgreeOverTestPositions) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    std::ifstream in(path);
    auto plain = NewTestThread();
    auto cached = NewTestThread();
    // A tiny table makes the positions evict each other's entries.
    AllocPawnHash(*cached, 16, 0, false, 0);
    ASSERT_NE(cached->pawnHash, nullptr);
    std::string line;
    int positions = 0;
    while (std::getline(in, line)) {
        const std::string fen = line.substr(0, line.find('\t'));
        ASSERT_TRUE(SetupFen(*plain, fen)) << fen;
        const Position before = *plain->current;
        const int score = Evaluate(*plain);
        EXPECT_EQ(memcmp(&before, plain->current, sizeof(Position)), 0) << fen;

        ASSERT_TRUE(SetupFen(*plain, MirrorFen(fen)));
        EXPECT_EQ(Evaluate(*plain), score) << fen;

        SetupFen(*cached, fen);
        EXPECT_EQ(Evaluate(*cached), score) << fen;
        EXPECT_EQ(Evaluate(*cached), score) << fen;

        EXPECT_EQ(EvaluateTraced(*cached), score) << fen;
        EXPECT_EQ(int16_t(SideFromTrace(0) + 10 - SideFromTrace(1)), score) << fen;
        ++positions;
    }
    EXPECT_EQ(positions, 400);
    FreePawnHash(*cached);
}
