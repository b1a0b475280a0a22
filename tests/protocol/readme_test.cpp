// The README's tables against the program: options against what "uci" prints, switches against the
// names that the command line knows. Its links, and its test command.
#include <algorithm>
#include <cctype>
#include <set>

#include "gtest/gtest.h"

#include "protocol/session.h"
#include "support/shared_data.h"

// The trimmed cells of a table row; empty for any other line.
static Lines cells_of(const std::string &line) {
    Lines cells;
    if (line.empty() || line[0] != '|') return cells;
    std::string cell;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] != '|') {
            cell += line[i];
            continue;
        }
        const std::size_t first = cell.find_first_not_of(' '), last = cell.find_last_not_of(' ');
        cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
        cell.clear();
    }
    return cells;
}

// The rows of the first table under a heading, without its two head lines.
static std::vector<Lines> table_under(const std::string &heading) {
    std::vector<Lines> rows;
    bool inside = false;
    for (const std::string &line : read_lines(project_path("README.md"))) {
        if (line == heading) inside = true;
        else if (inside && line.rfind("## ", 0) == 0) break;
        const Lines cells = cells_of(line);
        if (inside && !cells.empty()) rows.push_back(cells);
        else if (!rows.empty()) break;
    }
    if (rows.size() > 2) rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

static std::string without_ticks(const std::string &cell) {
    std::string text;
    for (const char c : cell)
        if (c != '`') text += c;
    return text;
}

TEST(Readme, OptionsAreThoseOfTheProgram) {
    Session engine;
    engine.program.send("uci");
    Lines printed;
    for (const std::string &line : engine.program.lines_until("uciok"))
        if (line.rfind("option ", 0) == 0) printed.push_back(line);
    const std::vector<Lines> rows = table_under("## UCI options");
    ASSERT_EQ(rows.size(), printed.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Lines &row = rows[i];
        ASSERT_EQ(row.size(), 6u);
        std::string line = "option name " + without_ticks(row[0]) + " type " + row[1];
        if (row[0] == "`UCI_Elo`") {  // the machine's own figure is printed
            EXPECT_EQ(row[2], "measured");
            EXPECT_EQ(row[3], "1500");
            EXPECT_EQ(row[4], "measured");
            EXPECT_EQ(printed[i].rfind(line + " default ", 0), 0u);
            continue;
        }
        if (row[1] != "button") line += " default " + row[2];
        if (row[1] == "spin") line += " min " + row[3] + " max " + row[4];
        EXPECT_EQ(printed[i], line);
        EXPECT_FALSE(row[5].empty());
    }
}

TEST(Readme, SwitchesAreThoseOfTheCommandLine) {
    // The names are text in the table of the source.
    const std::string source = read_file(project_path("Source/command_line.cpp"));
    std::set<std::string> known, described;
    for (std::size_t at = source.find("{\"-"); at != std::string::npos; at = source.find("{\"-", at + 1))
        known.insert(source.substr(at + 2, source.find('"', at + 2) - at - 2));
    for (const Lines &row : table_under("## Command line")) {
        const std::string cell = without_ticks(row[0]);
        for (std::size_t at = cell.find('-'); at != std::string::npos; at = cell.find('-', at + 1)) {
            if (at > 0 && cell[at - 1] != ' ') continue;
            described.insert(cell.substr(at, cell.find_first_of(", ", at) - at));
        }
    }
    EXPECT_GE(known.size(), 40u);
    EXPECT_EQ(known, described);
}

// Files and headings that README points to are there.
TEST(Readme, LinksLeadSomewhere) {
    std::set<std::string> headings;
    const std::vector<std::string> lines = read_lines(project_path("README.md"));
    for (const std::string &line : lines) {
        if (line.empty() || line[0] != '#') continue;
        std::string heading = line.substr(line.find_first_not_of("# "));
        std::transform(heading.begin(), heading.end(), heading.begin(),
                       [](char c) { return c == ' ' ? '-' : static_cast<char>(std::tolower(c)); });
        headings.insert("#" + heading);
    }
    int links = 0;
    for (const std::string &line : lines) {
        for (std::size_t at = line.find("]("); at != std::string::npos; at = line.find("](", at + 2)) {
            const std::string target = line.substr(at + 2, line.find(')', at) - at - 2);
            links++;
            if (target[0] == '#') EXPECT_TRUE(headings.count(target)) << target;
            else EXPECT_FALSE(read_file(project_path(target)).empty()) << target;
        }
    }
    EXPECT_GE(links, 10);
}

// The command that README opens with is the one that the machine runs.
TEST(Readme, TestCommandIsTheOneOfTheMachine) {
    const std::string readme = read_file(project_path("README.md"));
    EXPECT_NE(readme.substr(0, 300).find("\nmake test "), std::string::npos);
    EXPECT_NE(read_file(project_path(".ci/run")).find("make test"), std::string::npos);
    EXPECT_NE(read_file(project_path("Makefile")).find("\ntest:"), std::string::npos);
}
