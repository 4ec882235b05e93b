// Time management: the clocks, limits and tuning settings of the coming move.
#pragma once

#include <cstdint>

// The move-time limit, clock and allotment before any are given (two hours). A console search under this
// limit runs without a timer.
constexpr int32_t DEFAULT_MOVE_TIME = 720000;

// Times in centiseconds unless noted. Front-end values persist until overwritten; nothing resets them
// between searches. The initial values are the defaults of the settings.
struct TimeControl {
    int32_t SuddenDeath = 20;  // moves the remaining time is spread over when no move count is given
    int32_t MoreTime = 5;      // taken off the divisor when the engine has more time than the opponent
    int32_t LessTime = 5;      // added to the divisor when it has less
    int32_t FastGame = 5;      // added in fast games
    int32_t FastOpening = 15;  // added in the first searches of a game
    int32_t moveTimeLimit = DEFAULT_MOVE_TIME;  // hard limit per move
    int32_t movesToGo = 0;  // moves until the next time control, 0 or less when none
    int32_t increment = 0;
    int32_t myTime = DEFAULT_MOVE_TIME;
    int32_t oppTime = 0;
    int32_t allocated = DEFAULT_MOVE_TIME;  // the allotment for the current move
    int32_t startTime = 0;  // clock in milliseconds when the search was requested
    int32_t elapsed = 0;    // milliseconds the last search took
};

extern TimeControl timeControl;

// The wall clock in milliseconds, kept in 32 bits: only differences of two readings mean anything.
int32_t ClockMs();

// Computes the allotment of the coming move into tc.allocated, prints it on a debug line and, unless a
// console search is untimed, starts the timer. moveNumber is the count of searches so far in this game.
// Returns the divisor used, 0 when a move count was given.
int AllocateTime(TimeControl& tc, int moveNumber);

// The timer thread: raises searchStop and iterationAbort once the allotment or the move-time limit has
// passed. It works on a copy of the record taken when it was started.
void tTimer(TimeControl tc, uint32_t generation);

// A timer serves only the search requested at its record's startTime: the driver names the search it
// starts, and retires the timer when the search is over, so that a timer left running by a search that
// reached its depth limit never stops a later search or drops a later table store.
void BindTimerToSearch(int32_t startTime);
void RetireTimer();
