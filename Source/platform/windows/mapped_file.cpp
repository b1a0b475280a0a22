// Read-only mapping of whole files, by the Windows calls.
#include "platform/mapped_file.h"

#include <windows.h>

const char DIRECTORY_SEPARATOR = '\\';

static HANDLE file_handle(FileHandle file) { return reinterpret_cast<HANDLE>(file.handle); }

FileHandle open_read_only(const char *path) {
    const HANDLE handle =
        CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_RANDOM_ACCESS, nullptr);
    // A directory can't be opened this way without a special flag, so that nothing else is tested.
    return {handle == INVALID_HANDLE_VALUE ? -1 : reinterpret_cast<i64>(handle)};
}

bool file_size(FileHandle file, u64 *size) {
    LARGE_INTEGER bytes;
    if (file.handle == -1 || !GetFileSizeEx(file_handle(file), &bytes)) return false;
    *size = static_cast<u64>(bytes.QuadPart);
    return true;
}

void close_file(FileHandle file) {
    if (file.handle != -1) CloseHandle(file_handle(file));
}

// The mapping object is kept beside the view until unmap_file.
MapResult map_file(FileHandle file, MappedFile *mapped, unsigned long *error) {
    *mapped = {nullptr, 0, nullptr};
    u64 size = 0;
    HANDLE mapping = nullptr;
    if (file_size(file, &size)) {
        mapping = CreateFileMappingA(file_handle(file), nullptr, PAGE_READONLY, 0, 0, nullptr);
    }
    if (!mapping) {
        *error = GetLastError();
        return MAP_NO_MAPPING;
    }
    const void *view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    if (!view) {
        *error = GetLastError();
        CloseHandle(mapping);
        return MAP_NO_VIEW;
    }
    *mapped = {static_cast<const u8 *>(view), size, mapping};
    return MAP_OK;
}

// Windows does not let a mapped file be cut.
bool lost_pages(const MappedFile &) { return false; }

bool unmap_file(MappedFile *mapped, unsigned long *error) {
    if (!mapped->data) return true;
    if (!UnmapViewOfFile(mapped->data)) {
        *error = GetLastError();
        return false;
    }
    CloseHandle(static_cast<HANDLE>(mapped->mapping));
    *mapped = {nullptr, 0, nullptr};
    return true;
}
