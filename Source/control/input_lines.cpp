// Splits standard input into lines.
#include "control/input_lines.h"

#include <cstring>

#include "base/output.h"
#include "base/text.h"
#include "platform/clock.h"
#include "platform/input.h"

// Bytes per read and reads per poll. Limited so that the clock is checked in between.
static constexpr int CHUNK = 4998;
static constexpr int CHUNKS_PER_POLL = 16;
static constexpr int MOST_FAILURES = 10;

// Text read but not yet returned as lines; '@' marks each line end.
static char input_pending[INPUT_LINE_SIZE + CHUNK];
static int pending_size;
static char put_back[INPUT_LINE_SIZE];
static bool has_put_back;
static bool dropping;  // inside the rest of an overlong line
static bool ended;     // nothing more will come
static int failed_reads;
static bool ignored;  // see ignore_piped_input

static char *find_line_end() {
    return static_cast<char *>(std::memchr(input_pending, '@', static_cast<std::size_t>(pending_size)));
}

static void append_chunk(const char *chunk, int size) {
    for (int i = 0; i < size; ++i) {
        const bool ends_line = chunk[i] == 0 || chunk[i] == '\n' || chunk[i] == '\r' || chunk[i] == '@';
        if (dropping && !ends_line) continue;
        dropping = false;
        input_pending[pending_size++] = ends_line ? '@' : chunk[i];
    }
    if (pending_size >= INPUT_LINE_SIZE && !find_line_end()) {
        pending_size = INPUT_LINE_SIZE - 1;
        dropping = true;
    }
}

// Reads once from the pipe; false when there was nothing to read.
static bool read_chunk() {
    const int waiting = input_bytes_waiting();
    if (waiting < 0) ended = true;
    if (waiting <= 0) return false;
    char chunk[CHUNK];
    const int count = input_read(chunk, waiting < CHUNK ? waiting : CHUNK);
    if (count <= 0) {
        // Data was announced but did not arrive. Tolerated a few times.
        print_line("error reading input");
        if (++failed_reads == MOST_FAILURES) ended = true;
        return false;
    }
    failed_reads = 0;
    append_chunk(chunk, count);
    return true;
}

// Removes the first line and the line ends after it from input_pending. False if there is none or it is
// empty.
static bool take_pending_line(char *line, int size) {
    char *end = find_line_end();
    if (!end && ended && pending_size) {
        end = input_pending + pending_size;  // the last line is not terminated
        input_pending[pending_size++] = '@';
    }
    if (!end) return false;
    const int length = static_cast<int>(end - input_pending);
    const int copied = length < size ? length : size - 1;
    std::memcpy(line, input_pending, static_cast<std::size_t>(copied));
    line[copied] = 0;
    int used = length;
    while (used < pending_size && input_pending[used] == '@') ++used;
    pending_size -= used;
    std::memmove(input_pending, input_pending + used, static_cast<std::size_t>(pending_size));
    return length > 0;
}

// A terminal delivers whole lines, and only after a key press.
static bool read_console_line(char *line, int size) {
    if (!input_read_line(line, size)) {
        ended = true;
        return false;
    }
    line[std::strcspn(line, "\r\n")] = 0;
    return true;
}

void put_back_input_line(const char *line) {
    copy_text(put_back, line, sizeof put_back);
    has_put_back = true;
}

bool poll_input_line(char *line, int size) {
    if (ignored) return false;
    if (has_put_back) {
        has_put_back = false;
        copy_text(line, put_back, static_cast<std::size_t>(size));
        return true;
    }
    if (!input_is_pipe()) return !ended && input_key_waiting() && read_console_line(line, size) && line[0];
    for (int chunks = 0; !ended && !find_line_end() && chunks < CHUNKS_PER_POLL; ++chunks)
        if (!read_chunk()) break;
    return take_pending_line(line, size);
}

bool wait_for_input_line(char *line, int size) {
    if (has_put_back) return poll_input_line(line, size);
    if (!input_is_pipe()) return !ended && read_console_line(line, size);
    while (!poll_input_line(line, size)) {
        if (input_has_ended()) return false;
        pause_for_input(IDLE_PAUSE);
    }
    return true;
}

// Input that has ended or is not read always looks ready, so waiting for it would not wait.
void pause_for_input(int milliseconds) {
    if (ended || ignored) sleep_milliseconds(milliseconds);
    else if (!has_put_back && !find_line_end()) input_wait(milliseconds);
}

void ignore_piped_input() { ignored = input_is_pipe(); }

void forget_input_lines() {
    pending_size = failed_reads = 0;
    has_put_back = dropping = ended = ignored = false;
}

bool input_has_ended() { return ended && pending_size == 0 && !has_put_back; }
