// The UCI protocol with pondering.
#pragma once

#include <cstdint>

#include "board/types.h"

enum : uint32_t { MODE_CONSOLE = 0, MODE_UCI = 2 };

// The active front end: selects the dialect of the search output and whether a console search is untimed.
extern uint32_t ProtocolMode;

// The running search may not end with a best move yet ("go ponder" or "go infinite"); cleared by the input
// monitor on "ponderhit" or "stop", and by the time allocation when the opponent is short of time.
extern Relaxed<uint32_t> pondering;
// The running search was started by "go infinite": no book, no time allocation.
extern Relaxed<uint32_t> infiniteSearch;

// Runs the UCI loop until a line beginning with "q"; returns 1 when the program should end.
int UciLoop();
