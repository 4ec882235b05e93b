// The UCI protocol with pondering.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Runs the UCI loop until a line beginning with "q"; returns 1 when the program should end.
int UciLoop();

// With mode UCI, starts tPonderUCIMonitor on a thread of its own that is never joined; else does nothing.
void StartPonderMonitor(uint32_t mode);
// The only reader of standard input during a ponder or infinite search: waits for "ponderhit" or "stop".
void tPonderUCIMonitor();

// Longer input lines are cut to this many characters; the rest, up to the newline, is dropped.
constexpr size_t UCI_LINE_MAX = size_t(1) << 20;

// Command bodies of the loop.
// Reads one input line without its newline (and trailing blanks); false at end of input.
bool ReadUciLine(std::string& line);
// "go": stores the clock and limit values and sets the search flags; true when the search needs the monitor.
bool ReadGoParameters(const char* line);
// "position": sets the game from the start position or the FEN of the line and plays its moves; 0 on failure.
int SetUciPosition(const char* line);
