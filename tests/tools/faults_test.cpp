// Every tool under faults from outside: signals at random moments, memory that runs out at any allocation, standard
// output on a full disk. No crash, no hang, no half output under its final name, and a reason for every failure.
#include <fcntl.h>
#include <unistd.h>
#include <csignal>
#include <random>

#include "support/sanitizers.h"
#include "tools/tool_files.h"

struct ToolCase {
    std::vector<std::string> arguments;
    std::string input, content;  // the input file
    std::string output;          // the file that it makes, empty for none
};

static std::string repeated(const std::string &text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

// The tools with inputs that keep them busy for about so many positions.
static std::vector<ToolCase> tool_cases(int positions) {
    const std::string suite =
        repeated("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ce 900; gr 1.0; bm e4;\n", positions);
    const std::string games = repeated(
        "[Event \"x\"]\n[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 4. Ba4 Nf6 5. O-O Be7 6. Re1 b5 7. Bb3 d6 8. c3 O-O 9. h3 Nb8 1-0\n\n",
        positions);
    const std::string starts = std::string(START_FIELDS) + "\n";
    return {
        {{"-scan_pgn", "x.pgn", "-o", "out.epd"}, "x.pgn", games, "out.epd"},
        {{"-epd2bin", "x.epd"}, "x.epd", suite, "x.bin"},
        {{"-bin2epd", "x.bin"}, "x.bin", std::string(static_cast<std::size_t>(40 * positions), '\1'), "x.epd"},
        {{"-mktraindata", "x.epd", "-o", "out.epd", "-d", "2"}, "x.epd", suite, "out.epd"},
        {{"-gentraindata", "out.epd", std::to_string(100 + positions), "-d", "1"}, "mybook_2mv.epd", starts, "out.epd"},
        {{"-anepd", "x.epd", "-o", "out.epd", "-d", "2"}, "x.epd", suite, "out.epd"},
        {{"-mkbook2", "x.epd", "-d", "2"}, "x.epd", suite, "tmp_0.epd"},
        {{"-mkbook", "x.pgn"}, "x.pgn", games, "tmp_book.bin"},
        {{"-bench", "-d", "4"}, "x", "", ""},
        {{"-pbench", "-d", "4"}, "x", "", ""},
    };
}

static constexpr const char *EARLIER = "earlier\n";

static void prepare(const ToolCase &tool, const ScratchDirectory &directory) {
    ASSERT_TRUE(write_file(directory.file(tool.input), tool.content));
    ASSERT_TRUE(tool.output.empty() || write_file(directory.file(tool.output), EARLIER));
}

// The output has its earlier content, or begins like the regular one and ends with a line or record.
static void expect_sound_output(const ToolCase &tool, const ScratchDirectory &directory, const std::string &regular) {
    if (tool.output.empty()) return;
    const std::string text = read_file(directory.file(tool.output));
    if (text == EARLIER) return;
    const std::size_t record = tool.arguments[0] == "-epd2bin" ? 40 : 16;
    if (tool.output.ends_with(".bin")) EXPECT_EQ(text.size() % record, 0u);
    else EXPECT_TRUE(text.empty() ? regular.empty() : text.back() == '\n') << tool.arguments[0];
    // -scan_pgn ends its file with an empty line.
    const std::string kept = text.ends_with("\n\n") ? text.substr(0, text.size() - 1) : text;
    // The book of a part of the games has lower weights.
    if (tool.arguments[0] == "-mkbook") EXPECT_LE(text.size(), regular.size());
    else EXPECT_TRUE(regular.starts_with(kept)) << tool.arguments[0] << ", " << text.size() << " bytes";
}

static std::string regular_output(const ToolCase &tool) {
    const ScratchDirectory directory;
    prepare(tool, directory);
    const ToolRun run = run_tool(tool.arguments, directory);
    EXPECT_EQ(run.status, 0) << tool.arguments[0] << ": " << run.errors;
    return tool.output.empty() ? "" : read_file(directory.file(tool.output));
}

static int temporary_files(const ScratchDirectory &directory) {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory.path))
        count += entry.path().filename().string().find(".tmp") != std::string::npos;
    return count;
}

TEST(ToolSignals, AtRandomMoments) {
    SKIP_ON_WINDOWS("signals");
    std::mt19937 random(1);
    for (const ToolCase &tool : tool_cases(UNDER_SANITIZER ? 40 : 200)) {
        // Games of self-play are drawn anew in every run.
        const bool repeatable = tool.arguments[0] != "-gentraindata";
        const std::string regular = repeatable ? regular_output(tool) : "";
        const int signals[] = {SIGINT, SIGTERM, SIGPIPE, SIGINT, SIGTERM};
        for (int i = 0; i < (UNDER_SANITIZER ? 3 : 5); ++i) {
            const int number = signals[i];
            const ScratchDirectory directory;
            prepare(tool, directory);
            Program program(tool.arguments, directory.path);
            program.close_input();
            // Not before the signals are in the program's own hands, which they are at this line.
            program.wait_for("info string loaded embedded network");
            program.lines_within(static_cast<double>(random() % 50) / 1000.0);
            kill(program.process_id(), number);
            program.rest();
            const int status = program.wait_exit();
            EXPECT_TRUE(status == 0 || (number != SIGPIPE && status == 128 + number)) << tool.arguments[0] << status;
            EXPECT_TRUE(status != 0 || program.error_output().empty()) << tool.arguments[0] << program.error_output();
            EXPECT_EQ(temporary_files(directory), 0) << tool.arguments[0];
            if (repeatable) expect_sound_output(tool, directory, regular);
        }
    }
}

// A device may give a line without end.
TEST(ToolSignals, WhileALineIsRead) {
    if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero here";
    for (const char *tool : {"-anepd", "-mkbook2"}) {
        const ScratchDirectory directory;
        Program program({tool, "/dev/zero", "-o", "out.epd", "-d", "2"}, directory.path);
        program.close_input();
        program.wait_for("info string loaded embedded network");
        program.lines_within(0.1);
        kill(program.process_id(), SIGTERM);
        EXPECT_EQ(program.wait_exit(20.0), 128 + SIGTERM) << tool;
        EXPECT_EQ(temporary_files(directory), 0) << tool;
    }
}

// ---- Memory ----

// The library that lets one allocation fail, see tests/faults/no_memory.cpp.
static std::string no_memory_library() {
    return std::filesystem::path(program_path()).parent_path().string() + "/tests/no_memory.so";
}

// The tool with its `number`th allocation failing, or with all from there on; counted from 1, 0 for none.
static ToolRun run_without_memory(const ToolCase &tool, const ScratchDirectory &directory, int number, bool and_later) {
    ProgramSetup setup;
    setup.executable = "/usr/bin/env";
    setup.directory = directory.path;
    setup.arguments = {"LD_PRELOAD=" + no_memory_library()};
    if (number) setup.arguments.push_back("TARN_FAIL_AT=" + std::to_string(number));
    if (and_later) setup.arguments.push_back("TARN_FAIL_ON=1");
    setup.arguments.push_back(program_path());
    setup.arguments.insert(setup.arguments.end(), tool.arguments.begin(), tool.arguments.end());
    Program program(setup);
    program.close_input();
    ToolRun run;
    for (const std::string &line : program.rest()) run.output += line + "\n";
    run.status = program.wait_exit();
    run.errors = program.error_output();
    return run;
}

// Status 0 and the whole output, or a failure with its reason and nothing half done.
static void expect_orderly_end(const ToolCase &tool, int number, bool and_later, const std::string &regular) {
    const ScratchDirectory directory;
    prepare(tool, directory);
    const ToolRun run = run_without_memory(tool, directory, number, and_later);
    const std::string what = tool.arguments[0] + ", allocation " + std::to_string(number) + ": ";
    EXPECT_TRUE(run.status == 0 || run.status == 1 || run.status == 255) << what << run.status << run.errors;
    if (run.status == 0) {
        EXPECT_TRUE(tool.output.empty() || read_file(directory.file(tool.output)) == regular) << what;
        return;
    }
    const bool has_reason = run.errors.find("memory") != std::string::npos ||
                            run.errors.find("error ") != std::string::npos ||
                            run.output.find("allocating memory for net failed!") != std::string::npos ||
                            run.output.find("info string can't start ") != std::string::npos ||
                            run.output.find("no memory for a search thread") != std::string::npos ||
                            run.output.find("error initializing NN!") != std::string::npos;
    EXPECT_TRUE(has_reason) << what << run.output << run.errors;
    expect_sound_output(tool, directory, regular);
}

TEST(ToolMemory, RunsOutAtAnyAllocation) {
    SKIP_ON_WINDOWS("LD_PRELOAD");
    if (!std::filesystem::exists(no_memory_library())) GTEST_SKIP() << "not built with sanitizers";
    constexpr int ALL_OF = 16, STEP = 11;  // later ones are much alike
    for (const ToolCase &tool : tool_cases(20)) {
        if (tool.arguments[0] == "-gentraindata") continue;  // below
        const std::string regular = regular_output(tool);
        const ScratchDirectory directory;
        prepare(tool, directory);
        const ToolRun counted = run_without_memory(tool, directory, 0, false);
        const std::size_t at = counted.errors.find("allocations ");
        ASSERT_NE(at, std::string::npos) << counted.errors;
        const int allocations = std::atoi(counted.errors.c_str() + at + 12);
        EXPECT_GT(allocations, 4) << tool.arguments[0];
        for (int number = 1; number <= allocations; number += number < ALL_OF ? 1 : STEP)
            expect_orderly_end(tool, number, false, regular);
        for (const int number : {1, 5, 9, 10, 11, 12}) expect_orderly_end(tool, number, true, regular);
    }
}

TEST(ToolMemory, SelfPlay) {
    SKIP_ON_WINDOWS("LD_PRELOAD");
    if (!std::filesystem::exists(no_memory_library())) GTEST_SKIP() << "not built with sanitizers";
    for (const ToolCase &tool : tool_cases(20)) {
        if (tool.arguments[0] != "-gentraindata") continue;
        for (const int number : {2, 7, 12, 13, 14, 16}) {
            const ScratchDirectory directory;
            prepare(tool, directory);
            const ToolRun run = run_without_memory(tool, directory, number, false);
            EXPECT_TRUE(run.status == 0 || run.status == 1 || run.status == 255)
                << number << ": " << run.status << run.errors;
            const std::string text = read_file(directory.file(tool.output));
            EXPECT_EQ(text == EARLIER, run.status != 0) << number;
            EXPECT_EQ(text.back(), '\n');
        }
    }
}

// ---- Standard output ----

// Runs with this file as standard output.
static ToolRun run_into(const std::vector<std::string> &arguments, const char *path,
                        const ScratchDirectory &directory) {
    ProgramSetup setup;
    setup.arguments = arguments;
    setup.directory = directory.path;
    setup.output = open(path, O_WRONLY | O_CLOEXEC);
    Program program(setup);
    close(setup.output);
    program.close_input();
    ToolRun run;
    run.status = program.wait_exit();
    run.errors = program.error_output();
    return run;
}

TEST(StandardOutput, LinesThatAFullDiskRefusesAreAFailure) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    const ScratchDirectory directory;
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"--help"}, {"--version"}, {"-bench", "-d", "2"}, {"bench", "2"}}) {
        const ToolRun run = run_into(arguments, "/dev/full", directory);
        EXPECT_EQ(run.status, 1) << arguments[0];
        EXPECT_EQ(run.errors, "error writing standard output\n") << arguments[0];
        EXPECT_EQ(run_into(arguments, "/dev/null", directory).status, 0) << arguments[0];
    }
    // Play goes on as long as there is input.
    EXPECT_EQ(run_into({}, "/dev/full", directory).status, 0);
}

// "tarn bench | head -1" is no failure.
TEST(StandardOutput, AReaderThatHasEnough) {
    const ScratchDirectory directory;
    Program program({"-bench", "-d", "6"}, directory.path);
    program.wait_for("pos  1");
    program.close_output();
    EXPECT_EQ(program.wait_exit(), 0);
    EXPECT_EQ(program.error_output(), "");
}
