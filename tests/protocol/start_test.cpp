// Start-up: messages in their order, switches that change it, exit codes, the log.
#include <filesystem>

#include "gtest/gtest.h"

#include "protocol/session.h"

static bool is_calibration(const std::string &line) {
    return has_form(line, "info string et= [0-9]+\\.[0-9]{3}, calibration nps= [0-9]+, elo= [0-9]+");
}

TEST(Start, WithoutArguments) {
    Session engine;
    ASSERT_EQ(engine.start_lines.size(), 5u);
    EXPECT_EQ(engine.start_lines[0], "info string Hello from Tarn 7.04");
    EXPECT_EQ(engine.start_lines[1], "info string allocated 64 Mbytes for hash table");
    EXPECT_EQ(engine.start_lines[2], "info string Cleared hash table");
    EXPECT_EQ(engine.start_lines[3], "info string loaded embedded network");
    EXPECT_TRUE(is_calibration(engine.start_lines[4])) << engine.start_lines[4];
    EXPECT_EQ(quit_program(&engine.program), 0);
    EXPECT_TRUE(std::filesystem::is_empty(engine.directory.path)) << "nothing is written unasked";
}

TEST(Start, SmallFixedSearchesGetASmallTable) {
    const struct {
        Lines arguments;
        const char *megabytes;
    } cases[] = {{{"-d", "8", "-hash", "1024"}, "2"},
                 {{"-n", "100000"}, "2"},
                 {{"-n", "200000"}, "4"},
                 {{"-d", "9"}, "4"},
                 {{"-hash", "3"}, "3"},
                 {{"-d", "10", "-hash", "5"}, "5"}};
    for (const auto &c : cases) {
        Session engine(c.arguments);
        EXPECT_EQ(engine.start_lines[1],
                  std::string("info string allocated ") + c.megabytes + " Mbytes for hash table");
    }
}

TEST(Start, ANullTableIsNoError) {
    Session engine({"-hash", "0"});
    EXPECT_EQ(engine.start_lines[1], "info string allocated 0 Mbytes for hash table");
    EXPECT_NE(engine.search("go depth 4").back(), "bestmove null");
}

TEST(Start, TheConfigurationFileWinsOverTheSwitches) {
    ScratchDirectory directory;
    write_file(directory.file("a.cfg"), "Hash = 8\nLog = true\nMoveOverhead = 20\n");
    Program program({"-hash", "4", "-cfg", "a.cfg", "-log"}, directory.path);
    program.send("uci");
    const Lines lines = program.lines_until("uciok");
    const Lines start(lines.begin(), lines.begin() + 10);
    // clang-format off
    const Lines expected = {"info string Hello from Tarn 7.04",
                            "info string allocated 4 Mbytes for hash table",
                            "info string Cleared hash table",
                            "info string loading parameters from a.cfg",
                            "info string Hash set to 8",
                            "info string allocated 8 Mbytes for hash table",
                            "info string Cleared hash table",
                            "info string Log set to 1",
                            "info string MoveOverhead set to 20",
                            "info string loaded embedded network"};
    // clang-format on
    EXPECT_EQ(start, expected);
    EXPECT_TRUE(has_line(lines, "option name MoveOverhead type spin default 20 min 0 max 1000"));
    EXPECT_TRUE(has_line(lines, "option name Log type check default true"));
    EXPECT_EQ(quit_program(&program), 0);
    // The log opened at its line of the file and holds everything since.
    const std::string log = read_text(directory.file("tarn.log"));
    EXPECT_EQ(log.rfind("info string MoveOverhead set to 20\ninfo string loaded embedded network\n", 0), 0u) << log;
    EXPECT_NE(log.find("\nCMD: uci\nid name Tarn 7.04\n"), std::string::npos);
    EXPECT_EQ(log.substr(log.size() - 10), "CMD: quit\n");
}

TEST(Start, TheLogOpensAfterTheConfigurationFile) {
    ScratchDirectory directory;
    write_file(directory.file("tarn.log"), "of the run before\n");
    int status = -1;
    run_program({"-log"}, "quit\n", directory.path, &status);
    EXPECT_EQ(status, 0);
    const std::string log = read_text(directory.file("tarn.log"));
    EXPECT_EQ(log.rfind("info string loaded embedded network\ninfo string et= ", 0), 0u) << log;
}

TEST(Start, TrainingIsRefused) {
    ScratchDirectory directory;
    int status = -1;
    EXPECT_EQ(run_program({"-train", "data", "5"}, "", directory.path, &status),
              Lines{"Need to compile with 'make train_'"});
    EXPECT_EQ(status, 1);
    EXPECT_EQ(run_program({"-train2", "data", "5", "1"}, "", directory.path, &status),
              Lines{"Need to compile with 'make train_'"});
    EXPECT_EQ(status, 1);
}

TEST(Start, AToolWithoutItsArgumentsLeavesWithoutAWord) {
    ScratchDirectory directory;
    for (const Lines &arguments : {Lines{"-train"}, Lines{"-mkbook2"}, Lines{"-gentraindata"},
                                   Lines{"-gentraindata", "x", "99"}, Lines{"-anepd"}}) {
        int status = -1;
        EXPECT_EQ(run_program(arguments, "", directory.path, &status), Lines{});
        EXPECT_EQ(status, 1) << arguments[0];
    }
}

TEST(Start, TheRatingOfARateIsPrintedFirst) {
    Session engine({"-nps", "1000"});
    EXPECT_EQ(engine.start_lines[0], "Elo= 2338");
    EXPECT_EQ(engine.start_lines[1], "info string Hello from Tarn 7.04");
}

TEST(Start, TheConfigModeWritesNothing) {
    ScratchDirectory directory;
    int status = -1;
    const Lines lines = run_program({"-mkconfig"}, "", directory.path, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines.back(), "info string loaded embedded network") << "no calibration outside normal play";
    EXPECT_TRUE(std::filesystem::is_empty(directory.path));
}

TEST(Start, NumaChangesNothing) {
    Session plain, numa({"-numa"});
    plain.start_lines.pop_back();  // the measured speed differs from run to run
    numa.start_lines.pop_back();
    EXPECT_EQ(plain.start_lines, numa.start_lines);
}

TEST(Start, HugeArgumentsAreCut) {
    // Windows has room for 32767 characters in all.
    const std::string text(program_is_for_windows() ? 8000 : 100000, 'a');
    Session engine({"-cfg", text, "-tbpath", text, "-book", text, text});
    EXPECT_EQ(engine.ask("setoption name MoveOverhead value 9"), Lines{"info string MoveOverhead set to 9"});
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(Start, ASecondEngineLeavesTheLogAlone) {
    ScratchDirectory directory;
    Program first({"-log"}, directory.path);
    first.wait_for("info string et=");
    Program second({"-log"}, directory.path);
    const Lines lines = second.lines_until("info string et=");
    EXPECT_TRUE(has_line(lines, "log file in use."));
    EXPECT_EQ(quit_program(&second), 0);
    first.send("isready");
    first.wait_for("readyok");
    EXPECT_EQ(quit_program(&first), 0);
    const std::string log = read_text(directory.file("tarn.log"));
    EXPECT_NE(log.find("CMD: isready\nreadyok\nCMD: quit\n"), std::string::npos) << log;
}
