// The one way out for lines, and the log.
#include "base/output.h"

#include <cstdarg>
#include <cstdlib>

#include "base/settings.h"
#include "platform/process.h"
#include "platform/standard_output.h"

constexpr const char *LOG_FILE_NAME = "tarn.log";
constexpr std::size_t SHORT_TEXT = 1024;  // most lines fit; a longer one is put together on the heap

SpinLock output_lock;
std::FILE *log_file;
Relaxed<bool> output_lost;

// Caller holds output_lock, and the log is open.
static void write_to_log(const char *line, std::size_t size) {
    std::fwrite(line, 1, size, log_file);
    std::fflush(log_file);
}

void log_line(const char *text) {
    lock_spin(&output_lock);
    if (settings.log_on && log_file) {
        std::fputs(text, log_file);
        write_to_log("\n", 1);
    }
    unlock_spin(&output_lock);
}

// Formats into `buffer` of SHORT_TEXT bytes or, when that is too small, into a block from malloc. Returns the text, or
// null when the format is invalid; *length is its length. Without memory the text is cut to the buffer.
static char *format_text(char *buffer, const char *format, std::va_list arguments, std::size_t *length) {
    std::va_list again;
    va_copy(again, arguments);
    const int wanted = std::vsnprintf(buffer, SHORT_TEXT, format, arguments);
    char *text = wanted < 0 ? nullptr : buffer;
    *length = wanted < 0 ? 0 : static_cast<std::size_t>(wanted);
    if (*length >= SHORT_TEXT) {
        text = static_cast<char *>(std::malloc(*length + 1));
        if (text) {
            std::vsnprintf(text, *length + 1, format, again);
        } else {
            text = buffer;
            *length = SHORT_TEXT - 1;
        }
    }
    va_end(again);
    return text;
}

void print_line(const char *text) { print_format("%s", text); }

// The line end takes the place of the terminating zero, so that text and end go out in one write. Screen and log are
// two locked sections: another thread's line may fall between them, and the order of lines in the two may differ.
void print_format(const char *format, ...) {
    char buffer[SHORT_TEXT];
    std::size_t length = 0;
    std::va_list arguments;
    va_start(arguments, format);
    char *line = format_text(buffer, format, arguments, &length);
    va_end(arguments);
    if (!line) return;
    line[length++] = '\n';
    lock_spin(&output_lock);
    if (!write_standard_output(line, length)) output_lost = true;
    unlock_spin(&output_lock);
    lock_spin(&output_lock);
    if (settings.log_on && log_file) write_to_log(line, length);
    unlock_spin(&output_lock);
    if (line != buffer) std::free(line);
}

void print_plain(const char *format, ...) {
    char buffer[SHORT_TEXT];
    std::size_t length = 0;
    std::va_list arguments;
    va_start(arguments, format);
    char *text = format_text(buffer, format, arguments, &length);
    va_end(arguments);
    if (!text) return;
    if (!write_standard_output(text, length)) output_lost = true;
    if (text != buffer) std::free(text);
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
