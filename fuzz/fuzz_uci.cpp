// The UCI command loop fed with arbitrary lines; searches are limited to a shallow depth.
#include "board/position.h"
#include "frontend/uci.h"
#include "fuzz_lines.h"
#include "search/search.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzSetup();
    static const char* const slow[] = {"go"};
    std::string text = KeepQuickLines(data, size, slow, 1);
    // Every "go" the fuzzer wrote becomes a short fixed-depth search at the end of the input.
    std::string in(reinterpret_cast<const char*>(data), size);
    if (in.find("\ngo") != std::string::npos || in.rfind("go", 0) == 0) text += "go depth 2\n";
    ProtocolMode = MODE_UCI;
    mainContext.current = NewGame();
    RunLoopOn(text, UciLoop);
    return 0;
}
