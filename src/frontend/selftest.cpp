#include "frontend/selftest.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/see.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"

namespace {

struct ExchangeRecord {
    char fen[200];
    char move[8];
    int16_t score;
};

const ExchangeRecord EXCHANGE_TESTS[25] = {
    {"3r3k/3r4/2n1n3/8/3p4/2PR4/1B1Q4/3R3K w - - 0 1", "c3d4", -125},
    {"1k1r4/1ppn3p/p4b2/4n3/8/P2N2P1/1PP1R1BP/2K1Q3 w - - 0 1", "d3e5", 150},
    {"1k1r3q/1ppn3p/p4b2/4p3/8/P2N2P1/1PP1R1BP/2K1Q3 w - - 0 1", "d3e5", -1025},
    {"rnb2b1r/ppp2kpp/5n2/4P3/q2P3B/5R2/PPP2PPP/RN1QKB2 w Q - 1 1", "e5f6", 325},
    {"r2q1rk1/2p1bppp/p2p1n2/1p2P3/4P1b1/1nP1BN2/PP3PPP/RN1QR1K1 b - - 1 1", "b3a1", 500},
    {"r1bqkb1r/2pp1ppp/p1n5/1p2p3/3Pn3/1B3N2/PPP2PPP/RNBQ1RK1 b kq - 2 1", "e5d4", 0},
    {"r1bq1r2/pp1ppkbp/4N1p1/n3P1B1/8/2N5/PPP2PPP/R2QK2R w KQ - 2 1", "e6d8", 625},
    {"rnq1k2r/1b3ppp/p2bpn2/1p1p4/3N4/1BN1P3/PPP2PPP/R1BQR1K1 b kq - 0 1", "c8c3", -625},
    {"rn2k2r/1bq2ppp/p2bpn2/1p1p4/3N4/1BN1P3/PPP2PPP/R1BQR1K1 b kq - 5 1", "c7c3", -625},
    {"r2qkbn1/ppp1pp1p/3p1rp1/3Pn3/4P1b1/2N2N2/PPP2PPP/R1BQKB1R b KQq - 2 1", "e5f3", 725},
    {"rnbq1rk1/pppp1ppp/4pn2/8/1bPP4/P1N5/1PQ1PPPP/R1B1KBNR b KQ - 1 1", "b4c3", 0},
    {"r4rk1/3nppbp/bq1p1np1/2pP4/8/2N2NPP/PP2PPB1/R1BQR1K1 b - - 1 1", "f6d5", -225},
    {"r4rk1/1q1nppbp/b2p1np1/2pP4/8/2N2NPP/PP2PPB1/R1BQR1K1 b - - 1 1", "f6d5", -850},
    {"1r3r2/5p2/4p2p/2k1n1P1/2PN1nP1/1P3P2/8/2KR1B1R b - - 0 29", "h6g5", 100},
    {"1r3r2/5p2/4p2p/4n1P1/kPPN1nP1/5P2/8/2KR1B1R b - - 0 1", "h6g5", 100},
    {"2r2rk1/5pp1/pp5p/q2p4/P3n3/1Q3NP1/1P2PP1P/2RR2K1 b - - 1 22", "c8c1", 0},
    {"1r3r1k/p4pp1/2p1p2p/qpQP3P/2P5/3R4/PP3PP1/1K1R4 b - - 0 1", "b5c4", 0},
    {"1r5k/p4pp1/2p1p2p/qpQP3P/2P2P2/1P1R4/P4rP1/1K1R4 b - - 0 1", "b5c4", 0},
    {"r2q1rk1/1b2bppp/p2p1n2/1ppNp3/3nP3/P2P1N1P/BPP2PP1/R1BQR1K1 w - - 4 14", "d5e7", 0},
    {"rnbqrbn1/pp3ppp/3p4/2p2k2/4p3/3B1K2/PPP2PPP/RNB1Q1NR w - - 0 1", "d3e4", 275},
    {"rnb1k2r/p3p1pp/1p3p1b/7n/1N2N3/3P1PB1/PPP1P1PP/R2QKB1R w KQkq - 0 1", "g3b8", 0},
    {"r1b1k2r/p4npp/1pp2p1b/7n/1N2N3/3P1PB1/PPP1P1PP/R2QKB1R w KQkq - 0 1", "e4f6", -225},
    {"2r1k3/pbr3pp/5p1b/2KB3n/1N2N3/3P1PB1/PPP1P1PP/R2Q3R w - - 0 1", "g3c7", 175},
    {"r4k2/p2P2pp/8/1pb5/1Nn1P1n1/5Q2/PPP4P/R3K1NR w KQ - 0 1", "d7d8q", 0},
    {"5k2/p2P2pp/1b6/1p6/1Nn1P1n1/8/PPP4P/R2QK1NR w KQ - 0 1", "d7d8q", -625},
};

// The capture the search would try first: the highest ordering score that is legal, taken from the end of
// the list as the capture stage does (an equal score nearer the end wins). 0 when there is none.
Move BestCapture(const Position& pos) {
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateNoisy(pos, list);
    for (MoveEntry* slot = end - 1; slot >= list; --slot) {
        MoveEntry* best = slot;
        for (MoveEntry* e = slot - 1; e >= list; --e)
            if (e->score > best->score) best = e;
        std::swap(*best, *slot);
        if (IsLegal(pos, slot->move)) return slot->move;
    }
    return 0;
}

}  // namespace

void RunExchangeTest() {
    int number = 1;
    for (const ExchangeRecord& r : EXCHANGE_TESTS) {
        ParseFen(mainContext, r.fen, nullptr);
        Position& pos = *mainContext.current;
        Move move = TextToMove(pos, r.move);
        Move best = BestCapture(pos);

        char bestText[8] = "none";
        int bestSee = 0;
        if (best) {
            MoveToText(bestText, best, pos.side);
            bestSee = See(&pos, best);
        }
        std::printf("\nTestCase %2i                      Score:          %5i\n", number++, r.score);
        std::printf("Move:           %8s      SEE move:       %8i\n", r.move, See(&pos, move));
        std::printf("Best:           %8s      SEE best:       %8i\n", bestText, bestSee);
    }
}

void PrintProgress(double fraction) {
    static const char BAR[] = "||||||||||||||||||||||||||||||||||||||||||||||||||||||||||||";
    static_assert(sizeof BAR == 61);
    int percent = int(fraction * 100);
    int width = int(fraction * 60);
    if (width < 0) width = 0;
    if (width > 60) width = 60;
    std::printf("\r%3d%% [%.*s%*s]", percent, width, BAR, 60 - width, "");
    std::fflush(stdout);
}

void PrintTablebaseListing() {
    Position* pos = mainContext.current;
    PrintBoard(*pos);
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(*pos, list);
    char text[MOVE_TEXT_SIZE];
    printf("Legal moves:    %i\n", int(end - list));
    for (MoveEntry* m = end - 1; m >= list; --m) {
        MoveToText(text, m->move, int(pos->side));
        printf("Move: %s\n", text);
    }
    int16_t score = 0;
    int covered = RootProbe(pos, list, score, end);
    int success;
    printf("\nEGTB position:  %i  (%i=true, %i=false)\n", covered, 1, 0);
    printf("DTZ:            %i\n", ProbeDtz(pos, success));
    printf("WDL:            %i\n", ProbeWdl(pos, success));
    printf("TBScore:        %i\n\n", int(score));
    printf("EGTB moves:     %i\n", int(uint8_t(end - list)));
    if (covered)
        for (MoveEntry* m = end - 1; m >= list; --m) {
            MoveToText(text, m->move, int(pos->side));
            printf("Move: %s   DTZ: %i\n", text, int(m->score));
        }
    fflush(stdout);
}

void RunTablebaseTest() {
    uint64_t wdlErrors = 0, dtzErrors = 0, fenErrors = 0;
    char errorDtz[255], errorWdl[255], badFen[255];
    snprintf(errorDtz, sizeof(errorDtz), "%s/ErrorDTZ.txt", TABLEBASE_TEST_DIRECTORY);
    snprintf(errorWdl, sizeof(errorWdl), "%s/ErrorWDL.txt", TABLEBASE_TEST_DIRECTORY);
    snprintf(badFen, sizeof(badFen), "%s/BadFEN.txt", TABLEBASE_TEST_DIRECTORY);
    for (int file = 1; file <= 9; ++file) {
        char path[255];
        snprintf(path, sizeof(path), "%s/TestCase_%02d.txt", TABLEBASE_TEST_DIRECTORY, file);
        FILE* in = fopen(path, "r");
        FILE* dtzOut = fopen(errorDtz, "a");
        FILE* wdlOut = fopen(errorWdl, "a");
        FILE* fenOut = fopen(badFen, "a");
        if (!in || !dtzOut || !wdlOut || !fenOut) {
            fputs("File not found\n", stdout);
            fflush(stdout);
            std::exit(1);
        }
        ClearConsole();
        printf("%s\n", path);
        fflush(stdout);

        uint64_t lines = 0;
        char line[255];
        while (fgets(line, sizeof(line), in)) {
            char copy[255];
            std::strcpy(copy, line);
            ++lines;
            char* fen = std::strtok(line, ",");
            char* dtzText = std::strtok(nullptr, ",");
            char* wdlText = std::strtok(nullptr, ",");
            int expectedDtz = dtzText ? std::atoi(dtzText) : 0;
            int expectedWdl = wdlText ? std::atoi(wdlText) : 0;

            if (lines % 100000 == 0) {
                ClearConsole();
                printf("%s\n", path);
                PrintProgress(float(lines) / 2500000.0f);  // single-precision fraction, as the counters
                printf("\n");
                printf("WDL Error:  %10llu   %3.2f%%\n", (unsigned long long)wdlErrors, double(float(wdlErrors) / 25000.0f));
                printf("DTZ Error:  %10llu   %3.2f%%\n", (unsigned long long)dtzErrors, double(float(dtzErrors) / 25000.0f));
                printf("FEN Error:  %10llu   %3.2f%%\n", (unsigned long long)fenErrors, double(float(fenErrors) / 25000.0f));
                fflush(stdout);
            }

            if (!fen || !ParseFen(mainContext, fen, nullptr)) {
                ++fenErrors;
                fputs(copy, fenOut);
                continue;
            }
            int success;
            int wdl = ProbeWdl(mainContext.current, success);
            int dtz = ProbeDtz(mainContext.current, success);
            if (wdl != expectedWdl) {
                ++wdlErrors;
                fputs(copy, wdlOut);
            }
            if (dtz != expectedDtz) {
                ++dtzErrors;
                fputs(copy, dtzOut);
            }
        }
        fclose(in);
        fclose(dtzOut);
        fclose(wdlOut);
        fclose(fenOut);
    }
    printf("\nSyzygy Test ended.\n");
    fflush(stdout);
}

const PerftRecord PERFT_POSITIONS[6] = {
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 6, 119060324},
    {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5, 193690690},
    {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 7, 178633661},
    {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 6, 706045033},
    {"rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6", 3, 53392},
    {"r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10", 5, 164075551},
};

void RunBenchmark() {
    PerftRecord records[6];
    std::memcpy(records, PERFT_POSITIONS, sizeof records);

    std::printf("Running benchmark. . .\n");
    std::fflush(stdout);
    int64_t start = ProcessorClockMs();

    uint64_t total = 0;
    for (const PerftRecord& r : records) {
        std::fflush(stdout);
        mainContext.current = NewGame();
        ParseFen(mainContext, r.fen, nullptr);
        uint64_t n = Perft(mainContext, r.depth);
        total += n;
        std::printf("Expected value:         %" PRIu64 "\n", r.expected);
        std::printf("Calculated value:       %" PRIu64 "\n\n", n);
    }

    double elapsed = double(ProcessorClockMs() - start) / 1000.0;
    // A run too short for the clock to see reports no speed rather than dividing by zero.
    uint64_t rate = elapsed > 0 ? uint64_t(double(total) / elapsed) : 0;
    std::printf("\nTotal nodes:            %" PRIu64 "\n", total);
    std::printf("Raw nodes/s:            %" PRIu64 "\n", rate);
    std::printf("Total elapsed time:     %.2f s\n", elapsed);
}
