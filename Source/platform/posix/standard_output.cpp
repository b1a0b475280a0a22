// Standard output by write().
#include "platform/standard_output.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

// Goes on after a partial write, a signal, and a full pipe that is in non-blocking mode.
bool write_standard_output(const char *text, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, text, size);
        if (written >= 0) {
            text += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            pollfd request{STDOUT_FILENO, POLLOUT, 0};
            poll(&request, 1, -1);
        } else if (errno != EINTR) {
            return errno == EPIPE;
        }
    }
    return true;
}
