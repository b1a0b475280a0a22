// The optional reference data beside the project: tests that need it skip visibly without it.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "support/places.h"

inline bool shared_exists(const std::string &name) { return std::ifstream(shared_path(name)).good(); }

#define SKIP_WITHOUT_SHARED(name) \
    if (!shared_exists(name)) GTEST_SKIP() << "no reference data: " << name

// All lines of a text file, without line ends; empty when it can't be read.
inline std::vector<std::string> read_lines(const std::string &path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// The tab-separated fields of a line.
inline std::vector<std::string> split_tabs(const std::string &line) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
        if (c == '\t') fields.emplace_back();
        else fields.back() += c;
    }
    return fields;
}
