#include "board/makemove.h"
#include "board/perft.h"
#include "support.h"

namespace {

int Parse(const std::string& fen, const char* moves = nullptr) {
    mainContext.current = NewGame();
    return ParseFen(mainContext, fen.c_str(), moves);
}

TEST(Fen, ReadsWritesAndReplays) {
    const Position fresh = *NewGame();
    EXPECT_EQ(0, std::memcmp(LoadGame(START), &fresh, sizeof(Position)));
    EXPECT_EQ(FenOf(fresh), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ");
    EXPECT_EQ(FenOf(*LoadGame(START, "e2e4")), "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 ");
    EXPECT_EQ(LoadGame("8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - -")->halfmoveClock, 0);
    Position* pos = LoadGame("  4k3x/8/8/8/8/8/8/R3K3   b Q -\t300 80\n");  // blanks, ignored rank tail
    EXPECT_EQ(pos->halfmoveClock, 300 % 256);
    EXPECT_EQ(pos->castling, 0x10);
    EXPECT_EQ(FenOf(*pos), "4k3/8/8/8/8/8/8/R3K3 b Q - ");
    EXPECT_EQ(LoadGame("4k3/8/8/8/8/8/8/R3K1R1 w KQkq - 0 1")->castling, 0x01);  // unbacked rights dropped

    // Pawn moves collapse the replayed stack to record 0; the knight move adds one record.
    pos = LoadGame(START, " e2e4\te7e5 g1f3\n");
    EXPECT_EQ(pos, &mainContext.positionStack[1]);
    EXPECT_EQ(mainContext.positionStack[0].epFile, 4);
    EXPECT_EQ(FenOf(*pos), "rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - ");
    for (const char* moves : {"e2e5", "e2e4 e9e5", "e3e4", "e1g1", "e2e4 x", "e2e4e7e5", "a7a8q"})
        EXPECT_EQ(0, Parse(START, moves)) << moves;
}

// The reference positions read back as written, and their legal moves are the reference's, text for text.
TEST(Fen, ReferencePositionsRoundTripWithTheirLegalMoves) {
    REQUIRE_SHARED_FILE(path, "testdata/movegen.tsv");
    const auto cases = ReadMovegenRecords(path);
    ASSERT_EQ(cases.size(), 400u);
    for (const MovegenRecord& c : cases) {
        Position* pos = LoadGame(c.fen);
        size_t end = 0;
        for (int i = 0; i < 4; ++i) end = c.fen.find(' ', end + 1);
        EXPECT_EQ(FenOf(*pos), c.fen.substr(0, end) + " ");
        MoveEntry list[MOVELIST_SIZE];
        std::vector<std::string> texts;
        for (MoveEntry *e = list, *last = GenerateLegal(*pos, list); e < last; ++e) {
            texts.push_back(MoveText(*pos, e->move));
            EXPECT_EQ(TextToMove(*pos, texts.back().c_str()), e->move) << c.fen << " " << texts.back();
        }
        std::sort(texts.begin(), texts.end());
        std::string joined;
        for (const std::string& t : texts) joined += (joined.empty() ? "" : " ") + t;
        EXPECT_EQ(joined, c.legalMoves) << c.fen;
    }
}

TEST(Fen, RejectsMalformedFieldsKeepingWhatWasWritten) {
    const char* bad[] = {
        "", "8/8/8/8/8/8/8/8", "4k3/8/8/8/8/8/8/4K3 white - -", "4k3/8/8/8/8/8/7/4K3 w - -",
        "4k3/8/8/8/8/8/4K3 w - -", "4k3/8/8/9/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/4X3 w - -",
        "4k3/8/8/8/8/8/8/4K3 w x -", "4k3/8/8/8/8/8/8/4K3 w -", "4k3/8/8/3pP3/8/8/8/4K3 w - d3",
        "4k3/8/8/3pP3/8/8/8/4K3 w - i6", "4k3/8/8/3pP3/8/8/8/4K3 w - d6x", "4k3/8/8/8/8/8/8/4K3 w - - -3 1",
        // Placements play cannot reach: kings missing or doubled, back-rank pawns, impossible promotions.
        "8/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/3KK3 w - -", "4k2P/8/8/8/8/8/8/4K3 w - -",
        "4k3/8/8/8/8/8/8/p3K3 w - -", "4k3/8/8/8/8/8/PPPPPPPP/QQ2K3 w - -", "QQQQkQQQ/QQQQQQQQ/8/8/8/8/8/4K3 w - -",
    };
    for (const char* fen : bad) EXPECT_EQ(0, Parse(fen)) << fen;
    EXPECT_EQ(0, Parse(START + std::string(FEN_TEXT_MAX, ' ')));
    EXPECT_EQ(0, ParseFen(mainContext, nullptr, nullptr));

    Position* pos = mainContext.current = NewGame();
    const Position before = *pos;
    EXPECT_EQ(0, ParseFen(mainContext, "8/8/8/8/8/8/8/8 - - -", nullptr));  // fails before writing
    EXPECT_EQ(0, std::memcmp(pos, &before, sizeof(Position)));
    EXPECT_EQ(0, ParseFen(mainContext, "4k3/8/8/8/8/8/8/R3K3 b Q e6 5 1", nullptr));
    EXPECT_EQ(pos->side, 1);
    EXPECT_EQ(pos->halfmoveClock, 5);
    EXPECT_EQ(pos->castling, 0x10);
    EXPECT_EQ(pos->epFile, 8);
    EXPECT_EQ(pos->own, SquareBit(4));  // the black king on e8, seen from Black

    // Texts no legal move has.
    pos = LoadGame("r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    EXPECT_EQ(TextToMove(*pos, "c3d5"), MakeMoveCode(8, 18, 35));  // empty origin
    for (const char* text : {"", "e2", "e2e", "i2e4", "e0e4", "e2e9", "E2E4"}) EXPECT_EQ(TextToMove(*pos, text), 0u);
}

TEST(Fen, BoardDrawing) {
    Position* pos = LoadGame(START, "e2e4");
    testing::internal::CaptureStdout();
    PrintBoard(*pos);
    const std::string board = testing::internal::GetCapturedStdout();
    ASSERT_EQ(board.size(), 651u);
    EXPECT_EQ(board.substr(0, 74), "\n\n  +---+---+---+---+---+---+---+---+\n8 | r | n | b | q | k | b | n | r |\n");
    EXPECT_EQ(board[42 + 4 * 4 + 72 * (7 - 3)], 'P');
    EXPECT_EQ(board[42 + 4 * 4 + 72 * (7 - 1)], ' ');
    EXPECT_EQ(board.substr(614), "\n    A   B   C   D   E   F   G   H\n\n\n");
}

TEST(Fen, EnPassantSquareWithoutADoubleStepIsKeptButNeverCaptured) {
    // The console's "n1" position names d6 although White's own pawn stands on d5.
    Position* pos = LoadGame("3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 12 1");
    EXPECT_EQ(FenOf(*pos), "3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 ");
    EXPECT_EQ(pos->key, ComputeKey(*pos));

    // A pawn beside the named square could capture "en passant" only a piece that is no pawn.
    pos = LoadGame("4k3/8/8/3nP3/8/8/8/4K3 w - d6");
    MoveEntry list[MOVELIST_SIZE];
    for (MoveEntry *e = list, *end = GenerateAll(*pos, list); e != end; ++e) EXPECT_NE(MoveType(e->move), int(EN_PASSANT));
    EXPECT_EQ(Perft(mainContext, 1), 5u + 1u);  // king steps and e5-e6 only, through the fast last-ply count too
}

}  // namespace
