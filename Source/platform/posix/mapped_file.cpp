// Read-only mapping of whole files by mmap().
#include "platform/mapped_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

const char DIRECTORY_SEPARATOR = '/';

FileHandle open_read_only(const char *path) {
    // Non-blocking, as opening a named pipe would otherwise wait for its writer.
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return {-1};
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return {-1};
    }
    return {descriptor};
}

bool file_size(FileHandle file, u64 *size) {
    struct stat status {};
    if (file.handle < 0 || fstat(static_cast<int>(file.handle), &status) != 0) return false;
    *size = static_cast<u64>(status.st_size);
    return true;
}

void close_file(FileHandle file) {
    if (file.handle >= 0) close(static_cast<int>(file.handle));
}

// There is no mapping object apart from the view here: a file that cannot be mapped at all (no
// size, or nothing in it) answers MAP_NO_MAPPING, a refused mmap() answers MAP_NO_VIEW.
MapResult map_file(FileHandle file, MappedFile *mapped, unsigned long *error) {
    *mapped = {nullptr, 0, nullptr};
    u64 size = 0;
    if (!file_size(file, &size)) {
        *error = static_cast<unsigned long>(errno);
        return MAP_NO_MAPPING;
    }
    if (size == 0) {
        *error = EINVAL;
        return MAP_NO_MAPPING;
    }
    void *view = mmap(nullptr, size, PROT_READ, MAP_SHARED, static_cast<int>(file.handle), 0);
    if (view == MAP_FAILED) {
        *error = static_cast<unsigned long>(errno);
        return MAP_NO_VIEW;
    }
    // Probes jump about in a table: reading ahead would only push other pages out.
    madvise(view, size, MADV_RANDOM);
    *mapped = {static_cast<const u8 *>(view), size, nullptr};
    return MAP_OK;
}

bool unmap_file(MappedFile *mapped, unsigned long *error) {
    if (!mapped->data) return true;
    if (munmap(const_cast<u8 *>(mapped->data), mapped->size) != 0) {
        *error = static_cast<unsigned long>(errno);
        return false;
    }
    *mapped = {nullptr, 0, nullptr};
    return true;
}
