// Console commands that check parts of the engine against known values: the static exchange and tablebase
// self-tests, the perft benchmark, and the tablebase listing of the game position.
#pragma once

#include <cstdint>

// "see": the static exchange of 25 positions, the given move and the best capture, beside the reference
// score. Leaves the game position at the last test position.
void RunExchangeTest();

// The progress bar "\r%3d%% [...]" of 60 characters for a fraction between 0 and 1.
void PrintProgress(double fraction);

// Where the tablebase self-test finds its nine TestCase_01.txt .. TestCase_09.txt files and appends
// ErrorDTZ.txt, ErrorWDL.txt and BadFEN.txt: on Windows the engine's own fixed folder on drive D:, elsewhere
// the folder TestSyzygy of the working directory.
#ifdef _WIN32
constexpr const char* TABLEBASE_TEST_DIRECTORY = "D:/Release Under Test/TestSyzygy";
#else
constexpr const char* TABLEBASE_TEST_DIRECTORY = "TestSyzygy";
#endif

// "syzygy": compares WDL and DTZ probes of every reference position with the expected values; ends the
// process with "File not found" when a file cannot be opened.
void RunTablebaseTest();
// "probe": board, legal moves, root filter result, DTZ, WDL and the kept moves of the game position.
void PrintTablebaseListing();

struct PerftRecord {
    char fen[200];
    uint32_t depth;
    uint64_t expected;
};

// The six positions of the perft benchmark with their published leaf counts.
extern const PerftRecord PERFT_POSITIONS[6];

// "perft": runs perft over the six positions and prints both counts and the speed. The game position is
// left at the last benchmark position.
void RunBenchmark();
