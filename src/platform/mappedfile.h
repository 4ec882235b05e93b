// Whole files mapped read-only into memory, for tables of many megabytes read at random places.
#pragma once

#include <cstdint>

// Which step failed, named after the Windows calls that take it (on POSIX: open, fstat, mmap).
enum class MapFileResult { Mapped, OpenFailed, MappingFailed, ViewFailed };

// Maps the whole file at path read-only: its bytes in data and its 64-bit length in size. An empty file
// cannot be mapped: it counts as mapped, with data nullptr and size 0.
MapFileResult MapFileReadOnly(const char* path, const uint8_t*& data, uint64_t& size);
// Releases a mapping from MapFileReadOnly; nullptr is ignored.
void UnmapFile(const uint8_t* data, uint64_t size);
