// Perft speed in leaves per second on the six positions of the console benchmark, at their full depths,
// plus the generators and the last-ply count on their own. A wrong count aborts the benchmark with an error.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/position.h"
#include "search/search.h"

namespace {

struct PerftPosition {
    const char* fen;
    uint32_t depth;
    uint64_t leaves;
};

constexpr PerftPosition POSITIONS[6] = {
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 6, 119060324},
    {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5, 193690690},
    {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 7, 178633661},
    {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 6, 706045033},
    {"rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6", 3, 53392},
    {"r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10", 5, 164075551},
};

bool Load(const char* fen) {
    mainContext.current = NewGame();
    return ParseFen(mainContext, fen, nullptr) == 1;
}

void BM_Perft(benchmark::State& state) {
    const PerftPosition& p = POSITIONS[state.range(0)];
    if (!Load(p.fen)) {
        state.SkipWithError("FEN rejected");
        return;
    }
    uint64_t leaves = 0;
    for (auto _ : state) {
        leaves = Perft(p.depth);
        if (leaves != p.leaves) {
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
        for (const PerftPosition& p : POSITIONS) {
            Load(p.fen);
            uint64_t n = Perft(p.depth);
            if (n != p.leaves) {
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
    Load(POSITIONS[1].fen);
    MoveEntry list[MOVELIST_SIZE];
    for (auto _ : state) {
        MoveEntry* end = GenerateAll(*mainContext.current, list);
        benchmark::DoNotOptimize(end);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GenerateAll);

void BM_GenerateLegal(benchmark::State& state) {
    Load(POSITIONS[1].fen);
    MoveEntry list[MOVELIST_SIZE];
    for (auto _ : state) {
        MoveEntry* end = GenerateLegal(*mainContext.current, list);
        benchmark::DoNotOptimize(end);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GenerateLegal);

void BM_PerftLastPly(benchmark::State& state) {
    Load(POSITIONS[1].fen);
    for (auto _ : state) benchmark::DoNotOptimize(Perft(1));
}
BENCHMARK(BM_PerftLastPly);

}  // namespace

BENCHMARK_MAIN();
