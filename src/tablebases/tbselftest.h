// Console commands over the tablebases: the listing of the current position ("probe") and the self-test
// against reference files ("syzygy").
#pragma once

// Where the self-test finds its nine TestCase_01.txt .. TestCase_09.txt files and appends ErrorDTZ.txt,
// ErrorWDL.txt and BadFEN.txt, relative to the working directory.
constexpr const char* TABLEBASE_TEST_DIRECTORY = "TestSyzygy";

// Board, legal moves, root filter result, DTZ, WDL and the kept moves of the game position.
void PrintTablebaseListing();
// Compares WDL and DTZ probes of every reference position with the expected values; ends the process with
// "File not found" when a file cannot be opened.
void RunTablebaseTest();
