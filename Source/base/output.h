// One locked line out, and the log. Everyone who prints a protocol line or a message comes here.
#pragma once

#include <cstdio>

#include "platform/relaxed.h"
#include "platform/threads.h"

// Guards standard output and the log. Taken for one line, never while another lock is taken.
extern SpinLock output_lock;
extern std::FILE *log_file;        // the open log, or null; written only while output_lock is held
extern Relaxed<bool> output_lost;  // something could not be written to standard output, which still has a reader

// Text plus a newline to standard output; then, with logging on, to the log. Each of the two is one locked write, so
// no line of another thread falls into it. Any length.
void print_line(const char *text);
// print_line of a formatted text. Any length.
[[gnu::format(printf, 1, 2)]] void print_format(const char *format, ...);
// Standard output only: no lock, no newline added; for console reports and tools.
[[gnu::format(printf, 1, 2)]] void print_plain(const char *format, ...);
// "option name %s type check default %s" with true or false, as print_line does.
void print_check_option(const char *name, int value);
// One line to the log alone, when it is open and on.
void log_line(const char *text);
// Opens tarn.log anew in the current directory; on failure logging goes off.
void open_log();
void close_log();
