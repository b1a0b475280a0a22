// Text files line by line: PGN, EPD and configuration files. A file that can't be opened or read is
// reported in one line on standard error, so that standard output keeps its form.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "platform/integers.h"

enum LineEnds {
    LINES_WITHOUT_CR,   // CR LF reads as LF
    LINES_AS_THEY_ARE,  // a CR before the LF belongs to the text
};

// Reads whole lines; see next_line.
struct LineReader {
    std::FILE *file;
    LineEnds ends;
    std::string line;  // with its LF, if it has one
    i64 bytes;         // read so far, for showing progress
    std::size_t at, size;
    char buffer[32768];
};

// What is longer is cut: the rest of the line is skipped.
constexpr std::size_t LONGEST_LINE = std::size_t{1} << 20;

// Opens a file for binary reading. Null, and "error reading NAME: reason" on standard error, when it
// can't be read or is a directory.
std::FILE *open_input(const char *name);
// Closes a stream; null is allowed. False, and "error reading NAME" on standard error, when
// something could not be read since it was opened.
bool close_input(std::FILE *file, const char *name);

void start_lines(LineReader *reader, std::FILE *file, LineEnds ends = LINES_WITHOUT_CR);
// The next line, of any length up to LONGEST_LINE, into reader->line. False at the end, on an error, or when an
// interrupt was caught (platform/interrupt.h).
bool next_line(LineReader *reader);
// As std::fgets: at most size - 1 characters, line end included, the rest of a longer line comes
// next; but the two characters CR LF read as one LF. False at the end or on an error.
bool read_text_line(char *line, int size, std::FILE *file);

// Copies `name` (at most size - 1 characters) with the first `from` in it changed into `to`, a text
// of the same length. False when `name` doesn't hold `from`.
bool change_extension(const char *name, const char *from, const char *to, char *out, std::size_t size);
// False, and a line on standard error, when `name` doesn't hold `extension`.
bool has_extension(const char *name, const char *extension);
