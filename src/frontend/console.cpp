#include "frontend/console.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/position.h"
#include "board/see.h"
#include "book/book.h"
#include "eval/evaluate.h"
#include "eval/pawns.h"
#include "eval/trace.h"
#include "frontend/config.h"
#include "frontend/gameend.h"
#include "frontend/input.h"
#include "frontend/selftest.h"
#include "search/iterate.h"
#include "search/search.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "tablebases/tbregistry.h"

namespace {

// The number of the number-reading commands. Only "hstore" resets it; a command whose line holds no
// number is refused as out of range rather than acting on a value left by an earlier command.
int32_t number;

// Reads one number with the command's own format; false when the line holds none.
bool ReadNumber(const char* line, const char* format) { return std::sscanf(line, format, &number) == 1; }

Position& Current() { return *mainContext.current; }

// Lists are consumed from the end, so they are shown last entry first.
void PrintMoveList(const MoveEntry* begin, const MoveEntry* end) {
    char text[MOVE_TEXT_SIZE];
    for (const MoveEntry* e = end; e != begin;) {
        --e;
        MoveToText(text, e->move, Current().side);
        std::printf("Move: %s\n", text);
    }
}

void Help(const char*, const char*) {
    std::printf(
        "new            - new game\n"
        "perft          - run perft test\n"
        "setboard [FEN] - set position from FEN\n"
        "getboard       - get FEN position\n"
        "b              - show ChessBoard\n"
        "turn           - show Turn\n"
        "inv            - invert ChessBoard\n"
        "go             - start search\n"
        "undo           - undo last move\n"
        "memory [MB]    - Allocate MB for HashTable\n");
}

void HashSizes(const char*, const char*) {
    std::printf("Hash record size: %2" PRIu64 " byte  (%3" PRIu64 " bit)\n", uint64_t(sizeof(HashRecord)),
                uint64_t(sizeof(HashRecord) * 8));
    std::printf("Hash Data   size: %2" PRIu64 " byte  (%3" PRIu64 " bit)\n", uint64_t(sizeof(uint64_t)),
                uint64_t(sizeof(uint64_t) * 8));
    std::fflush(stdout);
}

void Key(const char*, const char*) {
    Position& p = Current();
    std::printf("HashKey (full): %" PRIu64 "\n", ComputeKey(p));
    std::printf("HashKey (inc) : %" PRIu64 "\n", p.key);
}

// A test record of generation `number` in the last bucket of the table.
void HashStore(const char* line, const char*) {
    number = 0;
    ReadNumber(line, "hstore %i");
    hashAge = uint8_t(number);
    StoreHashAt(Current(), 1, 1, BoundExact, 100, 0, transpositionTable.entries - 1);
    std::printf("Stored with aging: %u\n", unsigned(hashAge));
    std::fflush(stdout);
}
void HashProbe(const char*, const char*) {
    uint64_t data = 0;
    int16_t result = ProbeHashAt(Current(), data, 1, 1, 20, 200, transpositionTable.entries - 1);
    std::fputs(result == HashMiss ? "Hash Probe KO" : "Hash Probe OK", stdout);
    std::fflush(stdout);
}

void Invert(const char*, const char*) { FlipPosition(Current()); }

void HashClear(const char*, const char*) { ClearHashTable(); }
void HashDump(const char*, const char*) { DumpHashTable(); }

void TestPosition(const char*, const char* fen) { ParseFen(mainContext, fen, nullptr); }

void Book(const char*, const char*) {
    char fen[FEN_BUFFER_SIZE];
    WriteFen(Current(), fen);
    BookList(DEFAULT_BOOK_FILE, fen);
}
void Threads(const char* line, const char*) {
    if (ReadNumber(line, "thread %i")) SetSearchThreads(threadContexts, number);
}

void ExchangeTest(const char*, const char*) { RunExchangeTest(); }

void Score(const char*, const char*) { PrintScore(); }

void Legal(const char*, const char*) {
    MoveEntry list[MOVELIST_SIZE];
    char text[MOVE_TEXT_SIZE];
    Position& p = Current();

    MoveEntry* end = GenerateAll(p, list);
    std::printf("\nAll moves:    %" PRIu64 "\n", uint64_t(end - list));
    PrintMoveList(list, end);

    end = GenerateLegal(p, list);
    std::printf("\nLegal moves:    %" PRIu64 "\n", uint64_t(end - list));
    PrintMoveList(list, end);

    end = GenerateQuietChecks(p, list);
    std::printf("\nCheck moves:    %" PRIu64 "\n", uint64_t(end - list));
    for (const MoveEntry* e = end; e != list;) {
        --e;
        MoveToText(text, e->move, p.side);
        std::printf(SeeIsNegative(&p, e->move) ? "Move: %s    negSEE\n" : "Move: %s\n", text);
    }

    Bitboard checkers = Checkers(p);
    if (checkers) {
        end = GenerateEvasions(p, list, checkers);
        std::printf("\nEvasion moves:    %" PRIu64 "\n", uint64_t(end - list));
        PrintMoveList(list, end);
    }
}

// A board that play cannot reach, left by a rejected FEN, is not kept for play.
void LeaveNoImpossibleBoard() {
    if (!PlacementPossible(Current())) mainContext.current = NewGame();
}

void TablebaseListing(const char*, const char*) { PrintTablebaseListing(); }
void TablebaseTest(const char*, const char*) {
    RunTablebaseTest();
    LeaveNoImpossibleBoard();
}

void Gen(const char*, const char*) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(Current(), list);
    PrintMoveList(list, end);
    std::printf("Total Legal moves: %i\n", int(end - list));
}

void New(const char*, const char*) { mainContext.current = NewGame(); }

void Perft(const char*, const char*) { RunBenchmark(); }

void SetBoard(const char* line, const char*) {
    mainContext.current = NewGame();
    // The FEN starts after "setboard "; a bare "setboard" gives an empty text, which is rejected.
    ParseFen(mainContext, std::strlen(line) > 9 ? line + 9 : "", nullptr);
    // A rejected FEN is drawn as far as it was read.
    PrintBoard(Current());
    LeaveNoImpossibleBoard();
}

void GetBoard(const char*, const char*) {
    char fen[FEN_BUFFER_SIZE];
    WriteFen(Current(), fen);
    std::printf("FEN: %s\n", fen);
}

void Board(const char*, const char*) { PrintBoard(Current()); }

void Turn(const char*, const char*) {
    uint32_t side = Current().side;
    std::printf(side == 0 ? "Turn: WHITE\n" : side == 1 ? "Turn: BLACK\n" : "Turn: NULL\n");
}

void SetDepth(const char* line, const char*) {
    bool given = ReadNumber(line, "sd %i");
    if (given && number >= 2 && number <= 63)
        settings.maxDepth = uint8_t(number);
    else if (!(given && number == 9999))
        std::printf("Error (depth out of bound): Insert depth between 2 and %d\n", 63);
}

void SetMoveTime(const char* line, const char*) {
    // Seconds beyond the centisecond range mean "as long as possible" rather than wrapping around.
    if (ReadNumber(line, "st %d") && number > 0)
        timeControl.moveTimeLimit = number > INT32_MAX / 100 ? INT32_MAX : number * 100;
    else
        std::printf("Error (movetime out of bound): Insert movetime > 0 \n");
}

void Go(const char*, const char*) {
    timeControl.startTime = ClockMs();
    AllocateTime(timeControl, 0);
    uint64_t result = SearchMain(mainContext);
    MakeRoomForMove(mainContext);
    mainContext.current = MakeMove(mainContext.current, ResultMove(result));
    PrintBestMove(result, lastPonderMove);
    CheckGameEnd(mainContext);
}

void Undo(const char*, const char*) {
    // Nothing lies below the first record of the game stack.
    if (mainContext.current != mainContext.positionStack.Records()) --mainContext.current;
}

void Memory(const char* line, const char*) {
    // Without a number the size is out of range and the error lines follow.
    const int megabytes = ReadNumber(line, "memory %d") ? number : 0;
    if (megabytes < 1 || megabytes > MAX_HASH_MB) {
        std::printf("Error: insert a number between 4 and %d \n", MAX_HASH_MB);
        std::printf("tellusererror Error (size out of bound): Insert size between 4 and %d\n", MAX_HASH_MB);
        std::fflush(stdout);
        return;
    }
    settings.hashSizeMB = megabytes;
    settings.hashEntries = HashEntriesForMB(megabytes);
    AllocateHashTable(settings.hashEntries, megabytes);
}

bool IsMoveText(const char* s) {
    return s[0] >= 'a' && s[0] <= 'h' && s[1] >= '1' && s[1] <= '8' && s[2] >= 'a' && s[2] <= 'h' &&
           s[3] >= '1' && s[3] <= '8';
}

void UserMove(const char* line) {
    Move m = TextToMove(Current(), line);
    if (!MakeUserMove(mainContext, m)) std::printf("Illegal move: %s\n", line);
    std::fflush(stdout);
    PrintBoard(Current());
    CheckGameEnd(mainContext);
}

using Handler = void (*)(const char* line, const char* arg);

struct Command {
    const char* word;
    bool prefix;      // the line only has to begin with the word
    Handler run;      // null for the word that leaves the console
    const char* arg;  // the FEN of a test position
};

// Matched in this order; the first match runs.
const Command COMMANDS[] = {
    {"help", false, Help, nullptr},
    {"size", false, HashSizes, nullptr},
    {"key", false, Key, nullptr},
    {"hstore", true, HashStore, nullptr},
    {"hprobe", false, HashProbe, nullptr},
    {"inv", false, Invert, nullptr},
    {"clear", false, HashClear, nullptr},
    {"dump", false, HashDump, nullptr},
    {"n1", false, TestPosition, "3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 12 1"},
    {"p", false, TestPosition, "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - -"},
    {"bug", false, TestPosition, "6k1/7p/3p3b/2pN4/4p3/8/1Pn2PPP/4K2R w K - 0 24"},
    {"killer", false, TestPosition, "r3qrk1/pp2ppbp/6p1/1Np5/P7/2PP3P/1P2QPP1/R2R2K1 w - - 0 1"},
    {"good", false, TestPosition, "r1bqkb1r/ppp2ppp/2n1pn2/8/2pP4/3BPN2/PP3PPP/RNBQK2R w KQkq - 0 6"},
    {"test", false, TestPosition, "r3k2r/p1p3pp/2pq1p2/4pb2/1bQ2n2/2N2N1P/PPPP1PP1/R1B1K1R1 w Qkq - 8 12"},
    {"m1", false, TestPosition, "5k2/8/6r1/5K2/8/8/7p/8 b - - 3 75"},
    {"m5", false, TestPosition, "8/RP6/2k5/8/8/6P1/7P/7K w - - 1 62"},
    {"m8", false, TestPosition, "8/7K/8/8/8/8/R7/7k w - - 0 1"},
    {"t", false, TestPosition, "r1bqkb1r/pp2pppp/3p1n2/6B1/3nP3/2N5/PPP2PPP/R2QKB1R b KQkq - 0 7"},
    {"o", false, TestPosition, "6k1/R5p1/4prp1/3pQ3/3N4/3b1P2/5P1P/2r3K1 w - - 3 26 "},
    {"c", false, TestPosition, "r5k1/1pp2rbp/3p2p1/3Pp3/2P1P1q1/1NN2pBb/P6P/R2QR1K1 w - - 2 23 "},
    {"d", false, TestPosition, "r7/pp1r1P2/3p2kn/1P2p2p/2P2p1B/8/P5P1/1R1R2K1 w - - 1 33"},
    {"e", false, TestPosition, "r1b2rk1/2q1bppp/pp2p3/2npP3/1n3P1P/2NBBN2/PPPQ2P1/1K1R3R w - - 0 14"},
    {"mob", false, TestPosition, "6kn/6pb/7p/8/2N5/8/3B2PP/6K1 w - - 0 1 "},
    {"fianc", false, TestPosition, "6k1/pbp2npp/1p3p2/8/8/1P4P1/PBP2P1P/6K1 w - - 0 1"},
    {"book", false, Book, nullptr},
    {"thread", true, Threads, nullptr},
    {"see", false, ExchangeTest, nullptr},
    {"score", false, Score, nullptr},
    {"legal", false, Legal, nullptr},
    {"probe", true, TablebaseListing, nullptr},
    {"syzygy", false, TablebaseTest, nullptr},
    {"gen", false, Gen, nullptr},
    {"new", false, New, nullptr},
    {"perft", false, Perft, nullptr},
    {"setboard", true, SetBoard, nullptr},
    {"getboard", true, GetBoard, nullptr},
    {"b", false, Board, nullptr},
    {"turn", false, Turn, nullptr},
    {"sd", true, SetDepth, nullptr},
    {"st", true, SetMoveTime, nullptr},
    {"go", false, Go, nullptr},
    {"undo", false, Undo, nullptr},
    {"memory", true, Memory, nullptr},
    {"q", true, nullptr, nullptr},
};

const Command* FindCommand(const char* line) {
    for (const Command& c : COMMANDS) {
        bool match = c.prefix ? std::strncmp(line, c.word, std::strlen(c.word)) == 0 : std::strcmp(line, c.word) == 0;
        if (match) return &c;
    }
    return nullptr;
}

// Reads one command line without its line feed. A line that does not fit the buffer is read to its end
// and comes back with overlong set. False at the end of input.
bool ReadCommand(char (&line)[LINE_BUFFER], bool& overlong) {
    overlong = false;
    size_t length = ReadInputLine(line);
    if (length == 0) return false;
    if (line[length - 1] == '\n') {
        line[length - 1] = '\0';
        // Lines typed at a Windows console, or sent by a Windows interface, end in CR LF.
        if (length >= 2 && line[length - 2] == '\r') line[length - 2] = '\0';
    } else if (length == LINE_BUFFER - 1) {
        // A full buffer is a whole line only when the input ends right after it.
        char rest[LINE_BUFFER];
        while (size_t more = ReadInputLine(rest)) {
            overlong = true;
            if (rest[more - 1] == '\n') break;
        }
    }
    return true;
}

void EnterConsole() {
    AllocateHashTable(settings.hashEntries, settings.hashSizeMB);
    AllocPawnHash(mainContext.pawnHash, settings.pawnHashEntries, settings.pawnHashSizeMB, false, 0);
    AllocThreadPawnTables(threadContexts, settings.threadCount, settings.pawnHashEntries, settings.pawnHashSizeMB);
    if (settings.useSyzygy) InitTablebases(settings.dtzPath, settings.wdlPath);
    std::printf("\nWelcome in ferrolune\n");
    std::printf("type \"help\" to show commands list\n");
}

}  // namespace

void PrintScore() {
    const int16_t score = EvaluateTraced(*mainContext.current);
    PrintEvalTrace();
    std::printf("Score: %i\n", score);
    std::fflush(stdout);
}

bool SetSearchThreads(SearchThread* contexts, int count) {
    if (count < 1 || count > MAX_THREADS) return false;
    // All of them: a table left from an earlier, larger count would otherwise leak.
    for (int i = 0; i < MAX_THREADS; ++i) FreePawnHash(contexts[i].pawnHash);
    settings.threadCount = uint8_t(count);
    AllocThreadPawnTables(contexts, count, settings.pawnHashEntries, settings.pawnHashSizeMB);
    std::printf("Thread allocated for search: %i", count);
    std::fflush(stdout);
    return true;
}

int ConsoleLoop() {
    EnterConsole();
    char line[LINE_BUFFER];
    for (;;) {
        std::fflush(stdout);
        std::printf("\nferrolune> ");
        bool overlong;
        // The end of input ends the console as a "q" line would.
        if (!ReadCommand(line, overlong)) return 1;

        const Command* c = overlong ? nullptr : FindCommand(line);
        if (c && !c->run) return 1;
        if (c)
            c->run(line, c->arg);
        else if (!overlong && IsMoveText(line))
            UserMove(line);
        else
            std::printf("Error (unknown command): %s\n", line);
    }
}
