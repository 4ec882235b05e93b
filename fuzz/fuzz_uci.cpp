// The UCI command loop fed with arbitrary lines, pondering and infinite searches included; every command
// may follow every other.
#include <cstdlib>
#include <cstring>

#include "frontend/uci.h"
#include "fuzz_lines.h"

namespace {

bool IsTimeWord(const std::string& word) {
    return word == "wtime" || word == "btime" || word == "winc" || word == "binc" || word == "movetime";
}

// A "go" becomes a depth-2 search with its times cut to at most 20 ms, so that the timer stops some of
// the searches. Nothing else changes: "quit" only ends the loop, and no command writes files.
std::string QuickLine(const std::string& line) {
    // What the loop compares: NUL bytes read as blanks, trailing blanks and carriage returns dropped.
    std::string seen = line;
    for (char& c : seen)
        if (c == '\0') c = ' ';
    while (!seen.empty() && (seen.back() == '\r' || seen.back() == ' ' || seen.back() == '\t')) seen.pop_back();
    if (seen.compare(0, 2, "go") != 0) return line;

    // The words as the loop splits them: from the third character, at blanks.
    std::string out = "go";
    bool timeValue = false;
    for (size_t p = 2; p < seen.size();) {
        while (p < seen.size() && seen[p] == ' ') ++p;
        size_t end = seen.find(' ', p);
        if (end == std::string::npos) end = seen.size();
        std::string word = seen.substr(p, end - p);
        p = end;
        if (word.empty()) break;
        if (timeValue) {
            char* rest;
            long long value = std::strtoll(word.c_str(), &rest, 10);
            if (rest != word.c_str() && value > 20) word = std::to_string(1 + value % 20) + rest;
        }
        timeValue = IsTimeWord(word);
        out += " " + word;
    }
    return out + " depth 2";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzSetup();
    ProtocolMode = MODE_UCI;
    RunLoopOn(RewriteLines(data, size, QuickLine), UciLoop);
    return 0;
}
