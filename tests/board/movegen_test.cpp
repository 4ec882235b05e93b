#include "board/makemove.h"
#include "support.h"

// The order of the generated lists is the search's order: the bench signature and the console's listing
// check it as a whole, the evasion and check lists below move by move.
namespace {

using Texts = std::vector<std::string>;

// In check, the evasions are pseudo-legal moves whose legal subset is the whole legal move list; out of
// check, every legal quiet move that gives check is among the quiet checks. GenerateAll is the quiet moves
// followed by the noisy ones.
TEST(Movegen, EvasionsAndQuietChecksAgainstFullGeneration) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    int inCheck = 0, quietChecks = 0;
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        Position& pos = *LoadGame(c.fen);
        MoveEntry all[MOVELIST_SIZE], list[MOVELIST_SIZE];
        MoveEntry* allEnd = GenerateAll(pos, all);
        MoveEntry* split = GenerateQuiets(pos, list);
        split = GenerateNoisy(pos, split);
        ASSERT_EQ(split - list, allEnd - all) << c.fen;
        std::set<Move> pseudo, legal;
        for (MoveEntry* e = all; e < allEnd; ++e) {
            EXPECT_EQ(e->move, list[e - all].move) << c.fen;
            pseudo.insert(e->move);
            if (IsLegal(pos, e->move)) legal.insert(e->move);
        }
        EXPECT_EQ(pseudo.size(), size_t(allEnd - all)) << c.fen;
        if (const Bitboard checkers = Checkers(pos)) {
            ++inCheck;
            std::set<Move> evasionsLegal;
            for (MoveEntry *e = list, *end = GenerateEvasions(pos, list, checkers); e < end; ++e) {
                EXPECT_TRUE(pseudo.count(e->move)) << c.fen << " " << MoveText(pos, e->move);
                if (IsLegal(pos, e->move)) evasionsLegal.insert(e->move);
            }
            EXPECT_EQ(evasionsLegal, legal) << c.fen;
            continue;
        }
        std::set<Move> checks;
        for (MoveEntry *e = list, *end = GenerateQuietChecks(pos, list); e < end; ++e) {
            EXPECT_EQ(pseudo.count(e->move), 1u) << c.fen << ": a quiet check that no generator makes";
            EXPECT_EQ(MoveType(e->move) & CAPTURE, 0) << c.fen << ": a capture among the quiet checks";
            EXPECT_EQ(MovePromotion(e->move), 0) << c.fen << ": a promotion among the quiet checks";
            checks.insert(e->move);
        }
        for (MoveEntry *e = all, *end = GenerateQuiets(pos, all); e < end; ++e) {
            if (!IsLegal(pos, e->move) || !Checkers(*MakeMove(&pos, e->move))) continue;
            ++quietChecks;
            EXPECT_TRUE(checks.count(e->move)) << c.fen << " misses " << MoveText(pos, e->move);
        }
    }
    EXPECT_GT(inCheck, 50);
    EXPECT_GT(quietChecks, 100);
}

TEST(Movegen, EvasionAndQuietCheckOrder) {
    const auto evasions = [](const char* fen) {
        Position* pos = LoadGame(fen);
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateEvasions(*pos, list, Checkers(*pos));
        return MoveTexts(*pos, list, end);
    };
    // Single check by the queen on a5 along a5-e1: king steps and captures, then queen, rook, bishop,
    // knights (interpositions before the capture of the checker), pawn steps, double steps, en passant.
    EXPECT_EQ(evasions("3R1B2/7k/8/q3Q1pP/2N5/8/1PP2n2/1N2K3 w - g6 0 1"),
              (Texts{"e1d1", "e1f1", "e1e2", "e1f2", "e5c3", "e5a5", "d8d2", "f8b4", "b1d2", "b1c3", "c4d2", "c4a5",
                     "c2c3", "b2b4", "h5g6"}));
    // Pawn captures of a knight giving check.
    EXPECT_EQ(evasions("4k3/8/8/8/8/3n4/2P1P3/4K3 w - - 0 1"), (Texts{"e1d1", "e1f1", "e1d2", "e1f2", "c2d3", "e2d3"}));
    // Step-promotions onto the checking line come before capture-promotions of the checker.
    EXPECT_EQ(evasions("K6r/2P3P1/8/4k3/8/8/8/8 w - - 0 1"),
              (Texts{"a8a7", "a8b7", "c7c8q", "c7c8r", "c7c8b", "c7c8n", "g7g8q", "g7g8r", "g7g8b", "g7g8n", "g7h8q",
                     "g7h8r", "g7h8b", "g7h8n"}));
    // Double check: king moves only, off the rook's line.
    EXPECT_EQ(evasions("4k3/8/8/8/8/3n4/8/r3K2R w K - 0 1"), (Texts{"e1f1", "e1d2", "e1e2", "e1f2"}));

    const auto checks = [](const char* fen) {
        Position* pos = LoadGame(fen);
        MoveEntry list[MOVELIST_SIZE];
        return MoveTexts(*pos, list, GenerateQuietChecks(*pos, list));
    };
    // Rook checks and the castling whose rook lands on the king's file.
    EXPECT_EQ(checks("5k2/8/8/8/8/8/8/4K2R w K - 0 1"), (Texts{"h1f1", "h1h8", "e1g1"}));
    // Seen from Black: the king between the rook and the other king; every step counts, even along the file.
    EXPECT_EQ(checks("4r3/8/8/4k3/8/8/8/4K3 b - - 0 1"),
              (Texts{"e5d6", "e5e6", "e5f6", "e5d5", "e5f5", "e5d4", "e5e4", "e5f4"}));
}

}  // namespace
