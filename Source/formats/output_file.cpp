// Files written beside their target.
#include "formats/output_file.h"

#include <cerrno>
#include <cstring>

#include "base/text.h"
#include "platform/file_offset.h"
#include "platform/process.h"
#include "platform/replace_file.h"

constexpr int TEMPORARY_NAMES = 100;  // more than will be left behind by programs that were killed

// Creates target.tmp, or target.tmp1 and so on where that exists. False with errno set.
static bool create_temporary(OutputFile *file, OutputKind kind) {
    for (int i = 0; i < TEMPORARY_NAMES; ++i) {
        char number[12] = "";
        if (i) std::snprintf(number, sizeof number, "%d", i);
        const int length = std::snprintf(file->temporary, sizeof file->temporary, "%s.tmp%s", file->target, number);
        if (length >= PATH_LENGTH) {
            errno = ENAMETOOLONG;
            return false;
        }
        file->stream = static_cast<std::FILE *>(create_new_file(file->temporary, kind == OUTPUT_BINARY));
        if (file->stream) return true;
        if (errno != EEXIST) return false;
    }
    return false;
}

// Where no temporary file can be made (the directory is not writable, the name is too long with the
// ending), the file is written in place, unless that would empty the input.
bool open_output(OutputFile *file, const char *name, OutputKind kind, const char *input) {
    *file = OutputFile{};
    copy_text(file->name, name, sizeof file->name);
    if (!resolve_links(name, file->target, PATH_LENGTH)) copy_text(file->target, name, sizeof file->target);
    file->is_input = input && is_same_file(file->target, input);
    const TargetKind target = target_kind(file->target);
    int reason = EACCES;
    if (target != TARGET_PROTECTED) {
        if (target != TARGET_OTHER && create_temporary(file, kind)) return true;
        reason = errno;
        file->temporary[0] = '\0';
        if (target == TARGET_OTHER || !file->is_input) {
            file->stream = std::fopen(file->target, kind == OUTPUT_BINARY ? "wb" : "w");
            if (file->stream) return true;
            reason = errno;
        }
    }
    std::fprintf(stderr, "error writing %s: %s\n", name, std::strerror(reason));
    return false;
}

bool keep_output(OutputFile *file) {
    if (std::fflush(file->stream) != 0 || std::ferror(file->stream)) return false;
    const i64 place = file_place(file->stream);
    if (place > file->kept) file->kept = place;
    return true;
}

// The file is closed. After an error only the part that is known to be whole remains.
static OutputEnd cut_to_kept_part(const OutputFile *file, OutputEnd end) {
    if (end == OUTPUT_DROPPED || file->kept == 0 || !file->temporary[0]) return OUTPUT_DROPPED;
    return cut_file(file->temporary, file->kept) ? OUTPUT_INTERRUPTED : OUTPUT_DROPPED;
}

// Gives the temporary file its place. False when that fails.
static bool place_output(const OutputFile *file, OutputEnd end) {
    if (end == OUTPUT_DROPPED) return delete_file(file->temporary);
    if (end == OUTPUT_INTERRUPTED && file->is_input) {
        std::fprintf(stderr, "%s is the input and stays as it was; the finished part is in %s\n", file->name,
                     file->temporary);
        return true;
    }
    return replace_file(file->temporary, file->target);
}

bool close_output(OutputFile *file, OutputEnd end) {
    if (!file->stream) return true;
    bool sound = std::fflush(file->stream) == 0 && !std::ferror(file->stream);
    if (end == OUTPUT_INTERRUPTED && file_place(file->stream) == 0) end = OUTPUT_DROPPED;
    if (std::fclose(file->stream) != 0) sound = false;
    file->stream = nullptr;
    if (!sound) end = cut_to_kept_part(file, end);
    if (file->temporary[0] && !place_output(file, end)) sound = false;
    if (!sound) std::fprintf(stderr, "error writing %s\n", file->name);
    return sound;
}
