// Opening data files: a pipe without the other end can't be opened here, and nothing waits.
#include "platform/data_file.h"

std::FILE *open_data_file(const char *path) { return std::fopen(path, "rb"); }
