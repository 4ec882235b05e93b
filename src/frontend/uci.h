// The UCI protocol with pondering.
#pragma once

#include <cstdint>

enum : uint32_t { MODE_CONSOLE = 0, MODE_UCI = 2 };

// The active front end: selects the dialect of the search output and whether a console search is untimed.
extern uint32_t ProtocolMode;

// Runs the UCI loop until a line beginning with "q"; returns 1 when the program should end.
int UciLoop();
