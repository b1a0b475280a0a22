// Replacing a file by another in one step, so that a name always has its old or its new content.
#pragma once

// What a name that is to be written refers to.
enum TargetKind {
    TARGET_NONE,       // nothing yet
    TARGET_FILE,       // a regular file that may be written
    TARGET_OTHER,      // a device, a pipe, a directory: can only be written in place, if at all
    TARGET_PROTECTED,  // a regular file that may not be written
};
TargetKind target_kind(const char *path);  // links are followed
// The name with all links followed, or the name itself when it names nothing. False when `size`
// characters do not hold it.
bool resolve_links(const char *path, char *out, int size);
// True when both names lead to the same existing file.
bool is_same_file(const char *first, const char *second);
// Creates a file that does not exist yet, for binary or text writing. Returns a C stream as void *
// to keep <cstdio> out of this header's readers; null with errno set, EEXIST among others.
void *create_new_file(const char *path, bool binary);
// Moves `from` over `to`, which may exist, and gives it the permissions that `to` had. False, with
// errno set and both files unchanged, when that fails.
bool replace_file(const char *from, const char *to);
// Cuts a file to this many bytes.
bool cut_file(const char *path, long long bytes);
