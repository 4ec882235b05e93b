#include "board/movegen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/movegen_cases.h"
#include "testdata.h"

namespace {

using Texts = std::vector<std::string>;

Texts Generated(MoveEntry* (*generate)(const Position&, MoveEntry*), const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    return MoveTexts(pos, list, generate(pos, list));
}

std::string Joined(Texts texts) {
    std::sort(texts.begin(), texts.end());
    std::string joined;
    for (const std::string& t : texts) joined += (joined.empty() ? "" : " ") + t;
    return joined;
}

// Rank of a move's generation step; lists must never step back to an earlier one.
int QuietStage(Move m) {
    if (m == CASTLE_QUEENSIDE) return 7;
    if (m == CASTLE_KINGSIDE) return 8;
    if (MoveType(m) == PAWN) return MoveTo(m) - MoveFrom(m) == 16 ? 6 : 5;
    return KING - MoveType(m);  // king, queen, rook, bishop, knight
}

int NoisyStage(Move m) {
    switch (MoveType(m)) {
        case 41: return 8;
        case 17: return 7;
        case 25: return 6;
        default: return KING - (MoveType(m) & 7);  // king 0 ... pawn 5
    }
}

int ExpectedScore(const Position& pos, Move m) {
    if (MoveType(m) == 41) return 21;
    if (MovePromotion(m)) return MovePromotion(m) == QUEEN ? 85 : MovePromotion(m) - 5;
    return 16 * PieceOn(pos, MoveTo(m)) + 6 - (MoveType(m) & 7);
}

TEST(Movegen, LegalMovesMatchReference) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    const auto cases = ReadMovegenRecords(file);
    ASSERT_EQ(cases.size(), 400u);
    for (const MovegenRecord& c : cases) {
        const Position& pos = LoadFen(c.fen);
        Texts legal = Generated(GenerateLegal, pos);
        EXPECT_EQ(int(legal.size()), c.legalCount) << c.fen;
        EXPECT_EQ(Joined(legal), c.legalMoves) << c.fen;
    }
}

// Every generated list keeps the designed step order, scores and split between quiet and noisy moves.
TEST(Movegen, GeneratorOrderScoresAndSplit) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        const Position& pos = LoadFen(c.fen);
        MoveEntry quiets[MOVELIST_SIZE], noisy[MOVELIST_SIZE], all[MOVELIST_SIZE];
        MoveEntry* quietEnd = GenerateQuiets(pos, quiets);
        MoveEntry* noisyEnd = GenerateNoisy(pos, noisy);
        MoveEntry* allEnd = GenerateAll(pos, all);

        std::vector<Move> expectedAll, gotAll;
        for (MoveEntry* e = quiets; e < quietEnd; ++e) expectedAll.push_back(e->move);
        for (MoveEntry* e = noisy; e < noisyEnd; ++e) expectedAll.push_back(e->move);
        for (MoveEntry* e = all; e < allEnd; ++e) gotAll.push_back(e->move);
        ASSERT_EQ(gotAll, expectedAll) << c.fen;
        EXPECT_EQ(std::set<Move>(gotAll.begin(), gotAll.end()).size(), gotAll.size()) << c.fen;

        for (MoveEntry* e = quiets; e < quietEnd; ++e) {
            EXPECT_EQ(MoveType(e->move) & 8, 0) << c.fen;
            EXPECT_EQ(MovePromotion(e->move), 0) << c.fen;
            if (e > quiets) {
                Move prev = e[-1].move, m = e->move;
                ASSERT_LE(QuietStage(prev), QuietStage(m)) << c.fen;
                bool byDestination = QuietStage(m) >= 5;
                if (QuietStage(prev) != QuietStage(m)) continue;
                if (byDestination) {
                    EXPECT_LT(MoveTo(prev), MoveTo(m)) << c.fen;
                } else {
                    EXPECT_LT(MoveFrom(prev) * 64 + MoveTo(prev), MoveFrom(m) * 64 + MoveTo(m)) << c.fen;
                }
            }
        }
        for (MoveEntry* e = noisy; e < noisyEnd; ++e) {
            EXPECT_TRUE((MoveType(e->move) & 8) || MovePromotion(e->move)) << c.fen;
            EXPECT_EQ(e->score, ExpectedScore(pos, e->move)) << c.fen << " " << MoveText(pos, e->move);
            if (e > noisy) {
                ASSERT_LE(NoisyStage(e[-1].move), NoisyStage(e->move)) << c.fen;
                if (NoisyStage(e[-1].move) == NoisyStage(e->move)) {
                    EXPECT_LE(MoveFrom(e[-1].move), MoveFrom(e->move));
                }
            }
        }
    }
}

// In check, the evasions are pseudo-legal moves whose legal subset is the whole legal move list; out of
// check, every legal quiet move that gives check is among the quiet checks.
TEST(Movegen, EvasionsAndQuietChecksAgainstFullGeneration) {
    REQUIRE_SHARED_FILE(file, "testdata/movegen.tsv");
    int inCheck = 0, quietChecks = 0;
    for (const MovegenRecord& c : ReadMovegenRecords(file)) {
        Position& pos = LoadFen(c.fen);
        MoveEntry all[MOVELIST_SIZE], list[MOVELIST_SIZE];
        MoveEntry* allEnd = GenerateAll(pos, all);
        std::set<Move> pseudo, legal;
        for (MoveEntry* e = all; e < allEnd; ++e) {
            pseudo.insert(e->move);
            if (IsLegal(pos, e->move)) legal.insert(e->move);
        }
        const Bitboard checkers = Checkers(pos);
        if (checkers) {
            ++inCheck;
            std::set<Move> evasionsLegal;
            for (MoveEntry* e = list, *end = GenerateEvasions(pos, list, checkers); e < end; ++e) {
                EXPECT_TRUE(pseudo.count(e->move)) << c.fen << " " << MoveText(pos, e->move);
                if (IsLegal(pos, e->move)) evasionsLegal.insert(e->move);
            }
            EXPECT_EQ(evasionsLegal, legal) << c.fen;
            continue;
        }
        std::set<Move> checks;
        for (MoveEntry* e = list, *end = GenerateQuietChecks(pos, list); e < end; ++e) {
            EXPECT_TRUE(pseudo.count(e->move)) << c.fen;
            EXPECT_FALSE(MoveType(e->move) & 8) << c.fen;
            EXPECT_EQ(MovePromotion(e->move), 0) << c.fen;
            checks.insert(e->move);
        }
        MoveEntry quiets[MOVELIST_SIZE];
        for (MoveEntry* e = quiets, *end = GenerateQuiets(pos, quiets); e < end; ++e) {
            if (!IsLegal(pos, e->move) || !Checkers(*MakeMove(&pos, e->move))) continue;
            ++quietChecks;
            EXPECT_TRUE(checks.count(e->move)) << c.fen << " misses " << MoveText(pos, e->move);
        }
    }
    EXPECT_GT(inCheck, 50);
    EXPECT_GT(quietChecks, 100);
}

TEST(Movegen, EvasionOrder) {
    // Single check by the queen on a5 along a5-e1: king steps and captures, then queen, rook, bishop,
    // knights (interpositions before the capture of the checker), pawn steps, double steps, en passant.
    Position* pos = &LoadFen("3R1B2/7k/8/q3Q1pP/2N5/8/1PP2n2/1N2K3 w - g6 0 1");
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateEvasions(*pos, list, Checkers(*pos));
    EXPECT_EQ(MoveTexts(*pos, list, end), (Texts{"e1d1", "e1f1", "e1e2", "e1f2", "e5c3", "e5a5", "d8d2", "f8b4", "b1d2",
                                                 "b1c3", "c4d2", "c4a5", "c2c3", "b2b4", "h5g6"}));

    // Pawn captures of a knight giving check.
    pos = &LoadFen("4k3/8/8/8/8/3n4/2P1P3/4K3 w - - 0 1");
    end = GenerateEvasions(*pos, list, Checkers(*pos));
    EXPECT_EQ(MoveTexts(*pos, list, end), (Texts{"e1d1", "e1f1", "e1d2", "e1f2", "c2d3", "e2d3"}));
    EXPECT_EQ(end[-1].score, 16 * KNIGHT + 5);

    // Step-promotions onto the checking line come before capture-promotions of the checker.
    pos = &LoadFen("K6r/2P3P1/8/4k3/8/8/8/8 w - - 0 1");
    end = GenerateEvasions(*pos, list, Checkers(*pos));
    EXPECT_EQ(MoveTexts(*pos, list, end),
              (Texts{"a8a7", "a8b7", "c7c8q", "c7c8r", "c7c8b", "c7c8n", "g7g8q", "g7g8r", "g7g8b", "g7g8n", "g7h8q",
                     "g7h8r", "g7h8b", "g7h8n"}));

    // Double check: king moves only, off the rook's line.
    pos = &LoadFen("4k3/8/8/8/8/3n4/8/r3K2R w K - 0 1");
    end = GenerateEvasions(*pos, list, Checkers(*pos));
    EXPECT_EQ(MoveTexts(*pos, list, end), (Texts{"e1f1", "e1d2", "e1e2", "e1f2"}));
}

TEST(Movegen, QuietChecks) {
    const struct {
        const char* fen;
        Texts checks;
    } cases[] = {
        // Rook checks and the castling whose rook lands on the king's file.
        {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", {"h1f1", "h1h8", "e1g1"}},
        // Seen from Black: the king between the rook and the other king; every step counts, even along the file.
        {"4r3/8/8/4k3/8/8/8/4K3 b - - 0 1", {"e5d6", "e5e6", "e5f6", "e5d5", "e5f5", "e5d4", "e5e4", "e5f4"}},
    };
    for (const auto& c : cases) {
        const Position& pos = LoadFen(c.fen);
        EXPECT_EQ(Generated(GenerateQuietChecks, pos), c.checks) << c.fen;
    }
}

}  // namespace
