#include "frontend/uci.h"

#include "frontend/input.h"

uint32_t ProtocolMode = MODE_CONSOLE;
Relaxed<uint32_t> pondering;
Relaxed<uint32_t> infiniteSearch;

// Placeholder until the real protocol lands: returns on a line beginning with "q" or at end of input.
int UciLoop() {
    char line[LINE_BUFFER];
    while (ReadInputLine(line))
        if (line[0] == 'q') return 1;
    return 1;
}
