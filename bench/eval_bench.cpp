// Evaluations per second over a fixed set of positions, with the pawn hash warm and without one.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "eval/evaluate.h"
#include "eval/pawns.h"
#include "search/search.h"

namespace {

const char* const POSITIONS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP2BPPP/R2QKB1R w KQ - 0 8",
    "r2q1rk1/1b1nbppp/pp1ppn2/8/2PNP3/1PN1BP2/P2QB1PP/R4RK1 b - - 0 12",
    "2rq1rk1/pp1bppbp/3p1np1/4n3/3NP3/1BN1BP2/PPPQ2PP/2KR3R w - - 0 13",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1",
    "8/5k2/8/8/8/8/4KPP1/8 w - - 0 1",
    "4rrk1/pp3ppp/2p5/3pq3/3Q4/2P1R3/PP3PPP/4R1K1 b - - 3 22",
    "8/8/1p1k4/p1p3p1/P1P3P1/1P1K4/8/8 w - - 0 40",
    "r1b2rk1/2q1bppp/p2ppn2/1p6/3BPP2/2N2B2/PPPQ2PP/R4R1K b - - 3 14",
    "3r2k1/p4ppp/1p6/2p5/2P5/1P3N2/P4PPP/6K1 w - - 0 30",
};

std::vector<Position> LoadPositions() {
    auto context = std::make_unique<SearchThread>();
    std::vector<Position> positions;
    for (const char* fen : POSITIONS) {
        context->current = &context->positionStack[0];
        if (ParseFen(*context, fen, nullptr)) positions.push_back(*context->current);
    }
    return positions;
}

void RunEvaluations(benchmark::State& state, bool withPawnHash) {
    static const std::vector<Position> positions = LoadPositions();
    auto thread = std::make_unique<SearchThread>();
    thread->current = &thread->positionStack[0];
    if (withPawnHash) AllocPawnHash(thread->pawnHash, uint64_t(1) << 16, 2, false, 1);
    size_t next = 0;
    for (auto _ : state) {
        *thread->current = positions[next];
        benchmark::DoNotOptimize(Evaluate(*thread->current, thread->pawnHash));
        if (++next == positions.size()) next = 0;
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
    FreePawnHash(thread->pawnHash);
}

void BM_EvaluatePawnHash(benchmark::State& state) { RunEvaluations(state, true); }
void BM_EvaluateNoPawnHash(benchmark::State& state) { RunEvaluations(state, false); }

}  // namespace

BENCHMARK(BM_EvaluatePawnHash);
BENCHMARK(BM_EvaluateNoPawnHash);

BENCHMARK_MAIN();
