#include "frontend/input.h"

namespace {
FILE* inputStream = nullptr;  // null means standard input, which is not a constant expression
}

void SetInputStream(FILE* stream) { inputStream = stream; }

bool ReadInputLine(char (&buf)[LINE_BUFFER]) {
    if (!std::fgets(buf, LINE_BUFFER, inputStream ? inputStream : stdin)) {
        buf[0] = '\0';
        return false;
    }
    return true;
}
