// Opening the files that the engine reads on its own: configuration, book, network.
#pragma once

#include <cstdio>

// Opens a file for reading bytes, and never waits: a named pipe is refused, as its writer may not come while a front
// end waits for the engine. Null when it can't be opened; the caller closes the stream.
std::FILE *open_data_file(const char *path);
