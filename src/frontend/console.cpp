#include "frontend/console.h"

#include "frontend/input.h"

// Placeholder until the real console lands: returns on a line beginning with "q" or at end of input.
int ConsoleLoop() {
    char line[LINE_BUFFER];
    while (ReadInputLine(line))
        if (line[0] == 'q') return 1;
    return 1;
}
