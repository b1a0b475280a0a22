// Console commands of a person at the keyboard (`-c`).
#pragma once

// Executes one console line; the line may be changed.
void console_command(char *line);
