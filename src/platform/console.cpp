#include "platform/console.h"

#include <cstdio>
#include <cstdlib>

#ifdef _WIN32

void ClearConsole() {
    std::fflush(stdout);
    // The shell's return value says nothing the caller could act on.
    [[maybe_unused]] const int status = std::system("cls");
}

#else

// Erase the display, cursor home.
void ClearConsole() { std::fputs("\x1b[2J\x1b[H", stdout); }

#endif
