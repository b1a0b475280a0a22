// Files and directories that tests make.
#pragma once

#include <string>

// A new empty directory that is removed with all that is in it.
struct ScratchDirectory {
    std::string path;
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;
    std::string file(const std::string &name) const { return path + "/" + name; }
};

bool write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);  // empty when it can't be read
// Why a directory can't be opened as a file, in the words of the system that the tests run on.
std::string directory_reason();
// A text file that the program under test wrote, with the line ends of its system turned into line feeds.
std::string read_text(const std::string &path);
