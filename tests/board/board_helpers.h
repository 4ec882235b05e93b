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

struct MovegenCase {
    std::string fen;
    std::vector<std::string> moves;  // legal moves, sorted
};

inline std::vector<MovegenCase> ReadMovegenCases(const std::filesystem::path& path) {
    std::vector<MovegenCase> cases;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream ss(line);
        std::string field;
        while (std::getline(ss, field, '\t')) fields.push_back(field);
        if (fields.size() < 3) continue;
        MovegenCase c{fields[0], {}};
        std::stringstream ms(fields[2]);
        std::string move;
        while (ms >> move) c.moves.push_back(move);
        cases.push_back(c);
    }
    return cases;
}
