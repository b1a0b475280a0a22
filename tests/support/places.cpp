#include "support/places.h"

std::string program_path() { return TARN_PROGRAM; }

std::string project_path(const std::string &name) { return std::string(TARN_ROOT) + "/" + name; }

std::string shared_path(const std::string &name) { return std::string(TARN_SHARED) + "/" + name; }
