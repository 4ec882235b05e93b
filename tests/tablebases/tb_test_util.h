// Shared helpers of the tablebase tests: positions placed piece by piece, scratch table directories.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "board/position.h"
#include "search/search.h"
#include "tablebases/tbregistry.h"

struct PlacedPiece {
    int colour;  // 0 White, 1 Black
    int kind;
    int square;  // real square, a1 = 0
};

// Writes the placement into record 0 of the main stack (White to move unless blackToMove) and returns it.
inline Position* PlacePieces(const std::vector<PlacedPiece>& pieces, bool blackToMove, int epFile = 8,
                             int halfmoveClock = 0) {
    Position& p = mainContext.positionStack[0];
    std::memset(&p, 0, sizeof(p));
    for (const PlacedPiece& pc : pieces) {
        Bitboard b = SquareBit(pc.square);
        if (pc.kind & 1) p.plane1 |= b;
        if (pc.kind & 2) p.plane2 |= b;
        if (pc.kind & 4) p.plane4 |= b;
        if (pc.colour == 0) p.own |= b;
    }
    p.epFile = uint8_t(epFile);
    p.halfmoveClock = uint8_t(halfmoveClock);
    if (blackToMove) FlipPosition(p);
    p.key = ComputeKey(p);
    mainContext.current = &p;
    return &p;
}

std::string InitTablebasesQuietly(const std::string& directory);

// A fresh directory under the system's temporary folder, removed again by the destructor; a registry still
// pointing into it is emptied, so that no later test meets tables whose files are gone.
struct ScratchDir {
    std::filesystem::path path;
    explicit ScratchDir(const std::string& name) {
        path = std::filesystem::temp_directory_path() / ("ferrolune_tb_" + name + "_" + std::to_string(::getpid()));
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchDir() {
        const std::string inside = path.string();
        if (std::string(wdlDirectory).starts_with(inside) || std::string(dtzDirectory).starts_with(inside))
            InitTablebasesQuietly("");
        std::filesystem::remove_all(path);
    }
    // Copies a table file in, writable so that the test may damage it.
    std::filesystem::path Copy(const std::filesystem::path& from) const {
        auto to = path / from.filename();
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::permissions(to, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return to;
    }
};

// InitTablebases on one directory for both kinds, with the environment's directories out of the way;
// returns what it printed.
inline std::string InitTablebasesQuietly(const std::string& directory) {
    unsetenv("RTBWDIR");
    unsetenv("RTBZDIR");
    testing::internal::CaptureStdout();
    InitTablebases(directory.c_str(), directory.c_str());
    return testing::internal::GetCapturedStdout();
}
