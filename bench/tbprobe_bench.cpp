// Tablebase probe speed over the self-test reference positions, tables loaded beforehand. Rates are per
// second of this process's processor time, which a busy machine disturbs less than the wall clock.
// Usage: tbprobe_bench TABLE_DIRECTORY TEST_FILE... (for example the nine TestCase_0N.txt files)
#include <ctime>
#include <cstdio>
#include <cstring>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"
#include "tablebases/tbregistry.h"

namespace {

// A position with free records behind it for the probes' moves.
struct ProbeStack {
    Position records[32];
};

template <typename F>
double Seconds(F&& f) {
    std::clock_t start = std::clock();
    f();
    return double(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s TABLE_DIRECTORY TEST_FILE...\n", argv[0]);
        return 2;
    }
    InitTablebases(argv[1], argv[1]);
    std::vector<ProbeStack> positions;
    for (int i = 2; i < argc; ++i) {
        FILE* in = fopen(argv[i], "r");
        if (!in) continue;
        char line[256];
        while (fgets(line, sizeof(line), in)) {
            if (char* comma = strchr(line, ',')) *comma = 0;
            NewGame();
            mainContext.current = mainContext.positionStack.Records();
            if (!ParseFen(mainContext, line, nullptr)) continue;
            positions.emplace_back();
            positions.back().records[0] = *mainContext.current;
        }
        fclose(in);
    }
    if (positions.empty()) return 1;

    long checksum = 0;
    int success;
    for (ProbeStack& p : positions) checksum += ProbeWdl(p.records, success) + ProbeDtz(p.records, success);

    const int rounds = 200;
    double wdl = Seconds([&] {
        for (int r = 0; r < rounds; ++r)
            for (ProbeStack& p : positions) checksum += ProbeWdl(p.records, success);
    });
    double table = Seconds([&] {
        for (int r = 0; r < rounds; ++r)
            for (ProbeStack& p : positions) checksum += ProbeWdlTable(p.records[0], success);
    });
    double dtz = Seconds([&] {
        for (int r = 0; r < rounds / 10; ++r)
            for (ProbeStack& p : positions) checksum += ProbeDtz(p.records, success);
    });
    double n = double(positions.size());
    printf("%zu positions (checksum %ld)\n", positions.size(), checksum);
    printf("ProbeWdl:      %10.0f probes/s\n", n * rounds / wdl);
    printf("ProbeWdlTable: %10.0f lookups/s\n", n * rounds / table);
    printf("ProbeDtz:      %10.0f probes/s\n", n * (rounds / 10) / dtz);
    return 0;
}
