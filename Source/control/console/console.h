// The console (`-c`): commands typed at the keyboard.
#pragma once

// Starts the console: remembers the settings for `set ss 1` and prints the board. Called once, after command
// line and configuration file.
void start_console();
// Executes one console line.
// For an answer in several lines, such as the board editor, read on with wait_for_input_line.
void console_command(const char *line);
