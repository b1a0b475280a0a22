// Standard input that ends: what is under way and ends by itself is answered, then the program leaves.
#include "gtest/gtest.h"

#include "protocol/session.h"

static Lines run(const std::string &input, const Lines &arguments = {}) {
    ScratchDirectory directory;
    int status = -1;
    const Lines lines = run_program(arguments, input, directory.path, &status);
    EXPECT_EQ(status, 0);
    return lines;
}

static bool is_answer(const Lines &lines) {
    return !lines.empty() && lines.back().rfind("bestmove ", 0) == 0 && lines.back() != "bestmove null";
}

TEST(EndOfInput, AtOnce) { EXPECT_EQ(run("").size(), 5u); }

TEST(EndOfInput, LinesThatWaitAreExecuted) {
    const Lines lines = run("isready\nisready\nsetoption name MoveOverhead value 7\nisready\n");
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[7], "info string MoveOverhead set to 7");
    EXPECT_EQ(lines[8], "readyok");
}

TEST(EndOfInput, ALastLineWithoutEndIsALine) {
    EXPECT_EQ(run("isready").back(), "readyok");
    EXPECT_EQ(run("isready\nquit").back(), "readyok");
    EXPECT_TRUE(is_answer(run("go depth 3")));
}

TEST(EndOfInput, ASearchWithAnEndOfItsOwnFinishes) {
    Lines lines = run("position startpos\ngo depth 9\n");
    EXPECT_TRUE(is_answer(lines));
    EXPECT_EQ(info_value(lines, "depth"), 9);
    lines = run("go nodes 30000\n");
    EXPECT_TRUE(is_answer(lines));
    EXPECT_GE(info_value(lines, "nodes"), 20000);
    lines = run("go movetime 300\n");
    EXPECT_TRUE(is_answer(lines));
    EXPECT_GE(info_value(lines, "time"), 250);
    EXPECT_TRUE(is_answer(run("go wtime 1000 btime 1000\n")));
    // A depth far out of reach, but the mate ends it.
    EXPECT_EQ(run("position fen 6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1\ngo depth 80\n").back(), "bestmove a1a8");
}

TEST(EndOfInput, ASearchWithoutAnEndIsStopped) {
    EXPECT_TRUE(is_answer(run("go infinite\n")));
    EXPECT_TRUE(is_answer(run("go ponder wtime 1000 btime 1000\n")));
}

TEST(EndOfInput, AHeldPonderMoveIsGivenOut) {
    Session engine;
    engine.ask("position fen 6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1");
    engine.program.send("go ponder");
    // The mate ends the search, its move waits.
    for (const std::string &line : engine.program.lines_within(0.3)) EXPECT_NE(line.rfind("bestmove", 0), 0u);
    engine.program.close_input();
    EXPECT_EQ(engine.program.rest().back(), "bestmove a1a8");
    EXPECT_EQ(engine.program.wait_exit(), 0);
}

TEST(EndOfInput, AfterAStop) { EXPECT_TRUE(is_answer(run("go infinite\nisready\nstop\n"))); }

TEST(EndOfInput, WhileASearchRuns) {
    Session engine;
    engine.program.send("go infinite");
    engine.program.wait_for("info depth 5 ");
    engine.program.close_input();
    EXPECT_EQ(engine.program.rest().back().rfind("bestmove ", 0), 0u);
    EXPECT_EQ(engine.program.wait_exit(), 0);
}

TEST(EndOfInput, OnATerminal) {
    SKIP_ON_WINDOWS("a terminal is no console");
    ScratchDirectory directory;
    ProgramSetup setup;
    setup.directory = directory.path;
    setup.terminal = true;
    Program program(setup);
    program.wait_for("info string et=");
    program.send("isready");
    program.wait_for("readyok");
    program.close_input();
    EXPECT_EQ(program.wait_exit(), 0);
}

TEST(EndOfInput, InTheConsole) {
    ScratchDirectory directory;
    int status = -1;
    run_program({"-c"}, "", directory.path, &status);
    EXPECT_EQ(status, 0);
}
