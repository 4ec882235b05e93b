#include "frontend/input.h"

#include <cstdio>

bool ReadInputLine(char (&buf)[LINE_BUFFER]) {
    if (!std::fgets(buf, LINE_BUFFER, stdin)) {
        buf[0] = '\0';
        return false;
    }
    return true;
}
