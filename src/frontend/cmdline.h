// The tester's command-line modes: they run without banner or settings file and return the exit status.
#pragma once

// `ferrolune perft DEPTH "FEN"`: prints the count as its last line and returns 0; prints a one-line error and
// returns 1 for a bad depth or a FEN that is rejected.
int PerftCommand(int argc, char** argv);

// `ferrolune bench [depth [threads]]`: a fixed set of positions searched to a fixed depth. With the defaults
// (one thread) the total node count is the search's signature: a change that alters the search changes it.
// The last two lines are the total node count and the nodes per second.
int BenchCommand(int argc, char** argv);
