// A file that a tool makes. It is written under a temporary name beside its target and takes the
// target's name when it is closed: until then an earlier file of that name, which may be the tool's
// own input, stays as it is. Errors are reported in one line on standard error.
#pragma once

#include <cstdio>

#include "base/settings.h"
#include "platform/integers.h"

struct OutputFile {
    std::FILE *stream;            // null when not open
    char name[PATH_LENGTH];       // as it was given, for messages
    char target[PATH_LENGTH];     // the same with links followed
    char temporary[PATH_LENGTH];  // empty: the target is written in place (a device, for instance)
    i64 kept;                     // bytes that keep_output has made safe
    bool is_input;                // the target is also the file that the tool reads
};

enum OutputKind { OUTPUT_TEXT, OUTPUT_BINARY };
enum OutputEnd {
    OUTPUT_COMPLETE,     // everything was written: the target is replaced
    OUTPUT_INTERRUPTED,  // what there is, if anything, replaces the target; but beside the input it stays
    OUTPUT_DROPPED,      // nothing of use was written: the target stays as it was
};

// `input` names a file that is read meanwhile, or is null. False with a message when the file can't
// be written; then it needs no closing.
bool open_output(OutputFile *file, const char *name, OutputKind kind, const char *input);
// Brings what was written so far to the disk: it is kept even if a later write fails. False when
// the disk is full or gives another error.
bool keep_output(OutputFile *file);
// Closes and renames. False, with a message, when something could not be written: then the target
// holds what keep_output has made safe, or if that is nothing, its old content.
bool close_output(OutputFile *file, OutputEnd end);
