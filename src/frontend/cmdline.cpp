#include "frontend/cmdline.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/fen.h"
#include "board/perft.h"
#include "board/position.h"
#include "eval/pawns.h"
#include "frontend/config.h"
#include "search/iterate.h"
#include "search/search.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"

namespace {

constexpr int BENCH_DEPTH = 8;
constexpr int BENCH_HASH_MB = 16;
constexpr uint64_t BENCH_PAWN_ENTRIES = 1 << 16;

// Openings, middlegames with tactics, and endgames where the search goes deep. Every halfmove clock is 0:
// the positions start on the first record of the stack, with no history for the repetition scan to read.
const char* const BENCH_POSITIONS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r1bqkb1r/ppp2ppp/2n1pn2/8/2pP4/3BPN2/PP3PPP/RNBQK2R w KQkq - 0 6",
    "r3qrk1/pp2ppbp/6p1/1Np5/P7/2PP3P/1P2QPP1/R2R2K1 w - - 0 1",
    "r1bqkb1r/pp2pppp/3p1n2/6B1/3nP3/2N5/PPP2PPP/R2QKB1R b KQkq - 0 7",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "r1b2rk1/2q1bppp/pp2p3/2npP3/1n3P1P/2NBBN2/PPPQ2P1/1K1R3R w - - 0 14",
    "r5k1/1pp2rbp/3p2p1/3Pp3/2P1P1q1/1NN2pBb/P6P/R2QR1K1 w - - 0 23",
    "6k1/R5p1/4prp1/3pQ3/3N4/3b1P2/5P1P/2r3K1 w - - 0 26",
    "r7/pp1r1P2/3p2kn/1P2p2p/2P2p1B/8/P5P1/1R1R2K1 w - - 0 33",
    "6k1/pbp2npp/1p3p2/8/8/1P4P1/PBP2P1P/6K1 w - - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - - 0 1",
    "8/RP6/2k5/8/8/6P1/7P/7K w - - 0 62",
};

}  // namespace

int PerftCommand(int argc, char** argv) {
    if (argc < 4) {
        printf("Usage: ferrolune perft DEPTH \"FEN\"\n");
        return 1;
    }
    char* end = nullptr;
    const unsigned long depth = strtoul(argv[2], &end, 10);
    if (argv[2][0] < '0' || argv[2][0] > '9' || *end != '\0' || depth >= STACK_SIZE) {
        printf("Error: invalid depth: %s\n", argv[2]);
        return 1;
    }
    // A FEN given without quotes arrives as several arguments.
    std::string fen = argv[3];
    for (int i = 4; i < argc; ++i) fen += std::string(" ") + argv[i];

    mainContext.current = NewGame();
    if (!ParseFen(mainContext, fen.c_str(), nullptr)) {
        printf("Error: invalid FEN: %s\n", fen.c_str());
        return 1;
    }
    printf("%llu\n", static_cast<unsigned long long>(Perft(mainContext, uint32_t(depth))));
    fflush(stdout);
    return 0;
}

int BenchCommand(int argc, char** argv) {
    int depth = argc > 2 ? std::atoi(argv[2]) : BENCH_DEPTH;
    int threads = argc > 3 ? std::atoi(argv[3]) : 1;
    int hashMB = argc > 4 ? std::atoi(argv[4]) : BENCH_HASH_MB;
    if (depth < 1 || depth > 63 || threads < 1 || threads > MAX_THREADS || hashMB < 1 || hashMB > MAX_HASH_MB) {
        std::printf("usage: ferrolune bench [depth 1..63 [threads 1..%d [hash MB 1..%d]]]\n", MAX_THREADS,
                    MAX_HASH_MB);
        return 1;
    }

    // Everything that steers the search is fixed here, whatever a settings file says.
    ProtocolMode = MODE_CONSOLE;
    settings.maxDepth = uint8_t(depth);
    settings.threadCount = uint8_t(threads);
    settings.postThinking = 0;
    settings.useSyzygy = 0;
    AllocateHashTable(HashEntriesForMB(hashMB), hashMB);
    for (int i = 0; i < threads; ++i)
        AllocPawnHash(threadContexts[i].pawnHash, BENCH_PAWN_ENTRIES, 0, false, i + 1);
    hashAge = 0;

    uint64_t totalNodes = 0;
    int32_t benchStart = ClockMs();
    int index = 0;
    for (const char* fen : BENCH_POSITIONS) {
        ++index;
        mainContext.current = NewGame();
        ParseFen(mainContext, fen, nullptr);
        timeControl.startTime = ClockMs();
        uint64_t result = SearchMain(mainContext);
        uint64_t nodes = nodeCount;
        totalNodes += nodes;
        char move[8] = "0000";
        if (ResultMove(result)) MoveToText(move, ResultMove(result), int(mainContext.current->side));
        std::printf("Position %2d: bestmove %-5s score %6d nodes %10" PRIu64 " time %6d ms\n", index, move,
                    int(ResultScore(result)), nodes, int(timeControl.elapsed));
        std::fflush(stdout);
    }
    int32_t elapsed = int32_t(uint32_t(ClockMs()) - uint32_t(benchStart));
    uint64_t nps = elapsed > 0 ? totalNodes * 1000 / uint64_t(elapsed) : 0;

    std::printf("\nDepth: %d  Threads: %d  Time: %d ms\n", depth, threads, int(elapsed));
    std::printf("Nodes searched: %" PRIu64 "\n", totalNodes);
    std::printf("Nodes/second: %" PRIu64 "\n", nps);
    std::fflush(stdout);
    return 0;
}
