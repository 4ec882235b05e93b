// The transposition table shared by all search threads.
#pragma once

#include <cstdint>

// The search generation, also the count of searches in the current game.
extern uint8_t hashAge;
