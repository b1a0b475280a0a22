// One console line cut into words, and words read as numbers. For the console's command rooms.
#pragma once

constexpr int CONSOLE_WORDS = 10;  // further words of a line are dropped

struct ConsoleWords {
    const char *word[CONSOLE_WORDS];  // the command and its arguments; empty texts where none stands
    const char *behind_first;         // the whole line behind the command and its blanks
};

// Leading number of a text, 0 without one, kept within low..high.
int integer_of(const char *text, int low, int high);
// The same with a fraction.
double number_of(const char *text, double low, double high);
