// The positions of the move-generation benchmark (the console command "perft").
#pragma once

#include <cstdint>

struct BenchmarkRecord {
    char fen[200];
    uint32_t depth;
    uint64_t expected;
};

// The six positions of the benchmark with their published leaf counts.
extern const BenchmarkRecord BENCHMARK[6];
