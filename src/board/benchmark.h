// The move-generation benchmark of the console command "perft".
#pragma once

#include <cstdint>

struct BenchmarkRecord {
    char fen[200];
    uint32_t depth;
    uint64_t expected;
};

// The six positions of the benchmark with their published leaf counts.
extern const BenchmarkRecord BENCHMARK[6];

// Runs perft over six positions with published counts and prints both counts and the speed. The game
// position is left at the last benchmark position.
void RunBenchmark();
