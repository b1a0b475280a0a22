// Standard output as plain bytes. The C stream is not used: on some systems it writes an unbuffered line in pieces.
#pragma once

#include <cstddef>

// Writes all of the text with one system call where the system takes that much at once. Line ends are written as the
// system has them. What can't be written is dropped. Returns false for that, but not for a reader that went away, which
// is noticed at standard input.
bool write_standard_output(const char *text, std::size_t size);
