// Time management: the clocks, limits and tuning settings of the coming move.
#pragma once

#include <cstdint>

// Times in centiseconds unless noted. Front-end values persist until overwritten; nothing resets them
// between searches.
struct TimeControl {
    int32_t SuddenDeath;    // moves the remaining time is spread over when no move count is given
    int32_t MoreTime;       // taken off the divisor when the engine has more time than the opponent
    int32_t LessTime;       // added to the divisor when it has less
    int32_t FastGame;       // added in fast games
    int32_t FastOpening;    // added in the first searches of a game
    int32_t moveTimeLimit;  // hard limit per move
    int32_t movesToGo;      // moves until the next time control, 0 or less when none
    int32_t increment;
    int32_t myTime;
    int32_t oppTime;
    int32_t allocated;  // the allotment for the current move
    int32_t startTime;  // clock in milliseconds when the search was requested
    int32_t elapsed;    // milliseconds the last search took
};

extern TimeControl timeControl;
