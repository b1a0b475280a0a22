// The files of the tables: the directories of SyzygyPath, opening a file by its table's name, and
// the test of its size. Internal to this folder.
#pragma once

#include "platform/mapped_file.h"
#include "tablebase/tb_records.h"

// Longest list of directories, and longest path of a file, in characters.
constexpr int TB_PATH_LIST_LENGTH = 32000;
constexpr int TB_FILE_PATH_LENGTH = 4095;

extern const char *const TB_SUFFIX[TB_TYPES];  // ".rtbw", ".rtbm", ".rtbz"

// Takes over the directories of the text, which separates them by ';'. A text of more than
// TB_PATH_LIST_LENGTH characters is refused as a whole, a directory whose files would pass
// TB_FILE_PATH_LENGTH by itself, each with an "info string" line.
void tb_set_directories(const char *text);

// Tries each directory in order with this table name (without suffix); handle -1 when none has it.
FileHandle tb_open_file(const char *name, TbType type);

// True for the size of a complete table file: a number of 64-byte lines and a 16-byte checksum.
bool tb_is_complete(u64 size);

enum class TbFileState { ABSENT, GOOD, INCOMPLETE };
// Looks a table file up and tests its size; an incomplete one is reported.
TbFileState tb_test_file(const char *name, TbType type);
