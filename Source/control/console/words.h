// One console line cut into words, and words read as numbers.
#pragma once

#include <cstddef>

constexpr int CONSOLE_WORDS = 10;           // further words of a line are dropped
constexpr std::size_t CONSOLE_LINE = 1024;  // characters that are cut into words, end mark included

struct ConsoleWords {
    char text[CONSOLE_LINE];          // the line with an end mark after each word
    const char *word[CONSOLE_WORDS];  // the command and its arguments; empty texts after the last
    const char *line;                 // the whole line from the first word on
    const char *after_first;          // the same from the second word on
};

// Cuts the line at its blanks. `line` must outlive the words.
void split_words(const char *line, ConsoleWords *words);

// Seconds, or minutes:seconds; 0..high. False, with the output unchanged, for anything else.
bool read_duration(const char *text, double high, double *out);
