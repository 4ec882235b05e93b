// Helpers shared by the board tests: setting up the game position and reading the move-generation data.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "search/search.h"

// A fresh game on the main context's stack set to fen (and moves); returns the current record.
inline Position* LoadGame(const char* fen, const char* moves = nullptr) {
    mainContext.current = NewGame();
    EXPECT_EQ(1, ParseFen(mainContext, fen, moves)) << fen;
    return mainContext.current;
}
