// Places in files of any size. `long`, which std::ftell and std::fseek count in, has 32 bits on some systems.
#pragma once

#include <cstdio>

#include "platform/integers.h"

// Bytes before the next one to be read or written; -1 where the stream has no place (a pipe, a terminal).
i64 file_place(std::FILE *file);
// Moves there, `place` bytes from the start. False when the stream can't.
bool set_file_place(std::FILE *file, i64 place);
// Bytes in the file; -1 where the stream does not tell. Its place stays. A stream that is being written is flushed.
i64 stream_size(std::FILE *file);
