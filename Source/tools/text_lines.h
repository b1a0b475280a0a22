// Lines of the text files that the tools read and write: PGN and EPD. A tool that can't open a file
// ends without a word; one that fails while reading or writing says so on standard error, so that a
// full disk is noticed and standard output stays as it is described.
#pragma once

#include <cstdio>

#include "board/position.h"

// The operations of one EPD line that the tools use; a missing one is an empty text.
struct EpdLine {
    char fen[EPD_FIELD];
    char bm[EPD_FIELD], am[EPD_FIELD], ce[EPD_FIELD], sc[EPD_FIELD];
    char gr[EPD_FIELD], id[EPD_FIELD], c0[EPD_FIELD];
};

// As std::fgets: at most size - 1 characters, line end included, the rest of a longer line comes
// next; but the two characters CR LF read as one LF. False at the end or on an error.
bool read_text_line(char *line, int size, std::FILE *file);
// True for a line that is no EPD line: it begins with a blank, '#' or ';'.
bool is_remark(const char *line);
bool split_epd_line(const char *line, EpdLine *out);
// The number at the start of a text, 0 without one, kept within +-2147483647.
int read_integer(const char *text);
// The same for a number with a fraction; what is no number reads as 0.
double read_number(const char *text);

// Copies `name` (at most size - 1 characters) with the first `from` in it changed into `to`, a text
// of the same length. False when `name` doesn't hold `from`.
bool change_extension(const char *name, const char *from, const char *to, char *out, std::size_t size);

// Close a stream (null is allowed). False, and one line on standard error, when anything could not
// be read or written since it was opened; the call names the file.
bool close_input(std::FILE *file, const char *name);
bool close_output(std::FILE *file, const char *name);
