// Table files with arbitrary contents: registration, loading and probes must stay inside the mapping.
// The first input byte picks the material (bit 0: KRvK or KPvK); the rest is written as both its WDL
// and its DTZ file, so a mutated file of either kind is exercised by its own magic number.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "board/fen.h"
#include "board/position.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"
#include "tablebases/tbregistry.h"

namespace {

const char* const PIECE_FENS[] = {"8/8/8/8/8/8/8/R3K2k w - - 0 1", "8/8/8/3k4/8/8/8/R3K3 b - - 0 1",
                                  "7R/8/8/8/8/2k5/8/K7 w - - 0 1", "k7/8/8/8/8/8/8/1R5K b - - 0 1"};
const char* const PAWN_FENS[] = {"8/8/8/8/8/8/4P3/4K2k w - - 0 1", "8/8/8/3k4/8/8/1P6/4K3 b - - 0 1",
                                 "8/P7/8/8/8/2k5/8/K7 w - - 0 1", "k7/8/8/8/8/7P/8/7K b - - 0 1"};

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string dir = "/tmp/ferrolune_fuzz_tb_" + std::to_string(getpid());
    static bool ready = [] {
        unsetenv("RTBWDIR");
        unsetenv("RTBZDIR");
        return std::freopen("/dev/null", "w", stdout) != nullptr && system(("mkdir -p " + dir).c_str()) == 0;
    }();
    if (!ready || size < 1) return 0;

    const bool pawns = data[0] & 1;
    const std::string name = pawns ? "KPvK" : "KRvK";
    std::remove((dir + "/KRvK.rtbw").c_str());
    std::remove((dir + "/KPvK.rtbw").c_str());
    WriteFile(dir + "/" + name + ".rtbw", data + 1, size - 1);
    WriteFile(dir + "/" + name + ".rtbz", data + 1, size - 1);
    InitTablebases(dir.c_str(), dir.c_str());

    for (const char* fen : pawns ? PAWN_FENS : PIECE_FENS) {
        mainContext.current = NewGame();
        if (!ParseFen(mainContext, fen, nullptr)) continue;
        int success = 0;
        ProbeWdl(mainContext.current, success);
        ProbeDtz(mainContext.current, success);
    }
    return 0;
}
