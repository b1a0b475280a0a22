// What the tests of the offline tools share: running a tool in a directory of its own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "support/program.h"
#include "support/shared_data.h"

struct ToolRun {
    int status;
    std::string output;  // the tool's own: the start-up lines are cut off
    std::string errors;
};

// Start-up says these things before a tool begins; how many lines depends on the settings.
inline bool is_start_line(const std::string &line) { return line.rfind("info string ", 0) == 0; }

inline ToolRun run_tool(const std::vector<std::string> &arguments, const ScratchDirectory &directory) {
    ToolRun run;
    const auto lines = run_program(arguments, "", directory.path, &run.status, &run.errors);
    std::size_t first = 0;
    while (first < lines.size() && is_start_line(lines[first])) ++first;
    for (; first < lines.size(); ++first) run.output += lines[first] + "\n";
    return run;
}

inline std::vector<std::string> split_lines(const std::string &text) {
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end - at));
        if (end == std::string::npos) break;
        at = end + 1;
    }
    return lines;
}

inline std::string with_crlf(const std::string &text) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

// Bytes of every value, line ends among them, the same in every run.
inline std::string noise(std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    for (char &byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

constexpr const char *START_FIELDS = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
