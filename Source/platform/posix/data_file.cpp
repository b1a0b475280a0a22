// Opening data files without waiting, by open().
#include "platform/data_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// A non-blocking open() of a pipe returns at once. Other devices (a terminal) are read as usual afterwards.
std::FILE *open_data_file(const char *path) {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    std::FILE *stream = nullptr;
    if (fstat(descriptor, &status) == 0 && !S_ISFIFO(status.st_mode) && fcntl(descriptor, F_SETFL, 0) == 0)
        stream = fdopen(descriptor, "rb");
    if (!stream) close(descriptor);
    return stream;
}
