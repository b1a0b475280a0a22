// The engine's ear: polling for a line and executing UCI lines.
#pragma once

// Reads at most one line without blocking and executes it. At the end of input it stops a search
// that would never end by itself, and ends the program once nothing is left to answer.
void console_poll();
// Executes one UCI line; the line may be changed.
void command_dispatch(char *line);
