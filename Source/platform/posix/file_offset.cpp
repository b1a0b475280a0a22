// Places in files by fseeko() and ftello().
#include "platform/file_offset.h"

static_assert(sizeof(off_t) == sizeof(i64), "files beyond 2 GB");

i64 file_place(std::FILE *file) { return ftello(file); }

bool set_file_place(std::FILE *file, i64 place) { return fseeko(file, place, SEEK_SET) == 0; }

i64 stream_size(std::FILE *file) {
    const i64 place = file_place(file);
    if (place < 0 || fseeko(file, 0, SEEK_END) != 0) return -1;
    const i64 end = file_place(file);
    return set_file_place(file, place) ? end : -1;
}
