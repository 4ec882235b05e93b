// The console command loop fed with arbitrary lines; every command may follow every other.
#include <cstdio>
#include <cstring>

#include "frontend/console.h"
#include "fuzz_lines.h"

namespace {

// "go" becomes a depth-2 search; big tables and thread counts are scaled down. "perft" (minutes of move
// generation) and "syzygy" (the table self-test, which writes files) are left out.
std::string QuickLine(const std::string& line) {
    // The console compares the text up to a NUL byte, and refuses a line that fills its buffer.
    if (line.size() >= LINE_BUFFER - 1) return line;
    const char* text = line.c_str();
    int n;
    if (std::strcmp(text, "perft") == 0 || std::strcmp(text, "syzygy") == 0) return "";
    if (std::strcmp(text, "go") == 0) return "sd 2\ngo";
    if (std::strncmp(text, "memory", 6) == 0 && std::sscanf(text, "memory %d", &n) == 1 && n > 4 && n <= 8192)
        return "memory " + std::to_string(1 + n % 4);
    if (std::strncmp(text, "thread", 6) == 0 && std::sscanf(text, "thread %i", &n) == 1 && n > 3 && n <= 24)
        return "thread " + std::to_string(1 + n % 3);
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzSetup();
    ProtocolMode = MODE_CONSOLE;
    RunLoopOn(RewriteLines(data, size, QuickLine), ConsoleLoop);
    return 0;
}
