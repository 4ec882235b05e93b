#include <gtest/gtest.h>

#include <string>

#include "board/board_helpers.h"
#include "frontend/gameend.h"
#include "search/search.h"

namespace {

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const char* SHUFFLE = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";

std::string ResultLines(const char* fen, const char* moves = nullptr) {
    const Position* pos = LoadGame(fen, moves);
    const Position saved = *pos;
    testing::internal::CaptureStdout();
    CheckGameEnd(mainContext);
    EXPECT_TRUE(mainContext.current == pos && pos->key == saved.key);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(GameEnd, ResultLines) {
    EXPECT_EQ(ResultLines(START, "f2f3 e7e5 g2g4 d8h4"), "0-1 {Black mates}\n");
    EXPECT_EQ(ResultLines("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1"), "1/2-1/2 {Stalemate}\n");
    EXPECT_EQ(ResultLines("6rk/5Qpp/8/8/8/8/8/6K1 b - - 0 1"), "");
    EXPECT_EQ(ResultLines("4k3/8/8/8/8/8/8/R3K3 w - - 99 80"), "");
    EXPECT_EQ(ResultLines("4k3/8/8/8/8/8/8/R3K3 w - - 100 80"), "1/2-1/2 {Draw by 50 move rule}\n");
    EXPECT_EQ(ResultLines(START, SHUFFLE), "1/2-1/2 {Draw by repetition}\n");
    EXPECT_EQ(ResultLines(START, (std::string(SHUFFLE) + " g1f3 g8f6 f3g1 f6g8").c_str()), "");  // fourth time
    // The three findings are independent of each other.
    EXPECT_EQ(ResultLines("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 92 1", SHUFFLE),
              "1/2-1/2 {Draw by repetition}\n1/2-1/2 {Draw by 50 move rule}\n");
    EXPECT_EQ(ResultLines("6k1/5ppp/8/8/8/8/8/R5K1 w - - 120 1", "a1a8"),
              "1/2-1/2 {Draw by 50 move rule}\n1-0 {White mates}\n");
}
