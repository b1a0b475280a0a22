// Console commands of a person at the keyboard (`-c`).
#pragma once

// Executes one console line; the line may be changed.
// For an answer in several lines, such as the board editor, read on with wait_for_input_line.
void console_command(char *line);
