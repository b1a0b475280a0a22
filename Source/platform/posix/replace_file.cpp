// Replacing files by rename().
#include "platform/replace_file.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

TargetKind target_kind(const char *path) {
    struct stat status {};
    if (stat(path, &status) != 0) return TARGET_NONE;
    if (!S_ISREG(status.st_mode)) return TARGET_OTHER;
    return access(path, W_OK) == 0 ? TARGET_FILE : TARGET_PROTECTED;
}

bool resolve_links(const char *path, char *out, int size) {
    char resolved[PATH_MAX];
    const char *name = realpath(path, resolved) ? resolved : path;
    const std::size_t length = std::strlen(name);
    if (size <= 0 || length >= static_cast<std::size_t>(size)) return false;
    std::memcpy(out, name, length + 1);
    return true;
}

bool is_same_file(const char *first, const char *second) {
    struct stat a {
    }, b{};
    return stat(first, &a) == 0 && stat(second, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

void *create_new_file(const char *path, bool) {
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) return nullptr;
    std::FILE *stream = fdopen(descriptor, "w");
    if (!stream) close(descriptor);
    return stream;
}

bool replace_file(const char *from, const char *to) {
    struct stat status {};
    if (stat(to, &status) == 0) static_cast<void>(chmod(from, status.st_mode & 07777));
    return std::rename(from, to) == 0;
}

bool cut_file(const char *path, long long bytes) { return truncate(path, bytes) == 0; }
