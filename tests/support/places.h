// Where the program under test, the project and the optional reference data are. The paths are
// compiled into places.cpp alone, so that a compiler cache serves every checkout.
#pragma once

#include <string>

// The built program.
std::string program_path();

// A file of the project, by its path from the project's root.
std::string project_path(const std::string &name);

// A file of the optional reference data beside the project; it may not exist.
std::string shared_path(const std::string &name);
