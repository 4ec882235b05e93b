// The Polyglot reader on arbitrary book files.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "book/book.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/ferrolune_fuzz_book_" + std::to_string(getpid()) + ".bin";
    static bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    (void)quiet;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    const char* fens[] = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                          "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1"};
    for (const char* fen : fens) {
        char move[16];
        BookPick(path.c_str(), move, fen);
        BookList(path.c_str(), fen);
    }
    return 0;
}
