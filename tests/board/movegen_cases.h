// Reader for the shared move-generation reference file and small position helpers for the board tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/board_helpers.h"

struct MovegenRecord {
    std::string fen;
    int legalCount;
    std::string legalMoves;  // sorted coordinate moves separated by single spaces
    uint64_t standard2, standard3;
    uint64_t perft2, perft3;  // a stalemate before the last ply counts 1
};

inline std::vector<MovegenRecord> ReadMovegenRecords(const std::filesystem::path& file) {
    std::vector<MovegenRecord> cases;
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) fields.push_back(field);
        if (fields.size() != 7) continue;
        cases.push_back({fields[0], std::stoi(fields[1]), fields[2], std::stoull(fields[3]), std::stoull(fields[4]),
                         std::stoull(fields[5]), std::stoull(fields[6])});
    }
    return cases;
}

inline std::vector<std::string> SplitMoves(const std::string& moves) {
    std::vector<std::string> list;
    std::stringstream split(moves);
    for (std::string move; split >> move;) list.push_back(move);
    return list;
}

// Fresh game stack holding the position; returns the record at current.
inline Position& LoadFen(const std::string& fen) { return *LoadGame(fen.c_str()); }

inline std::string MoveText(const Position& pos, Move m) {
    char text[MOVE_TEXT_SIZE];
    MoveToText(text, m, pos.side);
    return text;
}

inline std::vector<std::string> MoveTexts(const Position& pos, const MoveEntry* begin, const MoveEntry* end) {
    std::vector<std::string> texts;
    for (const MoveEntry* e = begin; e < end; ++e) texts.push_back(MoveText(pos, e->move));
    return texts;
}
