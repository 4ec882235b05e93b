// Shared by the command-loop fuzzers: small settings, quiet output, and arbitrary bytes turned into lines
// that the real loops read through the line reader.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "board/position.h"
#include "frontend/config.h"
#include "frontend/input.h"
#include "search/search.h"
#include "search/timeman.h"

// Small tables, no book, no tablebases: each input must run in milliseconds. Every input starts from the
// settings, clocks and game that this leaves, whatever the one before it changed.
inline void FuzzSetup() {
    static bool done = false;
    static EngineSettings startSettings;
    static TimeControl startClocks;
    if (!done) {
        done = true;
        std::string ini = "/tmp/ferrolune_fuzz_" + std::to_string(getpid()) + ".ini";
        if (FILE* f = std::fopen(ini.c_str(), "w")) {
            std::fputs("[ENGINE]\nHashSize=1\nHashPawnSize=1\nThread=2\nMaxDepth=3\n[BOOK]\nBook=0\n"
                       "[TABLEBASE]\nSyzygy=0\n", f);
            std::fclose(f);
        }
        if (!std::freopen("/dev/null", "w", stdout)) std::abort();
        LoadSettings(ini.c_str());
        std::remove(ini.c_str());
        startSettings = settings;
        startClocks = timeControl;
    }
    settings = startSettings;
    timeControl = startClocks;
    mainContext.current = NewGame();
}

// Splits the input at its line feeds; rewrite gives the text the loop reads in place of each line.
template <typename Rewrite>
std::string RewriteLines(const uint8_t* data, size_t size, Rewrite rewrite) {
    std::string in(reinterpret_cast<const char*>(data), size), out;
    for (size_t start = 0; start < in.size();) {
        size_t end = in.find('\n', start);
        bool lineFeed = end != std::string::npos;
        if (!lineFeed) end = in.size();
        out += rewrite(in.substr(start, end - start));
        if (lineFeed) out += '\n';
        start = end + 1;
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
