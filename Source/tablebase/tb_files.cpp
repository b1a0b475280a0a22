// Directories of tables and the files in them.
#include "tablebase/tb_files.h"

#include <cstdio>
#include <cstring>

#include "base/output.h"

const char *const TB_SUFFIX[TB_TYPES] = {".rtbw", ".rtbm", ".rtbz"};

// What a file's path needs beside its directory: separator, "KQRBvKQRB"-like name, suffix.
constexpr std::size_t LONGEST_FILE_NAME = 1 + (TB_MAX_MEN + 1) + 5;
constexpr u64 FILE_SIZE_STEP = 64;
constexpr u64 FILE_SIZE_REST = 16;

// The directories one after the other, each ended by a 0, the last by two.
static char directories[TB_PATH_LIST_LENGTH + 2];

void tb_set_directories(const char *text) {
    char *out = directories;
    const std::size_t length = std::strlen(text);
    if (length > TB_PATH_LIST_LENGTH) {
        print_plain("info string SyzygyPath of %llu characters is refused: %d are allowed\n",
                    static_cast<unsigned long long>(length), TB_PATH_LIST_LENGTH);
        text = "";
    }
    while (*text) {
        const std::size_t size = std::strcspn(text, ";");
        if (size + LONGEST_FILE_NAME > TB_FILE_PATH_LENGTH) {
            print_plain("info string SyzygyPath: a directory name of %llu characters is too long\n",
                        static_cast<unsigned long long>(size));
        } else if (size > 0) {
            std::memcpy(out, text, size);
            out[size] = 0;
            out += size + 1;
        }
        text += size + (text[size] == ';');
    }
    *out = 0;
}

FileHandle tb_open_file(const char *name, TbType type) {
    char path[TB_FILE_PATH_LENGTH + 1];
    for (const char *directory = directories; *directory; directory += std::strlen(directory) + 1) {
        const int length =
            std::snprintf(path, sizeof path, "%s%c%s%s", directory, DIRECTORY_SEPARATOR, name, TB_SUFFIX[type]);
        if (length < 0 || length > TB_FILE_PATH_LENGTH) continue;
        const FileHandle file = open_read_only(path);
        if (file.handle != -1) return file;
    }
    return {-1};
}

bool tb_is_complete(u64 size) { return size % FILE_SIZE_STEP == FILE_SIZE_REST; }

TbFileState tb_test_file(const char *name, TbType type) {
    const FileHandle file = tb_open_file(name, type);
    if (file.handle == -1) return TbFileState::ABSENT;
    u64 bytes = 0;
    const bool good = file_size(file, &bytes) && tb_is_complete(bytes);
    close_file(file);
    if (good) return TbFileState::GOOD;
    std::fprintf(stderr, "Incomplete tablebase file %s.%s\n", name, TB_SUFFIX[type]);
    print_plain("info string Incomplete tablebase file %s.%s\n", name, TB_SUFFIX[type]);
    return TbFileState::INCOMPLETE;
}
