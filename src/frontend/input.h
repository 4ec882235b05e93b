// Line input shared by start-up and both front ends.
#pragma once

#include <cstdio>

constexpr int LINE_BUFFER = 256;

// Reads at most 255 characters including the line feed into buf (a longer line arrives in pieces,
// each read as a line of its own). Returns false at the end of the input.
bool ReadInputLine(char (&buf)[LINE_BUFFER]);

// Standard input by default; the fuzzers feed the command loops from memory through this.
void SetInputStream(FILE* stream);
