// Standard input without blocking: the engine's main thread polls it about once a millisecond.
#pragma once

// First call: finds out whether input is a pipe (or a file) or a console, and readies a console for
// key polling. Returns true for a pipe. Later calls only repeat the answer.
bool input_is_pipe();
// Pipe: bytes that can be read now without blocking; 0 for none yet, -1 when the input has ended.
int input_bytes_waiting();
// Pipe: reads up to `size` bytes that wait; returns the count, 0 at the end of input, -1 on error.
int input_read(char *buffer, int size);
// Console: true when a line can be read without waiting for the first key.
bool input_key_waiting();
// Waits until input is readable or closed, or until `milliseconds` have passed. A system
// that can't wait for input returns after one millisecond.
void input_wait(int milliseconds);
// Reads one line, blocking, at most size - 1 characters, line end included; false at end of input.
// Works for both kinds: on a pipe the bytes that input_read would give come first.
bool input_read_line(char *buffer, int size);
// POSIX only, for tests: descriptor 0 is a new input, and what is known of the old one no longer counts.
void restart_input();
