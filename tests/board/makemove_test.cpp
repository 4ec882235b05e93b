#include "board/legality.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/threads.h"
#include "support.h"

namespace {

// The game position after the moves, each made through MakeUserMove.
Position* Play(const char* fen, std::initializer_list<const char*> moves) {
    LoadGame(fen);
    for (const char* text : moves)
        EXPECT_EQ(1, MakeUserMove(mainContext, TextToMove(*mainContext.current, text))) << text;
    return mainContext.current;
}

bool RightsBacked(const Position& p) {
    const auto home = [&](Bitboard side, int king, int rook) {
        return (Kings(p) & side & SquareBit(king)) && (Rooks(p) & side & SquareBit(rook));
    };
    return (!(p.castling & 0x02) || home(p.own, 4, 7)) && (!(p.castling & 0x01) || home(p.own, 4, 0)) &&
           (!(p.castling & 0x20) || home(Opponent(p), 60, 63)) && (!(p.castling & 0x10) || home(Opponent(p), 60, 56));
}

}  // namespace

TEST(MakeMove, IncrementalStateMatchesRecomputationOverRandomPlayouts) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    uint64_t seed = 0x9E3779B97F4A7C15ull;
    for (const MovegenRecord& c : ReadMovegenRecords(path)) {
        Position* pos = LoadGame(c.fen);
        for (int ply = 0; ply < 40; ++ply) {
            MoveEntry list[MOVELIST_SIZE];
            const int count = int(GenerateLegal(*pos, list) - list);
            if (count == 0) break;
            seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
            const Move m = list[seed % count].move;
            const uint64_t nodes = nodeCount;
            Position* next = MakeMove(pos, m);
            ASSERT_EQ(next, pos + 1);
            EXPECT_EQ(nodeCount, nodes + 1);
            ASSERT_EQ(next->key, ComputeKey(*next)) << c.fen << " ply " << ply;
            EXPECT_TRUE(RightsBacked(*next)) << c.fen << " ply " << ply;
            const bool irreversible = (MoveType(m) & 8) || (MoveType(m) & 7) == PAWN;
            EXPECT_EQ(next->halfmoveClock, irreversible ? 0 : uint8_t(pos->halfmoveClock + 1));
            Position mover = *next;  // a legal move never leaves the mover's king attacked
            FlipPosition(mover);
            EXPECT_EQ(Checkers(mover), 0u);
            if (ply % 7 == 3 && !Checkers(*next)) {
                Position* null = MakeNullMove(next);
                EXPECT_EQ(null->key, ComputeKey(*null));
                EXPECT_EQ(null->side, pos->side);
            }
            pos = next;
        }
    }
}

TEST(MakeMove, SpecialMovesRightsClockAndUnknownTypes) {
    // Capturing the rook on a8 or h8 takes the opponent's right on that side.
    const char* const cases[][3] = {
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "a1a8", "R3k2r/8/8/8/8/8/8/4K2R b Kk - "},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "h1h8", "r3k2R/8/8/8/8/8/8/R3K3 b Qq - "},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 3 1", "e1g1", "r3k2r/8/8/8/8/8/8/R4RK1 b kq - "},
        {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8c8", "2kr3r/8/8/8/8/8/8/R3K2R w KQ - "},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", "4k3/8/3P4/8/8/8/8/4K3 b - - "},
        {"1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7b8n", "1N2k3/8/8/8/8/8/8/4K3 b - - "},
        {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1r", "4k3/8/8/8/8/8/8/r3K3 w - - "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FenOf(*Play(c[0], {c[1]})), c[2]);
        EXPECT_EQ(mainContext.current->key, ComputeKey(*mainContext.current));
    }
    EXPECT_EQ(Play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 3 1", {"e1g1"})->halfmoveClock, 4);

    Position* pos = LoadGame("4k3/8/8/8/8/8/8/R3K3 w - - 255 1");
    EXPECT_EQ(MakeMove(pos, TextToMove(*pos, "a1a2"))->halfmoveClock, 0);  // the 8-bit clock wraps
    for (int type : {0, 7, 8, 15, 16, 30, 46, 255}) {
        Position* copy = MakeMove(pos, MakeMoveCode(type, 4, 12));
        EXPECT_EQ(copy->side, pos->side) << type;
        EXPECT_EQ(copy->key, pos->key) << type;
        EXPECT_EQ(copy->own, pos->own) << type;
    }
}

TEST(MakeMove, RepetitionScanStaysInTheReversibleStretch) {
    EXPECT_EQ(Play(START, {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "f3g1", "f6g8"})->repetitions, 2);
    // A FEN read onto the stack starts a new stretch: the older records do not count.
    Play(START, {"g1f3", "g8f6", "f3g1", "f6g8"});
    ASSERT_EQ(1, ParseFen(mainContext, START, nullptr));
    for (const char* text : {"g1f3", "g8f6"}) MakeUserMove(mainContext, TextToMove(*mainContext.current, text));
    EXPECT_EQ(mainContext.current->repetitions, 0);
    // Nor is anything below record 0 read when the FEN's clock reaches further back.
    Position* pos = Play("4k3/8/8/8/8/8/8/R3K3 w - - 90 60", {"a1a2", "e8d8", "a2a1", "d8e8"});
    EXPECT_EQ(pos->repetitions, 1);
    pos = threadContexts[0].positionStack.Records();  // the same on a thread context's stack
    *pos = mainContext.positionStack[0];
    for (const char* text : {"a1a2", "e8d8", "a2a1", "d8e8"}) pos = MakeMove(pos, TextToMove(*pos, text));
    EXPECT_EQ(pos->repetitions, 1);
}

TEST(MakeMove, ChecksPinsAndUserMoves) {
    EXPECT_EQ(Checkers(*LoadGame("4k3/8/8/8/8/8/3p1n2/4K3 w - - 0 1")), SquareBit(11));  // pawn, king on rank 1
    const struct {
        const char* fen;
        const char* move;
        bool legal;
    } cases[] = {
        {"4r1k1/8/8/8/8/8/4B3/4K3 w - - 0 1", "e2d3", false},  // pinned
        {"4r1k1/8/8/8/8/8/8/4K3 w - - 0 1", "e1e2", false},    // staying on the checking line
        {"6k1/8/8/8/8/2b5/3q4/4K3 w - - 0 1", "e1d2", false},
        {"8/8/8/K2pP2r/8/8/8/7k w - d6 0 1", "e5d6", false},  // en passant opens the fifth rank
        {"8/8/8/3pP3/4K3/8/8/7k w - d6 0 1", "e5d6", true},  // and removes a checking pawn
    };
    for (const auto& c : cases) {
        Position* pos = LoadGame(c.fen);
        EXPECT_EQ(IsLegal(*pos, TextToMove(*pos, c.move)), c.legal) << c.fen << " " << c.move;
        EXPECT_EQ(MakeUserMove(mainContext, TextToMove(*pos, c.move)), c.legal ? 1 : 0);
    }
    Position* pos = LoadGame("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(0, MakeUserMove(mainContext, TextToMove(*pos, "a7a8")));  // no promotion piece: not generated
    EXPECT_EQ(mainContext.current, pos);

    // Shuffling kings goes on past the stack's size, short of the records kept free for the search, and
    // the history kept still counts the repetitions since the 8-bit clock last wrapped (at move 768).
    const uint64_t key = LoadGame("k7/8/8/8/8/8/8/K7 w - - 0 1")->key;
    const char* cycle[4] = {"a1a2", "a8b8", "a2a1", "b8a8"};
    for (int made = 0; made < 1000; ++made)
        ASSERT_EQ(1, MakeUserMove(mainContext, TextToMove(*mainContext.current, cycle[made % 4]))) << made;
    EXPECT_LT(mainContext.current - mainContext.positionStack.Records(), GAME_STACK_LIMIT);
    EXPECT_EQ(mainContext.current->key, key);
    EXPECT_EQ(mainContext.current->repetitions, (1000 - 768) / 4);
}

// The move loops' shortcut agrees with the full legality test on every generated move of the test
// positions and of the positions one move later, in check or not.
TEST(NodeLegality, AgreesWithTheFullTest) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    std::ifstream in(path);
    int moves = 0, illegal = 0;
    const auto compare = [&](const Position& pos, const std::string& fen) {
        const NodeLegality isLegal(pos, Checkers(pos) != 0);
        MoveEntry list[MOVELIST_SIZE];
        for (MoveEntry *e = list, *end = GenerateAll(pos, list); e < end; ++e, ++moves) {
            illegal += !IsLegal(pos, e->move);
            ASSERT_EQ(isLegal(e->move), IsLegal(pos, e->move)) << fen << " move " << std::hex << e->move;
        }
    };
    // En passant that opens the a1-h8 diagonal by taking the pawn off e5, the pawn on f5 being off it.
    std::vector<std::string> fens = {"7b/8/8/4pP2/8/7k/8/K7 w - e6 0 1"};
    for (std::string line; std::getline(in, line);) fens.push_back(line.substr(0, line.find('\t')));
    for (const std::string& fen : fens) {
        Position* pos = LoadGame(fen);
        compare(*pos, fen);
        MoveEntry list[MOVELIST_SIZE];
        for (MoveEntry *e = list, *end = GenerateLegal(*pos, list); e < end; ++e)
            compare(*MakeMove(pos, e->move), fen + " after " + std::to_string(e->move));
    }
    EXPECT_GT(moves, 200000);
    EXPECT_GT(illegal, 1000);
}
