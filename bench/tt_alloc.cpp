// Time and resident memory of allocating and clearing the transposition table at a given size (default
// 8192 MB): untouched, once a pooled table's helper has faulted its entries and first slots in, and after a
// burst of stores.  Usage: tt_alloc [MB] [stores]
#include <unistd.h>

#include <chrono>
#include <thread>
#include <cstdio>
#include <cstdlib>

#include "search/tt.h"

namespace {

double ResidentMB() {
    long pages = 0, resident = 0;
    if (FILE* f = fopen("/proc/self/statm", "r")) {
        if (fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        fclose(f);
    }
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

template <typename F>
double Milliseconds(F&& f) {
    auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    int megabytes = argc > 1 ? atoi(argv[1]) : 8192;
    long stores = argc > 2 ? atol(argv[2]) : 4000000;
    uint64_t entries = HashEntriesForMB(megabytes);
    printf("rss at start: %.1f MB\n", ResidentMB());

    double t = Milliseconds([&] { AllocateHashTable(entries, megabytes); });
    printf("allocate %d MB (%llu records): %.3f ms, rss %.1f MB\n", megabytes, (unsigned long long)entries, t,
           ResidentMB());
    t = Milliseconds([] { ClearHashTable(); });
    printf("clear untouched table: %.3f ms, rss %.1f MB\n", t, ResidentMB());
    // The helper's pages: resident memory once it stops growing.
    double resident = ResidentMB(), previous = -1;
    t = Milliseconds([&] {
        while (resident != previous) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            previous = resident;
            resident = ResidentMB();
        }
    });
    printf("faulted in: %.3f ms, rss %.1f MB\n", t, resident);

    // The same pseudo-random keys on every call, so a second pass writes exactly where the first did.
    const auto storeRandomKeys = [stores] {
        Position pos{};
        uint64_t key = 0x9E3779B97F4A7C15ull;
        for (long i = 0; i < stores; ++i) {
            key = key * 6364136223846793005ull + 1442695040888963407ull;
            pos.key = key;
            StoreHash(pos, uint8_t(i & 63), 1, BoundExact, int16_t(i), Move(i));
        }
    };
    t = Milliseconds(storeRandomKeys);
    printf("%ld random stores: %.3f ms, rss %.1f MB\n", stores, t, ResidentMB());
    t = Milliseconds([] { ClearHashTable(); });
    printf("clear used table: %.3f ms, rss %.1f MB\n", t, ResidentMB());
    // The pages stay: the same stores again take no new memory and no first-touch faults.
    t = Milliseconds(storeRandomKeys);
    printf("%ld random stores after the clear: %.3f ms, rss %.1f MB\n", stores, t, ResidentMB());
    t = Milliseconds([&] { AllocateHashTable(entries, megabytes); });
    printf("allocate again: %.3f ms, rss %.1f MB\n", t, ResidentMB());
    t = Milliseconds([] { ClearHashTable(); });
    printf("clear untouched table: %.3f ms, rss %.1f MB\n", t, ResidentMB());
    return 0;
}
