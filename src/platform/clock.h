// The clocks the engine reads and its way of waiting.
#pragma once

#include <cstdint>

// The wall clock in milliseconds since an epoch, read with microsecond resolution.
int64_t WallClockMs();
// Processor time used by this process, in milliseconds.
int64_t ProcessorClockMs();
// Sleeps the calling thread for about ms milliseconds.
void SleepMs(int ms);
