// The process itself and files by name, by the POSIX calls.
#include "platform/process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// A descriptor 0 to 2 that the parent left closed would be given to the first file opened, and
// protocol lines would be written into the log.
void prepare_process() {
    for (int descriptor = 0; descriptor <= 2; descriptor++) {
        if (fcntl(descriptor, F_GETFD) != -1) continue;
        const int opened = open("/dev/null", O_RDWR);
        if (opened > 2) close(opened);
    }
    // A front end that goes away must not kill the engine between two writes: the next look at
    // standard input finds its end, and the program leaves in order.
    std::signal(SIGPIPE, SIG_IGN);
    // A write beyond the size that files may have here is an error like a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool delete_file(const char *path) { return unlink(path) == 0 || errno == ENOENT || errno == ENOTDIR; }

bool file_exists(const char *path) { return access(path, F_OK) == 0; }

// Sleeping is fine-grained here without asking.
TimerResult begin_timer_period() { return TIMER_OK; }
void end_timer_period() {}

void end_process(int status) { std::_Exit(status); }

// Opens a regular file for writing without emptying it; -1 when there is none to open. Links are
// not followed, so that what gets emptied is the file of that name and no other.
static int open_regular_for_writing(const char *path, int extra_flags) {
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | extra_flags, 0666);
    if (descriptor < 0) return -1;
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return descriptor;
    close(descriptor);
    return -1;
}

// A file that another process writes can be deleted here, so that deleting it proves nothing: an
// advisory lock, which ends with its holder, tells that the file is in use. What stands in the way
// under that name and cannot be opened (write-protected, a link) is deleted first; what cannot be
// deleted either counts as in use.
void *open_exclusive_for_writing(const char *path, bool *in_use) {
    *in_use = false;
    int descriptor = open_regular_for_writing(path, 0);
    if (descriptor < 0) {
        struct stat status {};
        if (lstat(path, &status) == 0) {
            if (unlink(path) != 0) {
                *in_use = true;
                return nullptr;
            }
            descriptor = open_regular_for_writing(path, O_EXCL);
        }
        if (descriptor < 0) return nullptr;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        *in_use = true;
        close(descriptor);
        return nullptr;
    }
    std::FILE *stream = ftruncate(descriptor, 0) == 0 ? fdopen(descriptor, "w") : nullptr;
    if (!stream) close(descriptor);
    return stream;
}
