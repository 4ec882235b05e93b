// How closely a timed search keeps its move-time limit, with 1 and 2 threads: each search runs under the
// timer with no depth limit, and the overshoot is the wall time past the limit when the search returns.
// The timer fires once a whole centisecond beyond the limit has passed, so about 10 ms of overshoot is by
// design; the rest is the time the threads take to unwind.  Usage: search_timing [limit-cs ...]
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "board/fen.h"
#include "eval/pawns.h"
#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "settings/settings.h"

int main(int argc, char** argv) {
    std::vector<int> limits;
    for (int i = 1; i < argc; ++i) limits.push_back(std::atoi(argv[i]));
    if (limits.empty()) limits = {10, 50, 100};
    const char* const positions[] = {
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
        "r1b2rk1/2q1bppp/pp2p3/2npP3/1n3P1P/2NBBN2/PPPQ2P1/1K1R3R w - - 0 14",
    };

    ProtocolMode = MODE_CONSOLE;
    settings.maxDepth = 63;
    settings.postThinking = 0;
    settings.useSyzygy = 0;
    AllocateHashTable(HashEntriesForMB(64), 64);
    for (int i = 0; i < 2; ++i) AllocPawnHash(threadContexts[i].pawnHash, 1 << 16, 0, false, i + 1);

    for (int threads = 1; threads <= 2; ++threads) {
        settings.threadCount = uint8_t(threads);
        for (int limit : limits) {
            int worst = 0, total = 0;
            for (const char* fen : positions) {
                mainContext.current = NewGame();
                ParseFen(mainContext, fen, nullptr);
                timeControl.moveTimeLimit = limit;
                timeControl.movesToGo = 0;
                timeControl.myTime = timeControl.oppTime = 720000;
                timeControl.startTime = ClockMs();
                AllocateTime(timeControl, 30);
                SearchMain(mainContext);
                int over = int(ClockMs() - timeControl.startTime) - limit * 10;
                total += over;
                if (over > worst) worst = over;
            }
            std::printf("threads %d  limit %5d ms  overshoot mean %3d ms  worst %3d ms\n", threads, limit * 10,
                        total / int(std::size(positions)), worst);
        }
    }
    return 0;
}
