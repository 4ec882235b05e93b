#include "frontend/input.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "platform/input.h"

namespace {

// The main thread and the ponder monitor take turns at reading; the mutex orders their use of the buffer.
// Made on first use: with MinGW-w64's threads a std::mutex is not initialised as a constant, and no code of
// the engine may run before main (the portable executable chooses its code there).
std::mutex& ReaderMutex() {
    static std::mutex readerMutex;
    return readerMutex;
}
// Null: standard input, read through the platform layer. No InputSource object stands for it: that would be
// a global with a virtual destructor, which needs code run before main.
InputSource* source = nullptr;
char readAhead[4096];
size_t readStart = 0, readEnd = 0;

// Makes sure bytes are waiting; false at the end of the input. Called with the mutex held.
bool Fill() {
    if (readStart < readEnd) return true;
    readStart = 0;
    readEnd = source ? source->Read(readAhead, sizeof readAhead) : ReadStandardInput(readAhead, sizeof readAhead);
    return readEnd > 0;
}

}  // namespace

size_t MemoryInput::Read(char* buffer, size_t size) {
    size_t n = std::min({size, chunk_, text_.size() - at_});
    std::memcpy(buffer, text_.data() + at_, n);
    at_ += n;
    return n;
}

void SetInputSource(InputSource* replacement) {
    std::lock_guard<std::mutex> lock(ReaderMutex());
    source = replacement;
    readStart = readEnd = 0;
}

size_t ReadInputLine(char (&buf)[LINE_BUFFER]) {
    std::lock_guard<std::mutex> lock(ReaderMutex());
    size_t length = 0;
    while (length < LINE_BUFFER - 1 && Fill()) {
        const char* begin = readAhead + readStart;
        size_t take = std::min(readEnd - readStart, size_t(LINE_BUFFER - 1) - length);
        if (const void* lf = std::memchr(begin, '\n', take)) take = size_t(static_cast<const char*>(lf) - begin) + 1;
        std::memcpy(buf + length, begin, take);
        length += take;
        readStart += take;
        if (buf[length - 1] == '\n') break;
    }
    buf[length] = '\0';
    return length;
}

bool ReadLongLine(std::string& line, size_t maxLength) {
    std::lock_guard<std::mutex> lock(ReaderMutex());
    line.clear();
    bool any = false;
    while (Fill()) {
        any = true;
        const char* begin = readAhead + readStart;
        const char* lf = static_cast<const char*>(std::memchr(begin, '\n', readEnd - readStart));
        size_t take = lf ? size_t(lf - begin) : readEnd - readStart;
        if (line.size() < maxLength) line.append(begin, std::min(take, maxLength - line.size()));
        readStart += take;
        if (lf) {
            ++readStart;
            return true;
        }
    }
    return any;
}
