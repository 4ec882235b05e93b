#include "tablebases/tbselftest.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/fen.h"
#include "board/movegen.h"
#include "frontend/selftest.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"

namespace {

// The terminal's own clear-screen sequence: erase the display, cursor home.
void ClearScreen() { fputs("\x1b[2J\x1b[H", stdout); }

}  // namespace

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
        ClearScreen();
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
                ClearScreen();
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
