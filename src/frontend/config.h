// The engine's settings: read once from the settings file, changed later only by front-end commands.
#pragma once

#include <cstdint>

// The largest transposition table, in megabytes, that the settings and the console's "memory" accept.
constexpr int MAX_HASH_MB = 8192;

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

// Reads every key of the settings file (a missing file or key gives the defaults), replaces values outside
// their ranges by fixed fallbacks, derives the table sizes and fills the tuning fields of timeControl.
void LoadSettings(const char* Filename);
