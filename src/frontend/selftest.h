// Console self-tests that print computed values beside reference values.
#pragma once

// "see": the static exchange of 25 positions, the given move and the best capture, beside the reference
// score. Leaves the game position at the last test position.
void RunExchangeTest();

// The progress bar "\r%3d%% [...]" of 60 characters for a fraction between 0 and 1.
void PrintProgress(double fraction);
