// The console dialect for people.
#pragma once

// Runs the console until a line beginning with "q"; returns 1 when the program should end.
int ConsoleLoop();
