// The driver of the program tests, tried on small programs of the system.
#include "support/program.h"
#include "gtest/gtest.h"

static ProgramSetup shell(const std::string &script) {
    ProgramSetup setup;
    setup.executable = "/bin/sh";
    setup.arguments = {"-c", script};
    return setup;
}

TEST(ProgramDriver, LinesStatusAndErrors) {
    Program program(shell("read a; echo got $a; echo bad >&2; printf 'no newline'; exit 3"));
    EXPECT_TRUE(program.send("this"));
    EXPECT_EQ(program.wait_for("got"), "got this");
    EXPECT_EQ(program.rest(), std::vector<std::string>{"no newline"});
    EXPECT_EQ(program.wait_exit(), 3);
    EXPECT_EQ(program.error_output(), "bad\n");
    EXPECT_FALSE(program.running());
}

TEST(ProgramDriver, TimesOutAndKills) {
    Program program(shell("exec sleep 100"));
    std::string line;
    EXPECT_FALSE(program.read_line(&line, 0.05));
    EXPECT_TRUE(program.lines_within(0.05).empty());
    EXPECT_TRUE(program.running());
    EXPECT_EQ(program.wait_exit(0.05), -1);
    program.kill();
    EXPECT_EQ(program.wait_exit(), 128 + 9);
}

TEST(ProgramDriver, AMegabyteBothWays) {
    Program program(shell("exec cat"));
    const std::string text(1000000, 'x');
    ASSERT_TRUE(program.send(text));
    program.close_input();
    EXPECT_EQ(program.rest(), std::vector<std::string>{text});
    EXPECT_EQ(program.wait_exit(), 0);
    EXPECT_FALSE(program.send("too late"));
}

TEST(ProgramDriver, DirectoryAndTerminal) {
    ScratchDirectory scratch;
    ProgramSetup setup = shell("test -t 0 && test -t 1 && echo terminal; read a; echo $a >written; echo $a; cat");
    setup.terminal = true;
    setup.directory = scratch.path;
    Program program(setup);
    program.wait_for("terminal");
    program.send("typed");
    EXPECT_EQ(program.wait_for("typed"), "typed") << "no echo, no carriage returns";
    EXPECT_EQ(read_file(scratch.file("written")), "typed\n");
    program.close_input();
    EXPECT_EQ(program.wait_exit(), 0);
}

TEST(ProgramDriver, MissingProgram) {
    ProgramSetup setup;
    setup.executable = "/no/such/program";
    Program program(setup);
    EXPECT_EQ(program.wait_exit(), 127);
}
