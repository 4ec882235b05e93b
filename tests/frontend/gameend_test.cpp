#include <gtest/gtest.h>

#include <string>

#include "board/board_helpers.h"
#include "board/fen.h"
#include "frontend/gameend.h"
#include "search/search.h"

namespace {

std::string ResultLines(const char* fen, const char* moves = nullptr) {
    LoadGame(fen, moves);
    const Position* before = mainContext.current;
    const Position saved = *before;
    testing::internal::CaptureStdout();
    CheckGameEnd(mainContext);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(mainContext.current, before);
    EXPECT_EQ(mainContext.current->key, saved.key);
    return out;
}

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

}  // namespace

TEST(GameEnd, MateAndStalemate) {
    EXPECT_EQ(ResultLines(START, "f2f3 e7e5 g2g4 d8h4"), "0-1 {Black mates}\n");
    EXPECT_EQ(ResultLines("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1"), "1-0 {White mates}\n");
    EXPECT_EQ(ResultLines("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1"), "1/2-1/2 {Stalemate}\n");
    EXPECT_EQ(ResultLines("k7/8/1QK5/8/8/8/8/8 b - - 0 1"), "1/2-1/2 {Stalemate}\n");
    EXPECT_EQ(ResultLines("6rk/5Qpp/8/8/8/8/8/6K1 b - - 0 1"), "");
    EXPECT_EQ(ResultLines(START), "");
}

TEST(GameEnd, DrawLinesAreIndependent) {
    EXPECT_EQ(ResultLines("4k3/8/8/8/8/8/8/R3K3 w - - 99 80"), "");
    EXPECT_EQ(ResultLines("4k3/8/8/8/8/8/8/R3K3 w - - 100 80"), "1/2-1/2 {Draw by 50 move rule}\n");
    const char* shuffle = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";
    EXPECT_EQ(ResultLines(START, "g1f3 g8f6 f3g1 f6g8"), "");
    EXPECT_EQ(ResultLines(START, shuffle), "1/2-1/2 {Draw by repetition}\n");
    // A fourth occurrence is not announced again.
    EXPECT_EQ(ResultLines(START, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8"), "");
    EXPECT_EQ(ResultLines("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 92 1", shuffle),
              "1/2-1/2 {Draw by repetition}\n1/2-1/2 {Draw by 50 move rule}\n");
    // A draw line may come before a mate line: mate delivered with the clock past one hundred.
    EXPECT_EQ(ResultLines("6k1/5ppp/8/8/8/8/8/R5K1 w - - 120 1", "a1a8"),
              "1/2-1/2 {Draw by 50 move rule}\n1-0 {White mates}\n");
}
