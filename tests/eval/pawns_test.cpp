#include "eval/pawns.h"

#include "eval/trace.h"
#include "support.h"

namespace {

PawnStructure PawnsOf(const std::string& fen, int16_t* trace = nullptr) {
    Position* pos = LoadGame(fen);
    return trace ? ComputePawnStructure<true>(*pos, trace) : EvaluatePawnStructure(*pos);
}

std::unique_ptr<SearchThread> ThreadAt(const char* fen) {
    auto thread = std::make_unique<SearchThread>();
    LoadGame(fen, nullptr, *thread);
    return thread;
}

}  // namespace

TEST(PawnStructure, ScoresPassedSetAndHealthyCount) {
    PawnStructure start = PawnsOf("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(start.score, 785) << "Black's pawns in Black's view";
    EXPECT_EQ(start.healthyCount, 8);

    int16_t trace[TRACE_CELLS] = {};
    PawnStructure chain = PawnsOf("4k3/1p5p/3p4/4P3/2P5/2P5/P6P/4K3 w - - 0 1", trace);
    EXPECT_EQ(chain.score, 386);
    EXPECT_EQ(chain.passed, 0u);
    EXPECT_EQ(chain.healthyCount, 4);
    EXPECT_EQ(trace[TRACE_PAWN_MATERIAL] + trace[TRACE_PAWN_PST], 521);
    EXPECT_EQ(trace[TRACE_ISOLATED], -50);
    EXPECT_EQ(trace[TRACE_DOUBLED], -20);
    EXPECT_EQ(trace[TRACE_DISTORTION], -22);
    EXPECT_EQ(trace[TRACE_DISPERSION], -43);

    // A pawn on rank 7 is passed even with an enemy pawn straight ahead of it. No FEN is accepted with
    // a pawn on the last rank, so the enemy pawn is put on e8 by hand.
    int16_t seventh[TRACE_CELLS] = {};
    Position* pos = LoadGame("8/4P3/8/8/8/8/8/k6K w - - 0 1");
    pos->plane1 |= SquareBit(60);
    PawnStructure advanced = ComputePawnStructure<true>(*pos, seventh);
    EXPECT_EQ(advanced.passed, SquareBit(52));
    EXPECT_EQ(seventh[TRACE_PASSED], 100);

    // Two isolated pawns on one file: the rear loses 10 + 20 and is not healthy, the front loses 10.
    int16_t doubled[TRACE_CELLS] = {};
    PawnStructure pair = PawnsOf("4k3/8/8/8/4P3/8/4P3/4K3 w - - 0 1", doubled);
    EXPECT_EQ(doubled[TRACE_ISOLATED], -20);
    EXPECT_EQ(doubled[TRACE_DOUBLED], -20);
    EXPECT_EQ(pair.healthyCount, 1);

    // Backward: d2 cannot be supported (c and e pawns are further up), an enemy pawn on e4 guards d3,
    // and no enemy pawn stands ahead on the d-file.
    int16_t backward[TRACE_CELLS] = {};
    PawnsOf("4k3/8/8/8/2P1p3/4P3/3P4/4K3 w - - 0 1", backward);
    EXPECT_EQ(backward[TRACE_BACKWARD], -10);
}

// The cache's agreement with the computed structure is checked over many positions in evaluate_test.
TEST(PawnHash, KeysAndAllocation) {
    auto thread = ThreadAt("4k3/pp6/8/8/8/8/6PP/4K3 w - - 0 1");
    // The same pawns scored for the other side have another key; the pawn key is the pawn part of the
    // position key, so equal pawn placements give equal keys whatever else stands on the board.
    const uint64_t whiteKey = PawnKey(*thread->current);
    FlipPosition(*thread->current);
    EXPECT_NE(PawnKey(*thread->current), whiteKey);
    EXPECT_EQ(PawnKey(*LoadGame("4k3/pp6/8/8/3N4/8/6PP/2R1K3 w - - 0 1")), whiteKey);
    EXPECT_EQ(PawnKey(*LoadGame("4k3/8/8/8/8/8/8/4K3 b - - 0 1")), 0u);
    // Adding the pawns changes the pawn key as it changes the position key, with either side to move.
    for (const char* side : {" w", " b"}) {
        const Position withPawns = *LoadGame(std::string("4k3/pp6/8/8/8/8/6PP/4K3") + side + " - - 0 1");
        const Position without = *LoadGame(std::string("4k3/8/8/8/8/8/8/4K3") + side + " - - 0 1");
        EXPECT_EQ(PawnKey(withPawns) ^ PawnKey(without), withPawns.key ^ without.key) << side;
    }

    // A table that cannot be allocated leaves the thread computing without a cache.
    EXPECT_EQ(Printed([&] { AllocPawnHash(thread->pawnHash, uint64_t(1) << 62, 1 << 30, true, 1); }),
              "HashPawn Table Memory Allocation Failed!\n");
    EXPECT_EQ(thread->pawnHash, nullptr);
    EXPECT_EQ(CachedPawnStructure(thread->pawnHash, *thread->current).score, EvaluatePawnStructure(*thread->current).score);
}
