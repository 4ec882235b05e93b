// Shared by the command-loop fuzzers: small settings, quiet output, and arbitrary bytes turned into lines.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "frontend/config.h"
#include "frontend/input.h"

// Small tables, no book, no tablebases: each input must run in milliseconds.
inline void FuzzSetup() {
    static bool done = false;
    if (done) return;
    done = true;
    std::string ini = "/tmp/ferrolune_fuzz_" + std::to_string(getpid()) + ".ini";
    if (FILE* f = std::fopen(ini.c_str(), "w")) {
        std::fputs("[ENGINE]\nHashSize=1\nHashPawnSize=1\nThread=2\nMaxDepth=3\n[BOOK]\nBook=0\n"
                   "[TABLEBASE]\nSyzygy=0\n", f);
        std::fclose(f);
    }
    if (!std::freopen("/dev/null", "w", stdout)) return;
    LoadSettings(ini.c_str());
}

// Keeps the lines whose command cannot take long; the rest are dropped before the loop sees them.
inline std::string KeepQuickLines(const uint8_t* data, size_t size, const char* const* slow, int slowCount) {
    std::string in(reinterpret_cast<const char*>(data), size), out;
    size_t start = 0;
    while (start < in.size()) {
        size_t end = in.find('\n', start);
        std::string line = in.substr(start, end == std::string::npos ? std::string::npos : end - start);
        start = end == std::string::npos ? in.size() : end + 1;
        bool drop = false;
        for (int i = 0; i < slowCount && !drop; ++i) drop = line.rfind(slow[i], 0) == 0;
        if (!drop) out += line + "\n";
    }
    return out;
}

// Runs loop with the given text as its whole input.
template <typename Loop>
void RunLoopOn(const std::string& text, Loop loop) {
    MemoryInput input(text);
    SetInputSource(&input);
    loop();
    SetInputSource(nullptr);
}
