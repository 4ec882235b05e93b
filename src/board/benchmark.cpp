#include "board/benchmark.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "board/fen.h"
#include "board/perft.h"
#include "board/position.h"
#include "search/search.h"

const BenchmarkRecord BENCHMARK[6] = {
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 6, 119060324},
    {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5, 193690690},
    {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 7, 178633661},
    {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 6, 706045033},
    {"rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6", 3, 53392},
    {"r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10", 5, 164075551},
};

namespace {

// Processor time of this process in milliseconds.
int64_t ProcessClockMs() { return int64_t(std::clock()) * 1000 / CLOCKS_PER_SEC; }

}  // namespace

void RunBenchmark() {
    BenchmarkRecord records[6];
    std::memcpy(records, BENCHMARK, sizeof records);

    std::printf("Running benchmark. . .\n");
    std::fflush(stdout);
    int64_t start = ProcessClockMs();

    uint64_t total = 0;
    for (const BenchmarkRecord& r : records) {
        std::fflush(stdout);
        mainContext.current = NewGame();
        ParseFen(mainContext, r.fen, nullptr);
        uint64_t n = Perft(r.depth);
        total += n;
        std::printf("Expected value:         %" PRIu64 "\n", r.expected);
        std::printf("Calculated value:       %" PRIu64 "\n\n", n);
    }

    double elapsed = double(ProcessClockMs() - start) / 1000.0;
    // A run too short for the clock to see reports no speed rather than dividing by zero.
    uint64_t rate = elapsed > 0 ? uint64_t(double(total) / elapsed) : 0;
    std::printf("\nTotal nodes:            %" PRIu64 "\n", total);
    std::printf("Raw nodes/s:            %" PRIu64 "\n", rate);
    std::printf("Total elapsed time:     %.2f s\n", elapsed);
}
