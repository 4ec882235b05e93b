#include "eval/evaluate.h"
#include "search/ordering.h"
#include "search/quiesce.h"
#include "search/search.h"
#include "search/tt.h"
#include "settings/settings.h"
#include "support.h"

namespace {

const char* const BACK_RANK = "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1";

class SearchTest : public testing::Test {
protected:
    // A context of the tests' own, without a pawn table, so that no search of the engine's shares it.
    static SearchThread& Thread() {
        static const auto thread = std::make_unique<SearchThread>();
        return *thread;
    }
    void SetUp() override {
        settings.useSyzygy = 0;
        SearchThread& t = Thread();
        ClearKillers(t);
        ClearHistory(t);
        t.selDepth = 0;
    }
    static SearchThread& Load(const char* fen) {
        LoadGame(fen, nullptr, Thread());
        return Thread();
    }
    // Iterative deepening at ply 0, full window; the score of the last depth and the first move of its line.
    static int Deepen(const char* fen, int depth, Move& best) {
        SearchThread& t = Load(fen);
        int score = 0;
        for (int d = 1; d <= depth; ++d) {
            PvLine pv{};
            score = AlphaBeta(t, int16_t(d), 0, -30000, 30000, 0, pv);
            best = pv.moves[0];
        }
        EXPECT_EQ(t.current, &t.positionStack[0]) << "the search steps back to its node";
        return score;
    }
};

TEST_F(SearchTest, MatesAreFoundWithTheirDistance) {
    Move best = 0;
    EXPECT_EQ(Deepen(BACK_RANK, 3, best), 19999);
    EXPECT_EQ(best, TextToMove(*Thread().current, "a1a8"));
    // Mate in six (no mate in five exists), at a depth where the mating line fits under the reductions.
    EXPECT_EQ(Deepen("8/RP6/2k5/8/8/6P1/7P/7K w - - 1 62", 12, best), 19989);
    EXPECT_EQ(best, TextToMove(*Thread().current, "b7b8q"));
}

TEST_F(SearchTest, MateStalemateAndDrawRules) {
    PvLine pv{};
    SearchThread& t = Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
    EXPECT_EQ(AlphaBeta(t, 1, 3, -30000, 30000, 0, pv), -19997);
    Load("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(AlphaBeta(t, 1, 3, -30000, 30000, 0, pv), 0);

    // A checkmate on the hundredth halfmove still counts; without check the fifty-move rule draws.
    Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 80");
    EXPECT_EQ(AlphaBeta(t, 1, 1, -30000, 30000, 0, pv), -19999);
    Load("6k1/5ppp/8/8/8/8/8/R5K1 w - - 100 80");
    EXPECT_EQ(AlphaBeta(t, 3, 1, -30000, 30000, 0, pv), 0);

    // A placement seen twice before is a draw at once, even with a mate on the board.
    Load(BACK_RANK);
    t.current->repetitions = 2;
    const uint64_t nodes = nodeCount;
    EXPECT_EQ(AlphaBeta(t, 3, 1, -30000, 30000, 0, pv), 0);
    EXPECT_EQ(nodeCount, nodes);
}

TEST_F(SearchTest, TableRecordsCutAndAreWritten) {
    PvLine pv{};
    SearchThread& t = Load("6k1/5ppp/8/8/8/8/q7/R5K1 w - - 0 1");
    const Position& pos = *t.current;

    // An upper bound at or below alpha ends the node; an exact record of sufficient depth does not.
    StoreHash(pos, 5, 1, BoundUpper, -50, 0);
    uint64_t nodes = nodeCount;
    EXPECT_EQ(AlphaBeta(t, 3, 1, -40, -39, 0, pv), -50);
    EXPECT_EQ(nodeCount, nodes);
    ClearHashTable();
    StoreHash(pos, 5, 1, BoundExact, -50, 0);
    EXPECT_GT(AlphaBeta(t, 3, 1, -100, 100, 0, pv), -50);
    EXPECT_GT(nodeCount, nodes);

    // A quiet cutoff becomes a killer and is stored as a lower bound with its move.
    Load(BACK_RANK);
    ClearHashTable();
    const Move mate = TextToMove(*t.current, "a1a8");
    EXPECT_EQ(AlphaBeta(t, 2, 1, -100, 100, 0, pv), 19998);
    EXPECT_EQ(t.killers[1][0], mate);
    uint64_t data = 0;
    EXPECT_EQ(ProbeHash(*t.current, data, 2, 1, -100, 100), 19998);
    EXPECT_EQ(HashFlags(data), BoundLower);
    EXPECT_EQ(HashBest(data), mate);
}

TEST_F(SearchTest, StopFlagsUnwindWithoutStores) {
    PvLine pv{};
    SearchThread& t = Load(BACK_RANK);
    searchStop = 1;
    EXPECT_EQ(AlphaBeta(t, 4, 1, -123, 456, 0, pv), -123);
    EXPECT_EQ(iterationAbort, 1u);
    searchStop = 0;
    EXPECT_EQ(AlphaBeta(t, 4, 1, -123, 456, 0, pv), -123);
    uint64_t data;
    EXPECT_EQ(ProbeHash(*t.current, data, 0, 1, -30000, 30000), HashMiss);
}

TEST_F(SearchTest, QuiescenceCapturesChecksAndMates) {
    SearchThread& t = Load("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
    const int quiet = Evaluate(*t.current, t.pawnHash);
    EXPECT_EQ(Quiesce(t, 0, 1, -30000, 30000, 0), quiet);
    EXPECT_EQ(Quiesce(t, 0, 1, int16_t(quiet + 5), int16_t(quiet + 10), 0), quiet + 5);

    // A queen taking a defended pawn is not searched; taking an undefended one is.
    Load("4k3/8/2p5/3p4/8/8/8/3QK3 w - - 0 1");
    const int defended = Evaluate(*t.current, t.pawnHash);
    EXPECT_EQ(Quiesce(t, -2, 1, -30000, 30000, 0), defended);
    Load("4k3/8/8/3p4/8/8/8/3QK3 w - - 0 1");
    const int undefended = Evaluate(*t.current, t.pawnHash);
    EXPECT_GT(Quiesce(t, -2, 1, -30000, 30000, 0), undefended + 50);

    // Quiet checks only at the first two levels: a mate by a quiet check is seen at qdepth 0, not at -2.
    Load(BACK_RANK);
    EXPECT_EQ(Quiesce(t, 0, 1, -30000, 30000, 0), 19998);
    EXPECT_LT(Quiesce(t, -2, 1, -30000, 30000, 0), 19000);
}

TEST_F(SearchTest, TablebaseScoresInTheTree) {
    REQUIRE_SHARED_FILE(wdl, "syzygy/KRvK.rtbw");
    LoadTables(wdl.parent_path().string());
    settings.useSyzygy = 1;
    PvLine pv{};
    // Probed only after a zeroing move and within the piece limit.
    SearchThread& t = Load("8/8/4k3/8/8/8/8/R3K3 b - - 0 1");
    EXPECT_EQ(AlphaBeta(t, 3, 1, -30000, 30000, 5, pv), -15000);
    uint64_t data = 0;
    EXPECT_EQ(ProbeHash(*t.current, data, 3, 1, -30000, 30000), -15000);
    Load("8/8/4k3/8/8/8/8/R3K3 b - - 1 1");
    EXPECT_GT(AlphaBeta(t, 3, 1, -30000, 30000, 5, pv), -15000);
    Load("8/8/4k3/8/8/8/8/R3K3 b - - 0 1");
    ClearHashTable();
    EXPECT_GT(AlphaBeta(t, 3, 1, -30000, 30000, 2, pv), -15000);
}

}  // namespace
