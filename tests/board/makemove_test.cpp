#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "board/attacks.h"
#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/board_helpers.h"
#include "search/search.h"
#include "testdata.h"

namespace {

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// The game position after playing the given moves one by one through MakeUserMove.
Position* Play(const char* fen, std::initializer_list<const char*> moves) {
    LoadGame(fen);
    for (const char* text : moves) {
        const Move m = TextToMove(*mainContext.current, text);
        EXPECT_EQ(1, MakeUserMove(mainContext, m)) << text;
    }
    return mainContext.current;
}

// Castling rights always have their king and rook at home, in the side-to-move view.
void ExpectRightsBacked(const Position& pos) {
    const Bitboard own = pos.own, opp = Opponent(pos);
    const auto at = [](Bitboard pieces, int sq) { return (pieces >> sq) & 1; };
    EXPECT_TRUE(!(pos.castling & 0x02) || (at(Kings(pos) & own, 4) && at(Rooks(pos) & own, 7)));
    EXPECT_TRUE(!(pos.castling & 0x01) || (at(Kings(pos) & own, 4) && at(Rooks(pos) & own, 0)));
    EXPECT_TRUE(!(pos.castling & 0x20) || (at(Kings(pos) & opp, 60) && at(Rooks(pos) & opp, 63)));
    EXPECT_TRUE(!(pos.castling & 0x10) || (at(Kings(pos) & opp, 60) && at(Rooks(pos) & opp, 56)));
}

uint64_t NextRandom(uint64_t& state) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}

}  // namespace

TEST(MakeMove, KeysRightsAndClockStayConsistentOverRandomPlayouts) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    std::vector<MovegenCase> cases = ReadMovegenCases(path);
    ASSERT_FALSE(cases.empty());
    cases.push_back({START, {}});
    uint64_t seed = 0x9E3779B97F4A7C15ull;
    for (const MovegenCase& c : cases) {
        Position* pos = LoadGame(c.fen.c_str());
        for (int ply = 0; ply < 40; ++ply) {
            MoveEntry list[MOVELIST_SIZE];
            const int count = int(GenerateLegal(*pos, list) - list);
            if (count == 0) break;
            const Move m = list[NextRandom(seed) % count].move;
            const uint64_t nodes = nodeCount;
            Position* next = MakeMove(pos, m);
            ASSERT_EQ(next, pos + 1);
            EXPECT_EQ(nodeCount, nodes + 1);
            EXPECT_EQ(next->side, pos->side ^ 1);
            ASSERT_EQ(next->key, ComputeKey(*next)) << c.fen << " ply " << ply;
            ExpectRightsBacked(*next);
            const bool irreversible = (MoveType(m) & 8) || (MoveType(m) & 7) == PAWN;
            EXPECT_EQ(next->halfmoveClock, irreversible ? 0 : uint8_t(pos->halfmoveClock + 1));
            // The mover's king is never left attacked by a legal move.
            Position back = *next;
            FlipPosition(back);
            EXPECT_EQ(Checkers(back), 0u);
            if (ply % 7 == 3 && !Checkers(*next)) {
                Position* null = MakeNullMove(next);
                EXPECT_EQ(null->key, ComputeKey(*null));
                EXPECT_EQ(null->side, pos->side);
                EXPECT_EQ(null->epFile, 8);
            }
            pos = next;
            if (pos - mainContext.positionStack > 60) break;
        }
    }
}

TEST(MakeMove, EnPassantFileRightsAndCaptures) {
    Position* pos = Play(START, {"e2e4"});
    EXPECT_EQ(pos->epFile, 4);
    EXPECT_EQ(pos->side, 1u);
    pos = Play(START, {"e2e4", "g8f6"});
    EXPECT_EQ(pos->epFile, 8);
    EXPECT_EQ(pos->key, ComputeKey(*pos));
    // A single step from rank 2 leaves no file.
    EXPECT_EQ(Play(START, {"e2e3"})->epFile, 8);

    // Captures on a8 and h8 clear the opponent's rights whatever stands there; seen from Black after it.
    pos = Play("rn2k2b/8/8/8/8/8/8/R3K2R w KQq - 0 1", {"a1a8"});
    EXPECT_EQ(pos->castling, 0x20);  // Black (now own) has lost queenside; White's kingside remains
    pos = Play("rn2k2b/8/8/8/8/8/8/R3K2R w KQq - 0 1", {"h1h8"});
    EXPECT_EQ(pos->castling, 0x11);
    EXPECT_EQ(pos->key, ComputeKey(*pos));

    // Castling moves the rook and clears both own rights; the opponent's stay.
    pos = Play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 3 1", {"e1g1"});
    EXPECT_EQ(pos->castling, 0x03);  // Black's two rights, now own; White's are gone
    EXPECT_EQ(pos->halfmoveClock, 4);
    char fen[FEN_BUFFER_SIZE];
    WriteFen(*pos, fen);
    EXPECT_STREQ(fen, "r3k2r/8/8/8/8/8/8/R4RK1 b kq - ");
    pos = Play("r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", {"e8c8"});
    WriteFen(*pos, fen);
    EXPECT_STREQ(fen, "2kr3r/8/8/8/8/8/8/R3K2R w KQ - ");
    EXPECT_EQ(pos->key, ComputeKey(*pos));

    // En passant removes the pawn behind the target square; promotions place the chosen piece.
    pos = Play("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", {"e5d6"});
    WriteFen(*pos, fen);
    EXPECT_STREQ(fen, "4k3/8/3P4/8/8/8/8/4K3 b - - ");
    pos = Play("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1", {"a7b8n"});
    WriteFen(*pos, fen);
    EXPECT_STREQ(fen, "1N2k3/8/8/8/8/8/8/4K3 b - - ");
    EXPECT_EQ(pos->key, ComputeKey(*pos));
    pos = Play("4k3/P7/8/8/8/8/8/4K3 w - - 0 1", {"a7a8r"});
    WriteFen(*pos, fen);
    EXPECT_STREQ(fen, "R3k3/8/8/8/8/8/8/4K3 b - - ");
}

TEST(MakeMove, HalfmoveClockWrapsAndUnknownTypesCopy) {
    Position* pos = LoadGame("4k3/8/8/8/8/8/8/R3K3 w - - 255 1");
    Position* next = MakeMove(pos, TextToMove(*pos, "a1a2"));
    EXPECT_EQ(next->halfmoveClock, 0);
    EXPECT_EQ(next->key, ComputeKey(*next));

    for (int type : {0, 7, 8, 15, 16, 30, 46, 255}) {
        Position* copy = MakeMove(pos, MakeMoveCode(type, 4, 12));
        EXPECT_EQ(copy->side, pos->side);
        EXPECT_EQ(copy->key, pos->key);
        EXPECT_EQ(copy->own, pos->own);
        EXPECT_EQ(copy->repetitions, 0);
    }
}

TEST(MakeMove, RepetitionCountsWithinTheReversibleStretch) {
    Position* pos = Play(START, {"g1f3", "g8f6", "f3g1", "f6g8"});
    EXPECT_EQ(pos->repetitions, 1);
    pos = Play(START, {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "f3g1", "f6g8"});
    EXPECT_EQ(pos->repetitions, 2);
    // The scan looks no further back than the halfmove clock: a FEN read onto the stack starts a new
    // stretch, and the records below it no longer count.
    Play(START, {"g1f3", "g8f6", "f3g1", "f6g8"});
    ASSERT_EQ(1, ParseFen(mainContext, START, nullptr));
    for (const char* text : {"g1f3", "g8f6"})
        ASSERT_EQ(1, MakeUserMove(mainContext, TextToMove(*mainContext.current, text)));
    EXPECT_EQ(mainContext.current - mainContext.positionStack, 6);
    EXPECT_EQ(mainContext.current->repetitions, 0);
    for (const char* text : {"f3g1", "f6g8"})
        ASSERT_EQ(1, MakeUserMove(mainContext, TextToMove(*mainContext.current, text)));
    EXPECT_EQ(mainContext.current->repetitions, 1);
    // The scan never reads below record 0, even when the FEN's clock reaches further back.
    pos = Play("4k3/8/8/8/8/8/8/R3K3 w - - 90 60", {"a1a2", "e8d8", "a2a1", "d8e8"});
    EXPECT_EQ(pos->repetitions, 1);
    EXPECT_EQ(pos->halfmoveClock, 94);
}

TEST(Legality, CheckersPinsAndEnPassantExposure) {
    Position* pos = LoadGame("4k3/8/8/8/8/8/4r3/R3K1n1 w - - 0 1");
    EXPECT_EQ(Checkers(*pos), SquareBit(12));
    pos = LoadGame("4k3/8/8/8/8/8/3p1n2/4K3 w - - 0 1");
    EXPECT_EQ(Checkers(*pos), SquareBit(11));  // a pawn checks a king on rank 1
    pos = LoadGame("4k3/8/8/8/8/8/5n2/4K3 w - - 0 1");
    EXPECT_EQ(Checkers(*pos), 0u);             // the knight on f2 does not reach e1
    pos = LoadGame("4k3/8/8/8/8/3n4/8/4K3 w - - 0 1");
    EXPECT_EQ(Checkers(*pos), SquareBit(19));

    // A bishop pinned on the e-file may not step off it; the king may not stay on the checking line.
    pos = LoadGame("4r1k1/8/8/8/8/8/4B3/4K3 w - - 0 1");
    EXPECT_FALSE(IsLegal(*pos, TextToMove(*pos, "e2d3")));
    EXPECT_TRUE(IsLegal(*pos, TextToMove(*pos, "e1d1")));
    pos = LoadGame("4r1k1/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_FALSE(IsLegal(*pos, TextToMove(*pos, "e1e2")));
    EXPECT_TRUE(IsLegal(*pos, TextToMove(*pos, "e1d2")));
    // Capturing the checker with the king is legal only when it is undefended.
    pos = LoadGame("6k1/8/8/8/8/8/3q4/4K3 w - - 0 1");
    EXPECT_TRUE(IsLegal(*pos, TextToMove(*pos, "e1d2")));
    pos = LoadGame("6k1/8/8/8/8/2b5/3q4/4K3 w - - 0 1");
    EXPECT_FALSE(IsLegal(*pos, TextToMove(*pos, "e1d2")));

    // En passant that empties the fifth rank between king and rook; allowed without the rook.
    pos = LoadGame("8/8/8/K2pP2r/8/8/8/7k w - d6 0 1");
    EXPECT_FALSE(IsLegal(*pos, TextToMove(*pos, "e5d6")));
    pos = LoadGame("8/8/8/K2pP3/8/8/8/7k w - d6 0 1");
    EXPECT_TRUE(IsLegal(*pos, TextToMove(*pos, "e5d6")));
    // En passant removes a checking pawn.
    pos = LoadGame("8/8/8/3pP3/4K3/8/8/7k w - d6 0 1");
    EXPECT_TRUE(IsLegal(*pos, TextToMove(*pos, "e5d6")));
}

TEST(MakeUserMove, RefusesUnlistedIllegalAndOverflowingMoves) {
    Position* pos = LoadGame("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    // A promotion without its piece letter is not a generated move.
    EXPECT_EQ(0, MakeUserMove(mainContext, TextToMove(*pos, "a7a8")));
    EXPECT_EQ(mainContext.current, pos);
    EXPECT_EQ(1, MakeUserMove(mainContext, TextToMove(*pos, "a7a8q")));
    EXPECT_EQ(mainContext.current, pos + 1);

    pos = LoadGame("4r1k1/8/8/8/8/8/4B3/4K3 w - - 0 1");
    EXPECT_EQ(0, MakeUserMove(mainContext, TextToMove(*pos, "e2d3")));  // pinned
    EXPECT_EQ(0, MakeUserMove(mainContext, TextToMove(*pos, "d2d4")));  // empty origin
    EXPECT_EQ(mainContext.current, pos);

    // Shuffling kings one move at a time stops short of the search's reserve at the top of the stack.
    pos = LoadGame("k7/8/8/8/8/8/8/K7 w - - 0 1");
    const char* cycle[4] = {"a1a2", "a8b8", "a2a1", "b8a8"};
    int made = 0;
    while (made < STACK_SIZE &&
           MakeUserMove(mainContext, TextToMove(*mainContext.current, cycle[made % 4])) == 1)
        ++made;
    EXPECT_EQ(made, GAME_STACK_LIMIT - 1);
    EXPECT_EQ(mainContext.current - mainContext.positionStack, GAME_STACK_LIMIT - 1);
}
