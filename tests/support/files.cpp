#include "support/files.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>

#include "gtest/gtest.h"

#include "support/places.h"

ScratchDirectory::ScratchDirectory() {
    std::random_device random;
    std::error_code error;
    const std::filesystem::path parent = std::filesystem::temp_directory_path(error);
    for (int i = 0; i < 100 && path.empty(); ++i) {
        const std::string name = (parent / ("tarn-test-" + std::to_string(random()))).string();
        if (std::filesystem::create_directory(name, error)) path = name;
    }
    if (path.empty()) ADD_FAILURE() << "no scratch directory: " << error.message();
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
}

bool write_file(const std::string &path, const std::string &content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    return !file.fail();
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::string directory_reason() { return program_is_for_windows() ? "Permission denied" : "Is a directory"; }

std::string read_text(const std::string &path) {
    const std::string content = read_file(path);
    if (!program_is_for_windows()) return content;
    std::string text;
    for (std::size_t i = 0; i < content.size(); ++i)
        if (content[i] != '\r' || content[i + 1] != '\n') text += content[i];
    return text;
}
