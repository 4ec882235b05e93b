// The console dialect for people.
#pragma once

struct SearchThread;

// Runs the console until a line beginning with "q"; returns 1 when the program should end.
int ConsoleLoop();

// The "score" command: the trace table of the game position and "Score: %i".
void PrintScore();

// The "thread" command, on the 24 thread contexts: frees their pawn tables, makes count the number of search
// threads, gives each an announced table and prints "Thread allocated for search: %i". A count outside 1..24
// changes nothing and prints nothing; the result tells whether it was applied.
bool SetSearchThreads(SearchThread* contexts, int count);
