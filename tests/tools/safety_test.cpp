// What the tools must never do: lose a file that they read or replace, lose finished work to an
// interrupt or a full disk, or take commands from an input that is not theirs.
#include <algorithm>
#include <csignal>
#include <thread>

#include "support/sanitizers.h"
#include "tools/tool_files.h"

static const char QUIET_POSITION[] = "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ce 900; gr 1.0;\n";
static const char WON_ENDING[] = "8/5k2/8/8/3KP3/8/8/8 w - - ce 300; gr 1.0;\n";
static const char MATE_IN_ONE[] = "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm Ra8; ce 5; gr 1.0;\n";

// Names in a directory that look like what a tool has not finished.
static int unfinished_files(const ScratchDirectory &directory) {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory.path))
        count += entry.path().string().find(".tmp") != std::string::npos;
    return count;
}

// ---- Input that is also the output ----

TEST(SameFile, EveryToolReadsItsInputFirst) {
    SKIP_UNDER_THREAD_SANITIZER();
    const struct {
        const char *input;
        std::vector<std::string> arguments;
        std::string content;
    } cases[] = {
        {"tmp_0.epd", {"-mkbook2", "tmp_0.epd", "-d", "4"}, std::string(START_FIELDS) + "\n"},
        {"junk.epd", {"-mkbook2", "junk.epd", "-d", "4"}, std::string(START_FIELDS) + "\n"},
        {"tmp0.epd", {"-anepd", "tmp0.epd", "-d", "4"}, MATE_IN_ONE},
        {"tmp0.epd", {"-mktraindata", "tmp0.epd", "-d", "4"}, WON_ENDING},
        {"./x.epd", {"-mktraindata", "x.epd", "-o", "././x.epd", "-d", "4"}, WON_ENDING},
        {"mybook_2mv.epd", {"-gentraindata", "mybook_2mv.epd", "100"}, std::string(START_FIELDS) + "\n"},
    };
    for (const auto &[input, arguments, content] : cases) {
        ScratchDirectory directory;
        write_file(directory.file(input), content);
        const ToolRun run = run_tool(arguments, directory);
        EXPECT_EQ(run.status, 0) << arguments[0];
        EXPECT_EQ(run.errors, "");
        const std::string result = read_file(directory.file(input));
        EXPECT_FALSE(result.empty()) << arguments[0] << " emptied its input";
        EXPECT_NE(result, content) << arguments[0];
        EXPECT_EQ(unfinished_files(directory), 0);
    }
}

TEST(SameFile, AnalysisKeepsAnEarlierExpansion) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), MATE_IN_ONE);
    write_file(directory.file("tmp_0.epd"), "precious\n");
    run_tool({"-anepd", "s.epd", "-d", "4"}, directory);
    EXPECT_EQ(read_file(directory.file("tmp_0.epd")), "precious\n");
    run_tool({"-anepd", "s.epd", "-d", "4", "-o", "tmp_0.epd"}, directory);
    EXPECT_EQ(read_file(directory.file("tmp_0.epd")), "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm a1a8; ce 9998;\n");
}

TEST(SameFile, ALinkStaysALink) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), MATE_IN_ONE);
    write_file(directory.file("real.epd"), "old\n");
    std::filesystem::create_symlink("real.epd", directory.file("out.epd"));
    std::filesystem::permissions(directory.file("real.epd"), std::filesystem::perms(0640));
    EXPECT_EQ(run_tool({"-anepd", "s.epd", "-d", "4", "-o", "out.epd"}, directory).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.file("out.epd")));
    EXPECT_EQ(read_file(directory.file("real.epd")), "6k1/5ppp/8/8/8/8/8/R5K1 w - - bm a1a8; ce 9998;\n");
    EXPECT_EQ(std::filesystem::status(directory.file("real.epd")).permissions(), std::filesystem::perms(0640));
}

// ---- Disks that are full ----

// The tool under a limit on the size of its files, as of a disk with that much room.
static ToolRun run_limited(const std::string &tool, int blocks_of_512, const ScratchDirectory &directory) {
    ProgramSetup setup;
    setup.executable = "/bin/sh";
    setup.arguments = {"-c", "ulimit -f " + std::to_string(blocks_of_512) + "; exec " + program_path() + " " + tool};
    setup.directory = directory.path;
    Program program(setup);
    program.close_input();
    ToolRun run;
    for (const std::string &line : program.rest())
        if (!is_start_line(line)) run.output += line + "\n";
    run.status = program.wait_exit();
    run.errors = program.error_output();
    return run;
}

// Enough different positions for a book of several kilobytes.
static std::string many_openings() {
    std::string text;
    for (const char white : std::string("abcdefgh"))
        for (const char black : std::string("abcdefgh"))
            for (const char *steps : {"34", "35", "44", "45"})
                for (int game = 0; game < 5; ++game)
                    text += std::string("[Result \"1/2-1/2\"]\n\n1. ") + white + steps[0] + " " + black +
                            (steps[1] == '4' ? '5' : '6') + " 2. Nf3 Nf6\n\n";
    return text;
}

TEST(FullDisk, TheOldBookStays) {
    ScratchDirectory directory;
    write_file(directory.file("g.pgn"), many_openings());
    ASSERT_EQ(run_tool({"-mkbook", "g.pgn"}, directory).status, 0);
    const std::string book = read_file(directory.file("tmp_book.bin"));
    ASSERT_GT(book.size(), 4096u);
    for (const int blocks : {0, 1, 2, 4}) {
        if (THREAD_SANITIZER && blocks == 0) continue;  // it writes a file of its own before anything else
        const ToolRun run = run_limited("-mkbook g.pgn", blocks, directory);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.errors, "error writing tmp_book.bin\n");
        EXPECT_EQ(run.output.find("done"), std::string::npos) << run.output;
        EXPECT_EQ(read_file(directory.file("tmp_book.bin")), book);
        EXPECT_EQ(unfinished_files(directory), 0);
    }
}

TEST(FullDisk, ConvertersKeepTheOldFile) {
    ScratchDirectory directory;
    std::string lines;
    for (int i = 0; i < 1000; ++i) lines += MATE_IN_ONE;
    write_file(directory.file("x.epd"), lines);
    ASSERT_EQ(run_tool({"-epd2bin", "x.epd"}, directory).status, 0);
    const std::string records = read_file(directory.file("x.bin"));
    ASSERT_EQ(records.size(), 40000u);
    ToolRun run = run_limited("-epd2bin x.epd", 8, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "error writing x.bin\n");
    EXPECT_EQ(read_file(directory.file("x.bin")), records);
    run = run_limited("-bin2epd x.bin", 8, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "error writing x.epd\n");
    EXPECT_EQ(read_file(directory.file("x.epd")), lines);
}

// Searching takes time: whole lines that had room stay.
TEST(FullDisk, FinishedSearchesStay) {
    ScratchDirectory directory;
    std::string lines;
    for (int i = 0; i < 200; ++i) lines += MATE_IN_ONE;
    write_file(directory.file("x.epd"), lines);
    const ToolRun run = run_limited("-anepd x.epd -n 100 -o r.epd", 4, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "error writing r.epd\n");
    const std::string result = read_file(directory.file("r.epd"));
    EXPECT_GT(result.size(), 1000u);
    EXPECT_LE(result.size(), 2048u);
    for (const std::string &line : split_lines(result))
        EXPECT_EQ(line.rfind("6k1/5ppp/8/8/8/8/8/R5K1 w - - bm ", 0), 0u);
    EXPECT_EQ(result.back(), '\n');
}

// ---- Interrupts ----

// Waits until the file has this many lines.
static bool wait_for_lines(const std::string &path, long lines) {
    for (int i = 0; i < 6000; ++i) {
        const std::string text = read_file(path);
        if (std::count(text.begin(), text.end(), '\n') >= lines) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

static std::string without_start_lines(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines)
        if (!is_start_line(line)) text += line + "\n";
    return text;
}

// More positions than anyone waits for.
static std::string long_suite(int positions, const char *position = QUIET_POSITION) {
    std::string lines;
    for (int i = 0; i < positions; ++i) lines += position;
    return lines;
}

TEST(Interrupt, ASuiteEndsWithItsSummary) {
    for (const int number : {SIGINT, SIGTERM}) {
        ScratchDirectory directory;
        write_file(directory.file("s.epd"), long_suite(100000));
        Program program({"-anepd", "s.epd", "-n", "5000", "-o", "r.epd"}, directory.path);
        ASSERT_TRUE(wait_for_lines(directory.file("r.epd.tmp"), 3));
        kill(program.process_id(), number);
        const std::string output = without_start_lines(program.rest());
        EXPECT_EQ(program.wait_exit(), 128 + number);
        EXPECT_EQ(program.error_output(), "interrupted\n");
        const auto lines = split_lines(read_file(directory.file("r.epd")));
        EXPECT_GE(lines.size(), 3u);
        EXPECT_NE(output.find("\n0 / " + std::to_string(lines.size()) + " correct best moves\n"), std::string::npos)
            << output;
        EXPECT_EQ(unfinished_files(directory), 0);
    }
}

// One search of no end: it is broken off at once and does not count.
TEST(Interrupt, ALongSearchIsBrokenOff) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), QUIET_POSITION);
    Program program({"-anepd", "s.epd", "-d", "70", "-o", "r.epd"}, directory.path);
    program.wait_for("Analyzing");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    kill(program.process_id(), SIGINT);
    EXPECT_NE(without_start_lines(program.rest()).find("0 / 0 correct best moves\n"), std::string::npos);
    EXPECT_EQ(program.wait_exit(), 128 + SIGINT);
    EXPECT_FALSE(std::filesystem::exists(directory.file("r.epd")));
}

TEST(Interrupt, TrainingGamesAreWhole) {
    ScratchDirectory directory;
    write_file(directory.file("mybook_2mv.epd"), std::string(START_FIELDS) + "\n");
    write_file(directory.file("g.epd"), "earlier\n");
    Program program({"-gentraindata", "g.epd", "100000000", "-d", "7"}, directory.path);
    ASSERT_TRUE(wait_for_lines(directory.file("g.epd.tmp"), 20));
    EXPECT_EQ(read_file(directory.file("g.epd")), "earlier\n");
    kill(program.process_id(), SIGTERM);
    program.rest();
    EXPECT_EQ(program.wait_exit(), 128 + SIGTERM);
    const std::string text = read_file(directory.file("g.epd"));
    EXPECT_GE(std::count(text.begin(), text.end(), '\n'), 20);
    for (const std::string &line : split_lines(text)) EXPECT_NE(line.find("; gr "), std::string::npos) << line;
    EXPECT_EQ(text.back(), '\n');
}

TEST(Interrupt, TheRestOfAnInputIsNotLost) {
    ScratchDirectory directory;
    const std::string suite = long_suite(1000000, WON_ENDING);
    write_file(directory.file("x.epd"), suite);
    Program program({"-mktraindata", "x.epd", "-o", "x.epd", "-d", "3"}, directory.path);
    ASSERT_TRUE(wait_for_lines(directory.file("x.epd.tmp"), 3));
    kill(program.process_id(), SIGINT);
    program.rest();
    EXPECT_EQ(program.wait_exit(), 128 + SIGINT);
    EXPECT_TRUE(read_file(directory.file("x.epd")) == suite);
    EXPECT_GE(split_lines(read_file(directory.file("x.epd.tmp"))).size(), 3u);
    EXPECT_NE(program.error_output().find("the finished part is in "), std::string::npos);
}

TEST(Interrupt, ABenchmarkPrintsItsTotals) {
    ScratchDirectory directory;
    for (const char *bench : {"-bench", "-pbench"}) {
        // Deep enough that the signal comes long before the end.
        Program program({bench, "-d", UNDER_SANITIZER ? "10" : "16"}, directory.path);
        program.wait_for("pos  1");
        kill(program.process_id(), SIGINT);
        const auto lines = program.rest();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().rfind("total time= ", 0), 0u) << lines.back();
        EXPECT_LT(lines.size(), 19u);
        EXPECT_EQ(program.wait_exit(), 128 + SIGINT);
    }
}

TEST(Interrupt, PlayIsEndedAsBefore) {
    ScratchDirectory directory;
    Program program({}, directory.path);
    program.send("isready");
    program.wait_for("readyok");
    kill(program.process_id(), SIGTERM);
    EXPECT_EQ(program.wait_exit(), 128 + SIGTERM);
    EXPECT_EQ(program.error_output(), "");
}

// ---- Input that is not the tool's ----

static std::string bench_total(const std::string &input, const ScratchDirectory &directory) {
    const auto lines = run_program({"-bench", "-d", "6"}, input, directory.path);
    const std::size_t at = lines.back().find("nodes= ");
    return at == std::string::npos ? lines.back() : lines.back().substr(at, lines.back().find(',', at) - at);
}

TEST(ToolInput, APipeIsNotRead) {
    SKIP_UNDER_THREAD_SANITIZER();
    ScratchDirectory directory;
    const std::string nodes = bench_total("", directory);
    EXPECT_EQ(nodes.rfind("nodes= ", 0), 0u) << nodes;
    for (const char *input : {"go\nstop\n", "quit\n", "stop\nstop\nstop\nstop\n", "uci\nsetoption name Hash value 1\n"})
        EXPECT_EQ(bench_total(input, directory), nodes) << input;
}

TEST(ToolInput, ATerminalIsRead) {
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), QUIET_POSITION);
    ProgramSetup setup;
    setup.arguments = {"-anepd", "s.epd", "-d", "70"};
    setup.directory = directory.path;
    setup.terminal = true;
    Program program(setup);
    program.wait_for("Analyzing");
    program.send("quit");
    EXPECT_EQ(program.wait_exit(), 0);
}

// ---- Long names ----

TEST(LongNames, PathsUpToTheSystemsLimit) {
    ScratchDirectory directory;
    std::string detour;
    while (detour.size() < 4000) detour += "./";
    write_file(directory.file("s.epd"), MATE_IN_ONE);
    ToolRun run = run_tool({"-anepd", detour + "s.epd", "-d", "4", "-o", detour + "r.epd"}, directory);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(split_lines(read_file(directory.file("r.epd"))).size(), 1u);
    EXPECT_EQ(run_tool({"-epd2bin", detour + "s.epd"}, directory).status, 0);
    EXPECT_EQ(std::filesystem::file_size(directory.file("s.bin")), 40u);
    // The longest name that the system takes leaves no room for a temporary one beside it.
    const std::string longest = detour + std::string(4095 - detour.size() - 5, '/') + "l.epd";
    ASSERT_EQ(longest.size(), 4095u);
    run = run_tool({"-anepd", "s.epd", "-d", "4", "-o", longest}, directory);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(split_lines(read_file(directory.file("l.epd"))).size(), 1u);
    run = run_tool({"-anepd", longest + "xx", "-d", "4"}, directory);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors.rfind("a name of more than 4096 characters is refused: ./", 0), 0u) << run.errors;
}

// ---- Progress ----

TEST(ProgressLine, IsShownOnATerminalOnly) {
    SKIP_UNDER_THREAD_SANITIZER();
    ScratchDirectory directory;
    write_file(directory.file("s.epd"), long_suite(UNDER_SANITIZER ? 60 : 300));
    ProgramSetup setup;
    setup.arguments = {"-anepd", "s.epd", "-n", "20000"};
    setup.directory = directory.path;
    setup.terminal = setup.error_terminal = true;
    Program program(setup);
    std::string output;
    for (const std::string &line : program.rest()) output += line + "\n";
    EXPECT_EQ(program.wait_exit(), 0);
    const std::size_t at = output.find(" %  ");
    ASSERT_NE(at, std::string::npos) << output;
    EXPECT_NE(output.find(" positions/s  0:00:", at), std::string::npos) << output;
    EXPECT_NE(output.find(" left", at), std::string::npos) << output;
    EXPECT_EQ(run_tool({"-anepd", "s.epd", "-n", "100"}, directory).errors, "");
}
