// Where the program under test, the project and the optional reference data are. The paths are
// compiled into places.cpp alone, so that a compiler cache serves every checkout.
#pragma once

#include <string>
#include <vector>

// The built program, as this project's build made it.
std::string program_path();
// The command that starts it. The environment variable TARN_TEST_PROGRAM gives another one, its words between blanks:
// "/usr/lib/wine/wine64 /path/tarn.exe" has the tests drive the program for Windows.
std::vector<std::string> program_command();
bool program_is_for_windows();

// A file of the project, by its path from the project's root.
std::string project_path(const std::string &name);

// A file of the optional reference data beside the project; it may not exist.
std::string shared_path(const std::string &name);
