#include "support/places.h"

#include <cstdlib>
#include <sstream>

std::string program_path() { return TARN_PROGRAM; }

std::string project_path(const std::string &name) { return std::string(TARN_ROOT) + "/" + name; }

std::string shared_path(const std::string &name) { return std::string(TARN_SHARED) + "/" + name; }

std::vector<std::string> program_command() {
    const char *command = std::getenv("TARN_TEST_PROGRAM");
    std::istringstream words(command ? command : "");
    std::vector<std::string> list;
    for (std::string word; words >> word;) list.push_back(word);
    return list.empty() ? std::vector<std::string>{program_path()} : list;
}

bool program_is_for_windows() {
    const std::string program = program_command().back();
    return program.size() > 4 && program.compare(program.size() - 4, 4, ".exe") == 0;
}
