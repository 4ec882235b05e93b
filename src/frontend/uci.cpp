#include "frontend/uci.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "book/book.h"
#include "eval/pawns.h"
#include "frontend/config.h"
#include "frontend/gameend.h"
#include "frontend/input.h"
#include "platform/clock.h"
#include "search/iterate.h"
#include "search/search.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "tablebases/tbregistry.h"

namespace {

const char* const START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// Set by the monitor when "quit" arrives during a ponder or infinite search: the loop ends after the move.
Relaxed<uint32_t> quitRequested;
// The main thread is about to enter or is inside SearchMain, which clears searchStop when it begins.
Relaxed<uint32_t> searchRunning;
// hashAge as it stands once the running search has begun, taken before the monitor starts so that the
// monitor never reads what the search writes.
Relaxed<uint32_t> ponderMoveNumber;

bool StartsWith(const std::string& line, const char* word) {
    return line.compare(0, std::strlen(word), word) == 0;
}

// Lines from Windows interfaces end in a carriage return; NUL bytes would cut the C texts.
void CleanLine(std::string& line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) line.pop_back();
    for (char& c : line)
        if (c == '\0') c = ' ';
}

// The main thread waits for the monitor to end before it goes on after a ponder or infinite search, so
// that everything the monitor did (the time allocation on "ponderhit" among it) comes before what follows.
bool monitorRunning = false;

// Made on first use: a condition variable, and with MinGW-w64's threads a mutex, cannot be initialised as a
// constant, and no code of the engine may run before main (the portable executable chooses its code there).
struct MonitorSync {
    std::mutex mutex;
    std::condition_variable ended;
};
MonitorSync& Monitor() {
    static MonitorSync sync;
    return sync;
}

void WaitForMonitor() {
    std::unique_lock<std::mutex> lock(Monitor().mutex);
    Monitor().ended.wait(lock, [] { return !monitorRunning; });
}

// Reads input until "ponderhit", "stop", a line beginning with "q" or the end of input, and acts on it.
void MonitorInput() {
    std::string line;
    for (;;) {
        // End of input, like "quit", cannot wait for a move: it stops the search.
        bool ended = !ReadUciLine(line);
        if (!ended) std::printf("#DEBUG: Command = %s\n", line.c_str());
        if (!ended && StartsWith(line, "ponderhit")) {
            std::printf("#DEBUG: ponderhit \n");
            // The clock starts before the main thread may go on to print the move.
            AllocateTime(timeControl, int(ponderMoveNumber.load()));
            pondering = 0;
            return;
        }
        if (ended || StartsWith(line, "stop") || line[0] == 'q') {
            if (!ended && line[0] == 'q') quitRequested = 1;
            else std::printf("#DEBUG: stop \n");
            pondering = 0;
            infiniteSearch = 0;
            // A stop that comes before the search has begun would be cleared by its start: hold it
            // until the search has returned.
            do {
                searchStop = 1;
                iterationAbort = 1;
                SleepMs(1);
            } while (searchRunning);
            return;
        }
    }
}

// The whole value after a keyword: blanks, an optional sign, digits; 0 when there are none.
int32_t KeywordValue(const char* text) {
    long long value = std::strtoll(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return int32_t(value);
}

bool SameWord(const char* word, size_t length, const char* keyword) {
    return std::strlen(keyword) == length && std::strncmp(word, keyword, length) == 0;
}

// Set by every search: the pawn tables may hold entries.
bool pawnTablesUsed = false;

// Both clears keep the memory and cost next to nothing. Only the first clear of a large table waits, for the
// thread that backs its memory, so that the first search does not.
void ClearSearchTables() {
    if (pawnTablesUsed)
        for (int i = 1; i <= settings.threadCount; ++i) ClearPawnHash(threadContexts[i - 1].pawnHash);
    pawnTablesUsed = false;
    ClearHashTable();
}

void GoCommand(const std::string& line) {
    bool monitor = ReadGoParameters(line.c_str());
    SearchThread& game = mainContext;
    uint64_t result = 0;
    bool fromBook = false;

    if (!infiniteSearch && settings.useBook && hashAge <= 40) {
        char fen[FEN_BUFFER_SIZE];
        char text[6];
        WriteFen(*game.current, fen);
        if (BookPick(settings.bookFile, text, fen) == 0) {
            Move m = TextToMove(*game.current, text);
            // A book entry can be corrupt; only a move the position allows is played.
            if (IsLegalMove(*game.current, m)) {
                result = m;
                lastPonderMove = 0;
                fromBook = true;
            }
        }
    }

    if (fromBook) {
        ponderMoveNumber = hashAge;
        if (monitor) StartPonderMonitor(ProtocolMode);
    } else {
        timeControl.startTime = ClockMs();
        if (!infiniteSearch && !pondering) AllocateTime(timeControl, hashAge);
        searchRunning = 1;
        pawnTablesUsed = true;
        ponderMoveNumber = uint8_t(hashAge + 1);  // SearchMain counts itself first
        // Started after the allocation: a "ponderhit" allocates the time itself.
        if (monitor) StartPonderMonitor(ProtocolMode);
        std::printf("#DEBUG: start Think\n");
        result = SearchMain(game);
        searchRunning = 0;
        std::printf("#DEBUG: end Think\n");
    }

    std::printf("#DEBUG: start Delay\n");
    while (pondering) SleepMs(100);
    std::printf("#DEBUG: end Delay\n");
    WaitForMonitor();

    MakeRoomForMove(game);
    game.current = MakeMove(game.current, ResultMove(result));
    PrintBestMove(result, lastPonderMove);
    CheckGameEnd(game);
    std::fflush(stdout);
}

}  // namespace

bool ReadUciLine(std::string& line) {
    if (!ReadLongLine(line, UCI_LINE_MAX)) return false;
    CleanLine(line);
    return true;
}

bool ReadGoParameters(const char* line) {
    infiniteSearch = 0;
    pondering = 0;
    bool monitor = false;
    const int white = mainContext.current->side == 0;
    const char* p = std::strncmp(line, "go", 2) == 0 ? line + 2 : line;
    while (*p) {
        while (*p == ' ') ++p;
        const char* word = p;
        while (*p && *p != ' ') ++p;
        size_t length = size_t(p - word);
        if (length == 0) break;
        if (SameWord(word, length, "wtime")) {
            (white ? timeControl.myTime : timeControl.oppTime) = KeywordValue(p) / 10;
        } else if (SameWord(word, length, "btime")) {
            (white ? timeControl.oppTime : timeControl.myTime) = KeywordValue(p) / 10;
        } else if (SameWord(word, length, "winc")) {
            if (white) timeControl.increment = KeywordValue(p) / 10;
        } else if (SameWord(word, length, "binc")) {
            if (!white) timeControl.increment = KeywordValue(p) / 10;
        } else if (SameWord(word, length, "movestogo")) {
            timeControl.movesToGo = KeywordValue(p);
        } else if (SameWord(word, length, "movetime")) {
            timeControl.moveTimeLimit = KeywordValue(p) / 10;
        } else if (SameWord(word, length, "depth")) {
            int32_t depth = KeywordValue(p);
            if (depth >= 2 && depth <= 64) settings.maxDepth = uint8_t(depth);
        } else if (SameWord(word, length, "infinite")) {
            std::printf("Command: %s\n", "infinite");
            infiniteSearch = 1;
            pondering = 1;
            monitor = true;
        } else if (SameWord(word, length, "ponder")) {
            std::printf("#DEBUG: go ponder\n");
            pondering = 1;
            monitor = true;
        }
    }
    return monitor;
}

int SetUciPosition(const char* line) {
    std::string text(line);
    const char* moves = nullptr;
    // "moves" is looked for after the 18 characters of "position startpos ".
    if (text.size() > 18) {
        size_t at = text.find("moves", 18);
        if (at != std::string::npos) {
            moves = text.c_str() + std::min(at + 6, text.size());
            text[at] = '\0';
        }
    }
    const char* fen = START_FEN;
    if (text.size() >= 12 && std::strncmp(text.c_str() + 9, "fen", 3) == 0)
        fen = text.size() > 13 ? text.c_str() + 13 : "";
    // The game is set up from the bottom of the stack: no stale records below it, and room for any game.
    mainContext.current = &mainContext.positionStack[0];
    if (ParseFen(mainContext, fen, moves)) return 1;
    // A FEN that no play reaches leaves nothing to search: the start position stands in for it.
    if (!PlacementPossible(*mainContext.current)) ParseFen(mainContext, START_FEN, nullptr);
    return 0;
}

void StartPonderMonitor(uint32_t mode) {
    if (mode != MODE_UCI) return;
    {
        std::lock_guard<std::mutex> lock(Monitor().mutex);
        monitorRunning = true;
    }
    try {
        std::thread(tPonderUCIMonitor).detach();
    } catch (const std::system_error&) {
        std::printf("#DEBUG Errore nella creazione del thread PonderMonitor\n");
        std::exit(1);
    }
}

void tPonderUCIMonitor() {
    std::printf("#DEBUG: Start tPonderUCIMonitor\n");
    MonitorInput();
    std::lock_guard<std::mutex> lock(Monitor().mutex);
    monitorRunning = false;
    Monitor().ended.notify_all();
}

int UciLoop() {
    std::printf("id name ferrolune\nid author Odrevan\n");
    std::printf("option name Ponder type check default true\n");
    std::printf("option name OwnBook type check default true\n");
    AllocateHashTable(settings.hashEntries, settings.hashSizeMB);
    AllocThreadPawnTables(threadContexts, settings.threadCount, settings.pawnHashEntries, settings.pawnHashSizeMB);
    if (settings.useSyzygy) InitTablebases(settings.dtzPath, settings.wdlPath);
    std::printf("uciok\n");

    // A quit seen by the monitor of an earlier session in this process must not end this one.
    quitRequested = 0;
    std::string line;
    for (;;) {
        std::fflush(stdout);
        if (!ReadUciLine(line)) return 1;
        if (StartsWith(line, "isready")) {
            ClearSearchTables();
            ponderEnabled = 1;
            std::printf("readyok\n");
            std::fflush(stdout);
        } else if (StartsWith(line, "ucinewgame")) {
            ClearSearchTables();
            searchStop = 0;
            mainContext.current = NewGame();
        } else if (StartsWith(line, "position")) {
            if (!SetUciPosition(line.c_str())) std::printf("#DEBUG: BAD FEN|MOVES!\n");
        } else if (StartsWith(line, "go")) {
            GoCommand(line);
            if (quitRequested) return 1;
        } else if (line[0] == 'q') {
            return 1;
        }
    }
}
