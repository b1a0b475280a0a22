// Replacing files by MoveFileEx.
#include "platform/replace_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

// True for NUL, a pipe and the like, whatever attributes the system gives them.
static bool is_device(const char *path) {
    const HANDLE handle = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    const bool device = GetFileType(handle) != FILE_TYPE_DISK;
    CloseHandle(handle);
    return device;
}

TargetKind target_kind(const char *path) {
    if (is_device(path)) return TARGET_OTHER;
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return TARGET_NONE;
    if (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) return TARGET_OTHER;
    return attributes & FILE_ATTRIBUTE_READONLY ? TARGET_PROTECTED : TARGET_FILE;
}

// Links are rare here; MoveFileEx replaces the link itself.
bool resolve_links(const char *path, char *out, int size) {
    const std::size_t length = std::strlen(path);
    if (size <= 0 || length >= static_cast<std::size_t>(size)) return false;
    std::memcpy(out, path, length + 1);
    return true;
}

static bool file_identity(const char *path, BY_HANDLE_FILE_INFORMATION *identity) {
    const HANDLE handle = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    const bool known = GetFileInformationByHandle(handle, identity) != 0;
    CloseHandle(handle);
    return known;
}

bool is_same_file(const char *first, const char *second) {
    BY_HANDLE_FILE_INFORMATION a, b;
    return file_identity(first, &a) && file_identity(second, &b) && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
           a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

void *create_new_file(const char *path, bool binary) {
    const int kind = binary ? _O_BINARY : _O_TEXT;
    const int descriptor = _open(path, _O_WRONLY | _O_CREAT | _O_EXCL | kind, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) return nullptr;
    std::FILE *stream = _fdopen(descriptor, binary ? "wb" : "w");
    if (!stream) _close(descriptor);
    return stream;
}

bool replace_file(const char *from, const char *to) {
    if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING)) return true;
    errno = EACCES;
    return false;
}

bool cut_file(const char *path, long long bytes) {
    const int descriptor = _open(path, _O_WRONLY | _O_BINARY);
    if (descriptor < 0) return false;
    const bool cut = _chsize_s(descriptor, bytes) == 0;
    _close(descriptor);
    return cut;
}
