#include "eval/evaluate.h"

#include <cctype>

#include "eval/pawns.h"
#include "eval/trace.h"
#include "support.h"

namespace {

// A context of the tests' own, without a pawn table.
SearchThread& Plain() {
    static const auto thread = std::make_unique<SearchThread>();
    return *thread;
}

int EvalFen(const std::string& fen) {
    LoadGame(fen, nullptr, Plain());
    return Evaluate(*Plain().current, nullptr);
}

// The same game with the colours exchanged: ranks mirrored, piece colours and the side to move swapped.
std::string MirrorFen(const std::string& fen) {
    std::istringstream in(fen);
    std::string placement, side, castling = "-", ep = "-", rest, ranks[8], mirrored;
    in >> placement >> side >> castling >> ep;
    std::getline(in, rest);
    int r = 0;
    for (char c : placement) c == '/' ? void(++r) : void(ranks[r] += char(isupper(c) ? tolower(c) : toupper(c)));
    for (int i = 7; i >= 0; --i) mirrored += ranks[i] + (i ? "/" : "");
    for (char& c : castling) c = char(isupper(c) ? tolower(c) : toupper(c));
    if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
    return mirrored + (side == "w" ? " b " : " w ") + castling + " " + ep + rest;
}

// What one side's trace row says that side scored: the column totals plus the outposts, which the
// totals leave out.
int SideFromTrace(int row) {
    return TraceRowTotals(EvalTrace[row]).all + EvalTrace[row][TRACE_KNIGHT_OUTPOST] +
           EvalTrace[row][TRACE_BISHOP_OUTPOST] + EvalTrace[row][TRACE_ROOK_OUTPOST];
}

TEST(Evaluate, ScoresOfKnownPositions) {
    EXPECT_EQ(EvalFen(START), 10);
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
    const auto term = [&](const char* fen, int cell) {
        LoadGame(fen, nullptr, Plain());
        EvaluateTraced(*Plain().current);
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
    auto cached = std::make_unique<SearchThread>();
    AllocPawnHash(cached->pawnHash, 16, 0, false, 0);  // a tiny table: the positions evict each other's entries
    ASSERT_NE(cached->pawnHash, nullptr);
    for (const MovegenRecord& c : ReadMovegenRecords(path)) {
        const Position before = *LoadGame(c.fen, nullptr, Plain());
        const int score = Evaluate(*Plain().current, nullptr);
        EXPECT_EQ(memcmp(&before, Plain().current, sizeof(Position)), 0) << c.fen;
        EXPECT_EQ(EvalFen(MirrorFen(c.fen)), score) << c.fen;
        LoadGame(c.fen, nullptr, *cached);
        EXPECT_EQ(Evaluate(*cached->current, cached->pawnHash), score) << c.fen;
        EXPECT_EQ(Evaluate(*cached->current, cached->pawnHash), score) << c.fen;
        EXPECT_EQ(EvaluateTraced(*cached->current), score) << c.fen;
        EXPECT_EQ(int16_t(SideFromTrace(0) + 10 - SideFromTrace(1)), score) << c.fen;
    }
    FreePawnHash(cached->pawnHash);
}

// The console's "score" prints this table filled in (its transcript checks that); here, the layout.
TEST(EvalTrace, ZeroRecordPrintsTheDesignedLayout) {
    memset(EvalTrace, 0, sizeof(EvalTrace));
    const std::string text = Printed(PrintEvalTrace);
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    // Per section: blank, title, 3 header lines, 26 term rows, 3 total lines; then one empty line.
    ASSERT_EQ(lines.size(), 2u * 34u + 1u);
    EXPECT_EQ(lines[1], "Side to move");
    EXPECT_EQ(lines[2], std::string(59, '-'));
    EXPECT_EQ(lines[3], "| Piece         |  Pawn|Knight|Bishop|  Rook| Queen|  King|");
    EXPECT_EQ(lines[28], "| KS AttCount   |     .|     .|     .|     .|     .|     .|     0");
    EXPECT_EQ(lines[29], "| KS AttWeight  |     .|     .|     .|     .|     .|     .|     0|");
    EXPECT_EQ(lines[31], std::string(66, '-'));
    EXPECT_EQ(lines[32], "| Total         |     0|     0|     0|     0|     0|     0|     0|");
    EXPECT_EQ(lines[35], "Opponent");
    EXPECT_EQ(text.substr(text.size() - 3), "-\n\n");
}

}  // namespace
