// Perft speed in leaves per second on the six positions of the console benchmark, at their full depths,
// plus the generators and the last-ply count on their own. A wrong count aborts the benchmark with an error.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/position.h"
#include "frontend/selftest.h"
#include "search/search.h"

namespace {

bool Load(const char* fen) {
    mainContext.current = NewGame();
    return ParseFen(mainContext, fen, nullptr) == 1;
}

void BM_Perft(benchmark::State& state) {
    const PerftRecord& p = PERFT_POSITIONS[state.range(0)];
    if (!Load(p.fen)) {
        state.SkipWithError("FEN rejected");
        return;
    }
    uint64_t leaves = 0;
    for (auto _ : state) {
        leaves = Perft(mainContext, p.depth);
        if (leaves != p.expected) {
            state.SkipWithError("wrong leaf count");
            return;
        }
    }
    state.counters["leaves/s"] = benchmark::Counter(double(leaves), benchmark::Counter::kIsIterationInvariantRate);
    state.SetLabel("depth " + std::to_string(p.depth));
}
BENCHMARK(BM_Perft)->DenseRange(0, 5)->Unit(benchmark::kMillisecond)->MinTime(0.1);

// All six in sequence, as the console's "perft" runs them.
void BM_PerftConsoleSet(benchmark::State& state) {
    uint64_t total = 0;
    for (auto _ : state) {
        total = 0;
        for (const PerftRecord& p : PERFT_POSITIONS) {
            Load(p.fen);
            uint64_t n = Perft(mainContext, p.depth);
            if (n != p.expected) {
                state.SkipWithError("wrong leaf count");
                return;
            }
            total += n;
        }
    }
    state.counters["leaves/s"] = benchmark::Counter(double(total), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_PerftConsoleSet)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_GenerateAll(benchmark::State& state) {
    Load(PERFT_POSITIONS[1].fen);
    MoveEntry list[MOVELIST_SIZE];
    for (auto _ : state) {
        MoveEntry* end = GenerateAll(*mainContext.current, list);
        benchmark::DoNotOptimize(end);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GenerateAll);

void BM_GenerateLegal(benchmark::State& state) {
    Load(PERFT_POSITIONS[1].fen);
    MoveEntry list[MOVELIST_SIZE];
    for (auto _ : state) {
        MoveEntry* end = GenerateLegal(*mainContext.current, list);
        benchmark::DoNotOptimize(end);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GenerateLegal);

void BM_PerftLastPly(benchmark::State& state) {
    Load(PERFT_POSITIONS[1].fen);
    for (auto _ : state) benchmark::DoNotOptimize(Perft(mainContext, 1));
}
BENCHMARK(BM_PerftLastPly);

}  // namespace

BENCHMARK_MAIN();
