// Standard input without blocking. Everything reads the file descriptor itself, not the C stream:
// a stream would take more bytes than it is asked for, and poll() would not see those.
#include "platform/input.h"

#include <cerrno>
#include <climits>
#include <cstddef>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

// A byte that was read only to learn whether the input has ended; it is given out first. -1: none.
static int held_byte = -1;
static bool input_ended;

// One read() that a signal does not break off.
static ssize_t read_input(char *buffer, std::size_t size) {
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, buffer, size);
        if (count >= 0 || errno != EINTR) return count;
    }
}

// True when a read would return at once, with bytes, the end or an error; waits so long for that.
static bool input_is_ready(int milliseconds = 0) {
    pollfd request{STDIN_FILENO, POLLIN, 0};
    return poll(&request, 1, milliseconds) > 0;
}

bool input_is_pipe() {
    static const bool IS_PIPE = isatty(STDIN_FILENO) == 0;
    return IS_PIPE;
}

// Counting the waiting bytes does not tell "none yet" from "no more", and some files (a device such
// as the null device) do not count at all. So where the input is ready and the count says nothing,
// one byte is read, which cannot block then.
int input_bytes_waiting() {
    const int held = held_byte >= 0 ? 1 : 0;
    if (input_ended) return held ? held : -1;
    if (!input_is_ready()) return held;

    int count = 0;
    if (ioctl(STDIN_FILENO, FIONREAD, &count) == 0 && count > 0) {
        return count < INT_MAX - held ? count + held : INT_MAX;
    }
    if (held) return held;

    char byte = 0;
    const ssize_t got = read_input(&byte, 1);
    if (got == 1) {
        held_byte = static_cast<unsigned char>(byte);
        return 1;
    }
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return 0;
    input_ended = true;
    return -1;
}

int input_read(char *buffer, int size) {
    if (size <= 0) return 0;
    int filled = 0;
    if (held_byte >= 0) {
        buffer[filled++] = static_cast<char>(held_byte);
        held_byte = -1;
        // The held byte may be all there is, and more must not be waited for.
        if (filled == size || !input_is_ready()) return filled;
    }
    const ssize_t got = read_input(buffer + filled, static_cast<std::size_t>(size - filled));
    if (got == 0) input_ended = true;
    if (got < 0) return filled > 0 ? filled : -1;
    return filled + static_cast<int>(got);
}

bool input_key_waiting() { return held_byte >= 0 || input_is_ready(); }

void input_wait(int milliseconds) {
    if (held_byte < 0 && !input_ended) input_is_ready(milliseconds);
}

void restart_input() {
    held_byte = -1;
    input_ended = false;
}

// Byte by byte, so that what follows the line stays for the next reader, whichever it is.
bool input_read_line(char *buffer, int size) {
    int length = 0;
    while (length < size - 1) {
        char byte = 0;
        if (held_byte >= 0) {
            byte = static_cast<char>(held_byte);
            held_byte = -1;
        } else {
            const ssize_t got = read_input(&byte, 1);
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                // Whoever started the program left the descriptor in non-blocking mode.
                pollfd request{STDIN_FILENO, POLLIN, 0};
                poll(&request, 1, -1);
                continue;
            }
            if (got <= 0) {
                input_ended = true;
                break;
            }
        }
        buffer[length++] = byte;
        if (byte == '\n') break;
    }
    if (size > 0) buffer[length] = '\0';
    return length > 0;
}
