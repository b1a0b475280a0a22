// Splits standard input into lines. The poll and the console's dialogues all read through here, so text
// already read from the pipe is never lost.
#pragma once

// Bytes of the longest line handled whole: a "position" command of about 13,000 half-moves. The rest of a
// longer line is dropped.
constexpr int INPUT_LINE_SIZE = 65536;

// Milliseconds between two polls of an idle program. Input wakes it earlier.
constexpr int IDLE_PAUSE = 10;

// The next line, without its end, if one can be had without waiting. Empty lines are skipped. A
// '@' ends a line too. After the end of input an unterminated rest counts as the last line.
bool poll_input_line(char *line, int size);
// Makes this the next line again. At most one line can be put back, the last that was polled.
void put_back_input_line(const char *line);
// The next line, waiting for it; empty lines count on a console. False at the end of input.
bool wait_for_input_line(char *line, int size);
// Waits for input, at most this many milliseconds.
void pause_for_input(int milliseconds);
// From now on nothing is read from a pipe or a file: an offline tool's input is not meant
// for it. A terminal is still read.
void ignore_piped_input();
// True once input has ended and every line has been returned.
bool input_has_ended();
// Drops all text read so far, and the end of input. For tests that give one input after another.
void forget_input_lines();
