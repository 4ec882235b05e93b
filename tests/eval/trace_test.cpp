#include "eval/trace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <vector>

#include "eval/evaluate.h"
#include "frontend/console.h"
#include "eval_positions.h"

namespace {

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(EvalTrace, ZeroRecordPrintsTheDesignedLayout) {
    memset(EvalTrace, 0, sizeof(EvalTrace));
    testing::internal::CaptureStdout();
    PrintEvalTrace();
    const std::string text = testing::internal::GetCapturedStdout();
    const std::vector<std::string> lines = Lines(text);
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

TEST(EvalTrace, ScoreCommandPrintsTheFilledTableAndTheScore) {
    SetupFen(mainContext, "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    PawnHashTable* saved = mainContext.pawnHash;
    mainContext.pawnHash = nullptr;
    testing::internal::CaptureStdout();
    PrintScore();
    const std::vector<std::string> lines = Lines(testing::internal::GetCapturedStdout());
    mainContext.pawnHash = saved;
    ASSERT_EQ(lines.size(), 2u * 34u + 2u);
    EXPECT_EQ(lines.back(), "Score: -22");
    // Black's pawns are untouched (785); White's after e4 are 813.
    EXPECT_EQ(lines[5], "| Material      |   800|   600|   650|  1000|   975|     .|");
    EXPECT_EQ(TraceRowTotals(EvalTrace[0]).column[0] - EvalTrace[0][TRACE_KING_SHIELD], 785);
    EXPECT_EQ(TraceRowTotals(EvalTrace[1]).column[0] - EvalTrace[1][TRACE_KING_SHIELD], 813);
}
