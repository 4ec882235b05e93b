// Result lines, in PGN result notation, for a game position that has just been reached by a move.
#pragma once

struct SearchThread;

// Prints a line for each of threefold repetition, the fifty-move rule and mate or stalemate that holds
// at context.current; the position and current are left as they were.
void CheckGameEnd(SearchThread& context);
