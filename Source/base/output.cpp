// The one way out for lines, and the log.
#include "base/output.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "base/settings.h"
#include "platform/process.h"

constexpr const char *LOG_FILE_NAME = "tarn.log";
constexpr std::size_t SHORT_LINE = 1024;  // most lines fit; a longer one is put together on the heap

SpinLock output_lock;
std::FILE *log_file;

// Caller holds output_lock. One call for text and newline: on an unbuffered stream that is one
// write, so that a reader never sees a line without its end.
static void write_line(std::FILE *stream, const char *text) {
    std::fprintf(stream, "%s\n", text);
    std::fflush(stream);
}

void log_line(const char *text) {
    lock_spin(&output_lock);
    if (settings.log_on && log_file) write_line(log_file, text);
    unlock_spin(&output_lock);
}

// Screen and log are two locked sections: another thread's line may fall between them, and the
// order of lines in the two may differ.
void print_line(const char *text) {
    lock_spin(&output_lock);
    write_line(stdout, text);
    unlock_spin(&output_lock);
    log_line(text);
}

void print_format(const char *format, ...) {
    char short_line[SHORT_LINE];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(short_line, sizeof short_line, format, arguments);
    va_end(arguments);
    if (length < 0) return;
    if (static_cast<std::size_t>(length) < sizeof short_line) {
        print_line(short_line);
        return;
    }
    const std::size_t bytes = static_cast<std::size_t>(length) + 1;
    char *long_line = static_cast<char *>(std::malloc(bytes));
    if (!long_line) {
        print_line(short_line);  // the first part is better than nothing
        return;
    }
    va_start(arguments, format);
    std::vsnprintf(long_line, bytes, format, arguments);
    va_end(arguments);
    print_line(long_line);
    std::free(long_line);
}

void print_plain(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
}

void print_check_option(const char *name, int value) {
    print_format("option name %s type check default %s", name, value ? "true" : "false");
}

// Each run starts a fresh log. One that is open already stays as it is: logging that was turned off
// and on again goes on in the same file.
void open_log() {
    if (log_file) return;
    bool in_use = false;
    std::FILE *opened = static_cast<std::FILE *>(open_exclusive_for_writing(LOG_FILE_NAME, &in_use));
    if (!opened) {
        settings.log_on = 0;  // before the message, which has no log to go to
        if (in_use) print_line("log file in use.");
        return;
    }
    lock_spin(&output_lock);
    log_file = opened;
    unlock_spin(&output_lock);
}

void close_log() {
    lock_spin(&output_lock);
    if (log_file) std::fclose(log_file);
    log_file = nullptr;
    unlock_spin(&output_lock);
}
