// The engine's ear: polling for a line and executing UCI lines.
#pragma once

// Reads at most one line without blocking and executes it.
void console_poll();
// Executes one UCI line; the line may be changed.
void command_dispatch(char *line);
