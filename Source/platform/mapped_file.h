// Read-only mapping of whole files, for the endgame tables.
#pragma once

#include "platform/integers.h"

struct MappedFile {
    const u8 *data;  // start of the view, null when nothing is mapped
    u64 size;        // bytes
    void *mapping;   // what the system's half of this file knows about the view
};

struct FileHandle {
    i64 handle;  // -1: invalid
};

FileHandle open_read_only(const char *path);  // handle -1 when it can't be opened or is a directory
bool file_size(FileHandle file, u64 *size);   // false when the size can't be read
void close_file(FileHandle file);

enum MapResult { MAP_OK, MAP_NO_MAPPING, MAP_NO_VIEW };
// Maps the whole file; the handle may be closed afterwards. `error` gets the system's error number.
MapResult map_file(FileHandle file, MappedFile *mapped, unsigned long *error);
// True if a page of the view could not be read, because the file was cut or the disk failed: zeros are read in its
// place since then. To be asked after the reading. Without this answer (Windows, and the latest of very many mapped
// files) such a page ends the process.
bool lost_pages(const MappedFile &mapped);
// Returns false when the view can't be released; `error` as above.
bool unmap_file(MappedFile *mapped, unsigned long *error);

// The separator between a directory and a file name: '/' or '\'.
extern const char DIRECTORY_SEPARATOR;
