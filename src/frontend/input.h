// Line input shared by start-up, both front ends and the ponder monitor. There is one reader with one
// read-ahead buffer, so whichever of them reads next goes on exactly where the last read ended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

constexpr int LINE_BUFFER = 256;

// Where the reader takes its bytes: standard input's descriptor unless replaced.
class InputSource {
public:
    virtual ~InputSource() = default;
    // Fills at most size bytes of buffer and returns how many; 0 at the end of the input.
    virtual size_t Read(char* buffer, size_t size) = 0;
};

// Bytes held in memory, handed out at most chunk at a time: fuzzers and tests drive the real command
// loops with it.
class MemoryInput : public InputSource {
public:
    explicit MemoryInput(std::string text, size_t chunk = SIZE_MAX) : text_(std::move(text)), chunk_(chunk) {}
    size_t Read(char* buffer, size_t size) override;

private:
    std::string text_;
    size_t chunk_;
    size_t at_ = 0;
};

// Replaces the source (null: standard input again) and drops what was read ahead from the old one.
void SetInputSource(InputSource* source);

// Reads at most 255 characters including the line feed into buf, always terminated (a longer line arrives
// in pieces, each read as a line of its own). Returns the number of characters read, 0 at the end of input.
size_t ReadInputLine(char (&buf)[LINE_BUFFER]);

// Reads a whole line without its line feed; past maxLength characters the rest of the line is dropped.
// A last line without a line feed still counts. False at the end of the input.
bool ReadLongLine(std::string& line, size_t maxLength);
