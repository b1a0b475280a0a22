// A running engine in a directory of its own, past its start.
#pragma once

#include <regex.h>

#include <string>
#include <vector>

#include "support/program.h"

struct Session {
    ScratchDirectory directory;
    Program program;
    std::vector<std::string> start_lines;  // what it printed before the first "readyok"

    explicit Session(const std::vector<std::string> &arguments = {}) : program(arguments, directory.path) {
        program.send("isready");
        start_lines = program.lines_until("readyok");
        start_lines.pop_back();
    }
    // Sends the line and returns what was printed up to the "readyok" that answers it.
    std::vector<std::string> ask(const std::string &line) {
        program.send(line);
        program.send("isready");
        std::vector<std::string> lines = program.lines_until("readyok");
        lines.pop_back();
        return lines;
    }
    // Sends a "go" and returns all lines up to the best move.
    std::vector<std::string> search(const std::string &line) {
        program.send(line);
        return program.lines_until("bestmove");
    }
};

// The number after a keyword of the last information line that has it; -1 without one.
inline long long info_value(const std::vector<std::string> &lines, const std::string &keyword) {
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        const std::size_t at = line->find(" " + keyword + " ");
        if (line->rfind("info ", 0) == 0 && at != std::string::npos)
            return std::atoll(line->c_str() + at + keyword.size() + 2);
    }
    return -1;
}

inline bool has_line(const std::vector<std::string> &lines, const std::string &line) {
    for (const std::string &one : lines)
        if (one == line) return true;
    return false;
}

// True when the whole text has the form of an extended regular expression.
inline bool has_form(const std::string &text, const std::string &form) {
    regex_t expression;
    if (regcomp(&expression, ("^(" + form + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) return false;
    const bool matched = regexec(&expression, text.c_str(), 0, nullptr, 0) == 0;
    regfree(&expression);
    return matched;
}

using Lines = std::vector<std::string>;
