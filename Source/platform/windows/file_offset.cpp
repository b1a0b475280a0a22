// Places in files by _fseeki64 and _ftelli64. These "succeed" on a pipe, so that the kind of handle is asked first.
#include "platform/file_offset.h"

#include <io.h>
#include <windows.h>

static bool is_seekable(std::FILE *file) {
    return GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)))) == FILE_TYPE_DISK;
}

i64 file_place(std::FILE *file) { return is_seekable(file) ? _ftelli64(file) : -1; }

// A failed _fseeki64 would move the place.
bool set_file_place(std::FILE *file, i64 place) {
    return place >= 0 && is_seekable(file) && _fseeki64(file, place, SEEK_SET) == 0;
}

i64 stream_size(std::FILE *file) {
    const i64 place = file_place(file);
    if (place < 0 || _fseeki64(file, 0, SEEK_END) != 0) return -1;
    const i64 end = file_place(file);
    return set_file_place(file, place) ? end : -1;
}
