#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "board/board_helpers.h"
#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "search/search.h"
#include "testdata.h"

namespace {

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

std::string Fen(const Position& pos) {
    char buffer[FEN_BUFFER_SIZE];
    EXPECT_EQ(1, WriteFen(pos, buffer));
    return buffer;
}

std::string Text(Move m, int side) {
    char buffer[MOVE_TEXT_SIZE];
    MoveToText(buffer, m, side);
    return buffer;
}

int Parse(const char* fen, const char* moves = nullptr) {
    mainContext.current = NewGame();
    return ParseFen(mainContext, fen, moves);
}

}  // namespace

TEST(Fen, StartPositionAndEnPassantFieldsRoundTrip) {
    Position fresh = *NewGame();
    Position* pos = LoadGame(START);
    EXPECT_EQ(0, std::memcmp(pos, &fresh, sizeof(Position)));
    EXPECT_EQ(Fen(*pos), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ");

    pos = LoadGame(START, "e2e4");
    EXPECT_EQ(Fen(*pos), "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 ");
    pos = LoadGame(START, "e2e4 d7d5");
    EXPECT_EQ(Fen(*pos), "rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6 ");
    // The written text reads back to the same record, the missing clock reading as 0.
    const Position before = *pos;
    ASSERT_EQ(1, Parse(Fen(before).c_str()));
    EXPECT_EQ(0, std::memcmp(mainContext.current, &before, sizeof(Position)));

    pos = LoadGame("8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - -");
    EXPECT_EQ(pos->halfmoveClock, 0);
    pos = LoadGame("  4k3/8/8/8/8/8/8/R3K3   b Q -\t37 80\n");  // extra blanks separate fields too
    EXPECT_EQ(pos->halfmoveClock, 37);
    EXPECT_EQ(pos->side, 1u);
    EXPECT_EQ(pos->castling, 0x10);
    pos = LoadGame("4k3/8/8/8/8/8/8/4K3 w - - 300 1");  // the clock keeps its low eight bits
    EXPECT_EQ(pos->halfmoveClock, 300 % 256);
    pos = LoadGame("4k3/8/8/8/8/8/8/4K3 w - - -0 1");
    EXPECT_EQ(pos->halfmoveClock, 0);
    // Characters after the eighth square of a rank are ignored.
    pos = LoadGame("4k3x/8/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(Fen(*pos), "4k3/8/8/8/8/8/8/4K3 w - - ");
}

TEST(Fen, MovegenPositionsRoundTripAndListTheirLegalMoves) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    const std::vector<MovegenCase> cases = ReadMovegenCases(path);
    ASSERT_GE(cases.size(), 400u);
    for (const MovegenCase& c : cases) {
        Position* pos = LoadGame(c.fen.c_str());
        size_t end = 0;
        for (int i = 0; i < 4; ++i) end = c.fen.find(' ', end + 1);
        EXPECT_EQ(Fen(*pos), c.fen.substr(0, end) + " ");

        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* last = GenerateLegal(*pos, list);
        std::vector<std::string> texts;
        for (MoveEntry* e = list; e < last; ++e) {
            texts.push_back(Text(e->move, pos->side));
            EXPECT_EQ(TextToMove(*pos, texts.back().c_str()), e->move) << c.fen << " " << texts.back();
        }
        std::sort(texts.begin(), texts.end());
        EXPECT_EQ(texts, c.moves) << c.fen;

        // Every listed move, replayed as text, is accepted and leaves a consistent key.
        const Position saved = *pos;
        for (const std::string& text : c.moves) {
            ASSERT_EQ(1, MakeUserMove(mainContext, TextToMove(saved, text.c_str()))) << c.fen << " " << text;
            EXPECT_EQ(mainContext.current->key, ComputeKey(*mainContext.current));
            mainContext.current = pos;
        }
    }
}

TEST(Fen, RejectsEveryMalformedField) {
    const char* bad[] = {
        "",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR",             // no side
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1",  // side not w or b
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR white KQkq - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPP/RNBQKBNR w KQkq - 0 1",   // short rank
        "rnbqkbnr/pppppppp/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",    // seven ranks
        "rnbqkbnr/pppppppp/8/8/8/9/PPPPPPPP/RNBQKBNR w KQkq - 0 1",  // digit 9
        "rnbqkbnr/pppppppp/8/8/8/0/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNX w KQkq - 0 1",  // unknown piece
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w",             // no castling field
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQxq - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq",        // no en-passant field
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e3 0 1", // wrong rank for White
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e9 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq i6 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e6 0 1", // no pawn made the double step
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - -3 1", // negative clock
        // Placements that play cannot reach.
        "rnbq1bnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQ - 0 1",    // no black king
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKKNR w kq - 0 1",    // two white kings
        "rnbqkbnP/pppppppp/8/8/8/8/PPPPPPP1/RNBQKBNR w KQq - 0 1",   // pawn on rank 8
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/pNBQKBNR w Kkq - 0 1",   // pawn on rank 1
        "QQQQkQQQ/QQQQQQQQ/8/8/8/8/8/4K3 w - - 0 1",                 // more pieces than promotions allow
        "4k3/8/8/8/8/8/PPPPPPPP/QQ2K3 w - - 0 1",
    };
    for (const char* fen : bad) EXPECT_EQ(0, Parse(fen)) << fen;
    std::string longText(FEN_TEXT_MAX, ' ');
    EXPECT_EQ(1, Parse((START + longText.substr(std::strlen(START))).c_str()));
    EXPECT_EQ(0, Parse((START + longText).c_str()));
    EXPECT_EQ(0, ParseFen(mainContext, nullptr, nullptr));

    // A failure keeps what was written before it: here placement, rights, clock and the turn.
    Position* pos = mainContext.current = NewGame();
    EXPECT_EQ(0, ParseFen(mainContext, "4k3/8/8/8/8/8/8/R3K3 b Q e6 5 1", nullptr));
    EXPECT_EQ(pos->side, 1u);
    EXPECT_EQ(pos->halfmoveClock, 5);
    EXPECT_EQ(pos->castling, 0x10);
    EXPECT_EQ(pos->epFile, 8);
    EXPECT_EQ(pos->own, SquareBit(4));  // the black king on e8, seen from Black
    // A bad side field fails before anything is written.
    const Position before = *pos;
    EXPECT_EQ(0, ParseFen(mainContext, "8/8/8/8/8/8/8/8 - - -", nullptr));
    EXPECT_EQ(0, std::memcmp(pos, &before, sizeof(Position)));
    // Rights without their king and rook at home are dropped.
    pos = LoadGame("4k3/8/8/8/8/8/8/R3K1R1 w KQkq - 0 1");
    EXPECT_EQ(pos->castling, 0x01);
}

TEST(Fen, MoveListReplayCollapsesTheStack) {
    Position* pos = LoadGame(START, "e2e4 e7e5 g1f3");
    EXPECT_EQ(pos, &mainContext.positionStack[1]);
    EXPECT_EQ(mainContext.positionStack[0].epFile, 4);
    EXPECT_EQ(pos->key, ComputeKey(*pos));
    EXPECT_EQ(Fen(*pos), "rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - ");
    pos = LoadGame(START, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(pos - mainContext.positionStack, 8);
    EXPECT_EQ(pos->repetitions, 2);
    pos = LoadGame(START, " e2e4\t e7e5\n");
    EXPECT_EQ(pos, &mainContext.positionStack[0]);

    // Moves that no generator produces end the replay with a failure.
    for (const char* moves : {"e2e5", "e2e4 e9e5", "e3e4", "e1g1", "e2e4 e7e5 x", "e2e4e7e5", "a7a8q"})
        EXPECT_EQ(0, Parse(START, moves)) << moves;
}

TEST(Fen, MoveTextBothWays) {
    const Move e2e4 = MakeMoveCode(PAWN, 12, 28);
    EXPECT_EQ(Text(e2e4, 0), "e2e4");
    EXPECT_EQ(Text(e2e4, 1), "e7e5");
    EXPECT_EQ(Text(CASTLE_KINGSIDE, 0), "e1g1");
    EXPECT_EQ(Text(CASTLE_QUEENSIDE, 1), "e8c8");
    EXPECT_EQ(Text(MakeMoveCode(25, 49, 56, KNIGHT), 1), "b2a1n");
    EXPECT_EQ(Text(MakeMoveCode(17, 52, 60, QUEEN), 0), "e7e8q");

    Position* pos = LoadGame("r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    EXPECT_EQ(TextToMove(*pos, "e1g1"), CASTLE_KINGSIDE);
    EXPECT_EQ(TextToMove(*pos, "e1c1"), CASTLE_QUEENSIDE);
    EXPECT_EQ(TextToMove(*pos, "e5d6"), MakeMoveCode(41, 36, 43));
    EXPECT_EQ(TextToMove(*pos, "b7a8r"), MakeMoveCode(25, 49, 56, ROOK));
    EXPECT_EQ(TextToMove(*pos, "b7b8q"), MakeMoveCode(17, 49, 57, QUEEN));
    EXPECT_EQ(TextToMove(*pos, "a1a8"), MakeMoveCode(12, 0, 56));
    EXPECT_EQ(TextToMove(*pos, "c3c4"), MakeMoveCode(0, 18, 26));  // empty origin
    EXPECT_EQ(TextToMove(*pos, "c3d5"), MakeMoveCode(8, 18, 35));
    for (const char* text : {"", "e", "e2", "e2e", "i2e4", "e0e4", "e2e9", "E2E4"})
        EXPECT_EQ(TextToMove(*pos, text), 0u) << text;
    pos = LoadGame("r3k2r/8/8/8/3Pp3/8/8/R3K2R b KQkq d3 0 1");
    EXPECT_EQ(TextToMove(*pos, "e8c8"), CASTLE_QUEENSIDE);
    EXPECT_EQ(TextToMove(*pos, "e4d3"), MakeMoveCode(41, 36, 43));
}

TEST(Fen, GarbageTextIsRefusedOrHarmless) {
    uint64_t state = 0x2545F4914F6CDD1Dull;
    const auto next = [&state] {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    };
    const std::string alphabet = "pnbrqkPNBRQK12345678/ wb-KQkqabcdefgh36 0\t";
    const std::string valid = "r3k2r/pp1ppp1p/8/2pP4/8/8/PPP1PPPP/R3K2R w KQkq c6 3 20";
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        switch (i % 3) {
            case 0: {  // a valid FEN with a few characters changed, cut or repeated
                text = valid;
                for (int k = 0, n = 1 + int(next() % 3); k < n; ++k)
                    text[next() % text.size()] = alphabet[next() % alphabet.size()];
                if (next() % 4 == 0) text.resize(next() % text.size());
                if (next() % 8 == 0) text += text;
                break;
            }
            case 1:
                for (int k = 0, n = int(next() % 90); k < n; ++k) text += alphabet[next() % alphabet.size()];
                break;
            default:
                for (int k = 0, n = int(next() % 300); k < n; ++k) text += char(1 + next() % 255);
                break;
        }
        mainContext.current = NewGame();
        if (ParseFen(mainContext, text.c_str(), i % 5 == 0 ? text.c_str() + text.size() / 2 : nullptr)) {
            Position* pos = mainContext.current;
            EXPECT_EQ(pos->key, ComputeKey(*pos)) << text;
            MoveEntry list[MOVELIST_SIZE];
            EXPECT_LE(GenerateAll(*pos, list) - list, MOVELIST_SIZE);
            const Position saved = *pos;
            ASSERT_EQ(1, ParseFen(mainContext, Fen(saved).c_str(), nullptr)) << text;
            EXPECT_EQ(mainContext.current->own, saved.own);
            EXPECT_EQ(mainContext.current->key, saved.key) << text;
        }
        const Move m = TextToMove(*mainContext.current, text.c_str());
        if (m != 0) {
            EXPECT_LT(MoveFrom(m), 64);
            EXPECT_LT(MoveTo(m), 64);
        }
    }
}

TEST(Fen, BoardDrawingFillsTheTemplate) {
    Position* pos = LoadGame(START, "e2e4");
    testing::internal::CaptureStdout();
    PrintBoard(*pos);
    const std::string board = testing::internal::GetCapturedStdout();
    ASSERT_EQ(board.size(), 651u);
    const auto at = [&](int file, int rank) { return board[42 + 4 * file + 72 * (7 - rank)]; };
    EXPECT_EQ(at(4, 3), 'P');
    EXPECT_EQ(at(4, 1), ' ');
    EXPECT_EQ(at(3, 7), 'q');
    EXPECT_EQ(at(4, 0), 'K');
    EXPECT_EQ(board.substr(0, 38), "\n\n  +---+---+---+---+---+---+---+---+\n");
    EXPECT_EQ(board.substr(38, 36), "8 | r | n | b | q | k | b | n | r |\n");
    EXPECT_EQ(board.substr(614), "\n    A   B   C   D   E   F   G   H\n\n\n");
    EXPECT_EQ(pos->side, 1u);  // drawn from White's view, the record left as it was
}
