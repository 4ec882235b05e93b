// The command-line benchmark: a fixed set of positions searched to a fixed depth.
#pragma once

// "ferrolune bench [depth [threads]]". With the defaults (one thread) the total node count is the search's
// signature: a change that alters the search changes it. The last two lines are the total node count and
// the nodes per second. Returns the process exit status.
int BenchCommand(int argc, char** argv);
