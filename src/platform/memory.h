// Large blocks of memory straight from the operating system, for tables of gigabytes.
#pragma once

#include <cstddef>
#include <cstdint>

// Zero-filled memory that the system backs lazily, 2 MB aligned, on large/huge pages where the system offers
// them; nullptr on failure.
void* MapZeroedMemory(std::size_t bytes);
// Hands memory from MapZeroedMemory back; may do so on a thread of its own so the caller returns at once.
void UnmapMemory(void* memory, std::size_t bytes);
// Physical memory plus swap/page file in bytes, or 0 when the system does not say.
uint64_t MemoryAndSwapBytes();
