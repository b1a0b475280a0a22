// --help, --version and `bench`: what they print, that they end at once and leave no file.
#include <algorithm>
#include <filesystem>

#include "gtest/gtest.h"

#include "protocol/session.h"
#include "support/sanitizers.h"

// Runs to the end with input left open: none of the three waits for it.
static Lines answer_of(const Lines &arguments, double seconds = DEFAULT_WAIT) {
    ScratchDirectory directory;
    Program program(arguments, directory.path);
    const Lines lines = program.rest(seconds);
    EXPECT_EQ(program.wait_exit(), 0);
    EXPECT_EQ(program.error_output(), "");
    EXPECT_TRUE(std::filesystem::is_empty(directory.path));
    return lines;
}

// The value of a line "KEY: VALUE"; empty without one.
static std::string value_of(const Lines &lines, const std::string &key) {
    for (const std::string &line : lines)
        if (line.rfind(key + ": ", 0) == 0) return line.substr(key.size() + 2);
    return "";
}

// The switches that a text names, after a blank or at its start.
static Lines switches_in(const std::string &text) {
    Lines found;
    for (std::size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 1)) {
        const std::size_t end = std::min(text.find_first_of(" ,\"", at), text.size());
        if (at == 0 || text[at - 1] == ' ') found.push_back(text.substr(at, end - at));
        at = end - 1;
    }
    return found;
}

TEST(About, HelpIsOnePageThatNamesOnlyWhatThereIs) {
    const Lines page = answer_of({"--help"});
    ASSERT_FALSE(page.empty());
    EXPECT_EQ(page[0], "Tarn 7.04 by Ilse Marrow: a chess engine");
    EXPECT_LE(page.size(), 40u);
    const std::string source = read_file(project_path("Source/command_line.cpp"));
    int named = 0;
    for (const std::string &line : page) {
        EXPECT_LE(line.size(), 80u) << line;
        for (const std::string &name : switches_in(line)) {
            EXPECT_NE(source.find("{\"" + name + "\","), std::string::npos) << name;
            ++named;
        }
    }
    EXPECT_GE(named, 15);
    EXPECT_EQ(answer_of({"-h"}), page);
    EXPECT_EQ(answer_of({"-hash", "16", "-log", "--help", "-pbench", "-scan_pgn"}), page)
        << "what follows is not read, and no log is opened";
}

TEST(About, VersionNamesTheBuild) {
    const Lines lines = answer_of({"--version"});
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "Tarn 7.04 by Ilse Marrow");
    EXPECT_TRUE(has_form(value_of(lines, "processor"), "(x86-64(-v[34])?|native|armv8-a), [A-Za-z]+"));
    EXPECT_TRUE(has_form(value_of(lines, "compiler"), ".*[0-9]+.*"));
    EXPECT_TRUE(has_form(value_of(lines, "network"), "SHA-256 [0-9a-f]{12}"));
    EXPECT_NE(value_of(lines, "bench"), "");
}

TEST(About, BenchEndsWithNodesAndSpeed) {
    SKIP_UNDER_THREAD_SANITIZER();
    const Lines lines = answer_of({"bench", "5"});
    const Lines plain = answer_of({"-pbench", "-d", "5"});
    ASSERT_EQ(lines.size(), plain.size() + 1);
    EXPECT_TRUE(has_form(lines.back(), "[0-9]+ nodes [0-9]+ nps")) << lines.back();
    const std::string nodes = lines.back().substr(0, lines.back().find(' '));
    EXPECT_NE(plain.back().find("nodes= " + nodes + ","), std::string::npos) << plain.back();
    // A depth outside the range is cut, and one that is no number is not the depth.
    EXPECT_EQ(answer_of({"bench", "0"}).back().substr(0, 5), answer_of({"bench", "1"}).back().substr(0, 5));
    EXPECT_EQ(answer_of({"bench", "-d", "5"}).back().rfind(nodes + " nodes", 0), 0u);
    // A value that reads "bench" is a value.
    EXPECT_EQ(answer_of({"-book", "bench", "--version"}).size(), 5u);
}

// The signature that --version prints is the count of `bench`.
TEST(About, SignatureIsTheCountOfTheBenchmark) {
    SKIP_UNDER_SANITIZERS();
    const std::string signature = value_of(answer_of({"--version"}), "bench");
    if (signature.rfind("unknown", 0) == 0) GTEST_SKIP() << "no signature for this network in Source/about.cpp";
    const std::string last = answer_of({"bench"}, 900).back();
    EXPECT_EQ(last.substr(0, last.find(' ')), signature) << "a changed search needs a new one in Source/about.cpp";
}
