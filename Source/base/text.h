// Text from outside: bounded copies, and numbers kept in a range.
#pragma once

#include <cstddef>

#include "platform/integers.h"

// Copies at most size - 1 characters and always ends the text. The two may overlap.
void copy_text(char *target, const char *source, std::size_t size);

// The number at the start of a text, kept within low..high. Anything else counts as 0.
i64 number_in_range(const char *text, i64 low, i64 high);
// The same for an int.
int integer_in_range(const char *text, int low, int high);
// The number with a fraction at the start of a text; 0 for anything else, "nan" included.
double decimal_of(const char *text);

// Read a text that consists of a number, clamped to low..high. Return false and leave the output unchanged
// for any other text, or an empty one.
bool read_whole_number(const char *text, i64 low, i64 high, i64 *out);
bool read_decimal(const char *text, double low, double high, double *out);
