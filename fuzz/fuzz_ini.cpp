// The settings reader on arbitrary file contents.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "frontend/config.h"
#include "frontend/minIni.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/ferrolune_fuzz_ini_" + std::to_string(getpid()) + ".ini";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    char buffer[64];
    IniGetString("ENGINE", "BookFile", "x", buffer, sizeof buffer, path.c_str());
    IniGetString("BOOK", "A Key", "", buffer, 1, path.c_str());
    IniGetLong("TIME", "MoveOverhead", 7, path.c_str());
    IniGetBool("TABLEBASE", "Syzygy", 1, path.c_str());
    std::FILE* out = std::freopen("/dev/null", "w", stdout);  // LoadSettings announces the thread count
    (void)out;
    LoadSettings(path.c_str());
    return 0;
}
