// The console command loop fed with arbitrary lines.
#include "board/position.h"
#include "frontend/console.h"
#include "fuzz_lines.h"
#include "search/search.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzSetup();
    // Untimed searches, the perft benchmark, the tablebase self-test, big dumps and reallocations are skipped.
    static const char* const slow[] = {"go", "perft", "syzygy", "dump", "memory", "thread"};
    std::string text = KeepQuickLines(data, size, slow, 6);
    if (!text.empty()) {
        mainContext.current = NewGame();
        RunLoopOn(text, ConsoleLoop);
    }
    return 0;
}
