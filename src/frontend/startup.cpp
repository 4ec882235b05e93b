#include "frontend/startup.h"

#include <cstdio>
#include <cstring>

#include "board/position.h"
#include "frontend/cmdline.h"
#include "frontend/config.h"
#include "frontend/console.h"
#include "frontend/input.h"
#include "frontend/uci.h"
#include "search/search.h"

namespace {

const char* const RULE = "-------------------------------------------------------------------------------";
// From the build: the project version, so the archives and the program agree.
const char* const VERSION = FERROLUNE_VERSION;

const char* const USAGE =
    "Usage:\n"
    "  ferrolune                          start; the first input line chooses the mode:\n"
    "                                     \"uci\" (for a GUI), \"c\" (console) or \"quit\"\n"
    "  ferrolune perft DEPTH \"FEN\"        leaf count of the legal move tree of DEPTH plies from FEN\n"
    "  ferrolune bench [DEPTH [THREADS]]  fixed search of 14 positions (depth 8, 1 thread by default);\n"
    "                                     the node count is the search's signature\n"
    "  ferrolune --help                   this text\n"
    "  ferrolune --version                the version; a portable x86-64 build names its code level below\n"
    "A plain start reads its settings from ferrolune.ini in the working directory; the other modes read none.\n";

// The mode loop: only prefixes are compared, so "ucinewgame" also selects UCI and any "c..." the console.
int ModeLoop() {
    char line[LINE_BUFFER];
    while (ReadInputLine(line)) {
        std::fflush(stdout);
        if (line[0] == '\n') continue;
        if (std::strncmp(line, "uci", 3) == 0) {
            ProtocolMode = MODE_UCI;
            if (UciLoop() == 1) return 0;
        } else if (line[0] == 'c') {
            ProtocolMode = MODE_CONSOLE;
            if (ConsoleLoop() == 1) return 0;
        } else if (std::strncmp(line, "quit", 4) == 0) {
            return 0;
        }
    }
    return 0;  // end of input while waiting for a mode line
}

}  // namespace

int RunEngine(int argc, char** argv) {
    // Tester's command lines: no banner, no settings file.
    if (argc > 1 && std::strcmp(argv[1], "perft") == 0) return PerftCommand(argc, argv);
    if (argc > 1 && std::strcmp(argv[1], "bench") == 0) return BenchCommand(argc, argv);
    if (argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(USAGE, stdout);
        return 0;
    }
    if (argc > 1 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("ferrolune %s\n", VERSION);
#ifdef FERROLUNE_CPU_LEVEL
        // A portable x86-64 build names the level of the code running; a build for this machine names none.
        std::printf("%s\n", FERROLUNE_CPU_LEVEL);
#endif
        return 0;
    }
    // Anything else would otherwise start an engine that waits for input the caller never meant to send.
    if (argc > 1) {
        std::fprintf(stderr, "ferrolune: unknown argument '%s'\n%s", argv[1], USAGE);
        return 2;
    }

    // A GUI reading the pipe must see every line at once.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    // Input goes through the line reader alone, which reads the descriptor itself; the stream is never
    // read, and unbuffered it could not take bytes ahead of the reader if it were.
    std::setvbuf(stdin, nullptr, _IONBF, 0);

    std::printf("%s\n", RULE);
    std::printf("ferrolune chess engine by Odrevan\n");
    std::printf("Version %s\n\n", VERSION);
    LoadSettings("ferrolune.ini");
    mainContext.current = NewGame();
    std::printf("%s\n\n", RULE);
    std::printf("enter 'console' for console mode... ");
    return ModeLoop();
}
