// The text console the engine's output goes to.
#pragma once

// Clears the screen: the system shell's "cls" on Windows, the terminal's erase sequence elsewhere.
void ClearConsole();
