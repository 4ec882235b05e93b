// The engine's settings: a plain record that every layer reads. The front end fills it (frontend/config.cpp
// reads the settings file into it, and console commands change it); nothing below the front end writes it.
#pragma once

#include <cstdint>

struct EngineSettings {
    uint8_t maxDepth;          // deepest iteration of the search
    uint8_t threadCount;       // search threads, 1..24
    uint32_t postThinking;     // print a progress line per iteration
    int32_t hashSizeMB;        // transposition table size requested
    uint64_t hashEntries;      // transposition table records (a power of two)
    int32_t pawnHashSizeMB;    // pawn hash size per thread
    uint64_t pawnHashEntries;  // pawn hash entries per thread (a power of two)
    char bookFile[100];
    uint32_t useBook;
    uint32_t randomBook;
    uint32_t useSyzygy;
    char dtzPath[256];
    char wdlPath[256];
    int32_t tbProbeLimit;  // largest piece count probed in the tablebases
};

extern EngineSettings settings;
