// Lines of EPD files: four FEN fields, then operations "name value;".
#pragma once

#include <cstddef>

constexpr int EPD_FIELD = 128;  // characters of a value with the end mark; what is longer is cut

// The operations of one line that the program uses; a missing one is an empty text. A value has lost
// its blanks.
struct EpdLine {
    char fen[EPD_FIELD];
    char bm[EPD_FIELD], am[EPD_FIELD], ce[EPD_FIELD], sc[EPD_FIELD];
    char gr[EPD_FIELD], id[EPD_FIELD], c0[EPD_FIELD];
};

// Splits a line. Every text gives some result; only a set-up shows whether it is a position. An
// operation without its ';' is dropped and ends the line, as does an empty one in front.
void split_epd_line(const char *line, EpdLine *out);
// True for a line that is no EPD line: it begins with a blank, '#' or ';'.
bool is_remark(const char *line);
