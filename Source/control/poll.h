// Reads standard input between and during searches.
#pragma once

// Reads at most one line without blocking and executes it: a console command or a UCI line. At the end of
// input it stops a search that would never end by itself, and ends the program once nothing is left to answer.
void console_poll();
