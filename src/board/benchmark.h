// The move-generation benchmark of the console command "perft".
#pragma once

// Runs perft over six positions with published counts and prints both counts and the speed. The game
// position is left at the last benchmark position.
void RunBenchmark();
