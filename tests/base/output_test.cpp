// Lines out and the log: each test runs in a child of its own with standard output in a file and a
// scratch directory to work in, as the log is one for the process.
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "gtest/gtest.h"
#include "platform/process.h"
#include "support/files.h"

// What the child printed; its exit status must be 0.
static std::string printed_by(const ScratchDirectory &scratch, const std::function<void()> &body) {
    const std::string name = scratch.file("stdout.txt");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0 || dup2(file, STDOUT_FILENO) < 0 || chdir(scratch.path.c_str()) != 0) _exit(99);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        settings.log_on = 0;
        body();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    return read_file(name);
}

TEST(Output, LineFormatCheckOption) {
    ScratchDirectory scratch;
    EXPECT_EQ(printed_by(scratch,
                         [] {
                             print_line("uciok");
                             print_line("");
                             print_line("two\nlines");
                             print_format("%s %d", "value", -7);
                             print_check_option("Ponder", 0);
                             print_check_option("Use_NN_eval", 1);
                             print_plain("PV: %s\n\n", "e2e4");
                         }),
              "uciok\n\ntwo\nlines\nvalue -7\noption name Ponder type check default false\n"
              "option name Use_NN_eval type check default true\nPV: e2e4\n\n");
    EXPECT_FALSE(file_exists(scratch.file("tarn.log").c_str()));
}

TEST(Output, AnyLength) {
    ScratchDirectory scratch;
    for (const std::size_t length : {1022u, 1023u, 1024u, 1025u, 200000u}) {
        const std::string text(length, 'z');
        EXPECT_EQ(printed_by(scratch,
                             [&] {
                                 print_line(text.c_str());
                                 print_format("%s!", text.c_str());
                             }),
                  text + "\n" + text + "!\n");
    }
}

TEST(Log, TakesLinesAndCommandsOnly) {
    ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("tarn.log"), "the run before\n"));
    const std::string printed = printed_by(scratch, [] {
        print_line("before");
        log_line("CMD: before");
        settings.log_on = 1;
        print_line("wanted but not open");
        open_log();
        print_line("readyok");
        log_line("CMD: go depth 1");
        print_plain("plain report\n");
        settings.log_on = 0;
        print_line("off");
        log_line("CMD: off");
        settings.log_on = 1;
        open_log();
        print_line("on again");
    });
    EXPECT_EQ(printed, "before\nwanted but not open\nreadyok\nplain report\noff\non again\n");
    EXPECT_EQ(read_file(scratch.file("tarn.log")), "readyok\nCMD: go depth 1\non again\n")
        << "off keeps the file open, on again goes on in it; the run before is lost";
}

TEST(Log, IsClosedOnceAndCanBeOpenedAnew) {
    ScratchDirectory scratch;
    printed_by(scratch, [] {
        settings.log_on = 1;
        open_log();
        print_line("first");
        close_log();
        close_log();
        print_line("closed");
        open_log();
        print_line("second");
        close_log();
    });
    EXPECT_EQ(read_file(scratch.file("tarn.log")), "second\n");
}

TEST(Log, InUseByAnother) {
    ScratchDirectory scratch;
    bool in_use = false;
    void *other = open_exclusive_for_writing(scratch.file("tarn.log").c_str(), &in_use);
    ASSERT_NE(other, nullptr);
    std::fputs("theirs\n", static_cast<std::FILE *>(other));
    std::fflush(static_cast<std::FILE *>(other));
    EXPECT_EQ(printed_by(scratch,
                         [] {
                             settings.log_on = 1;
                             open_log();
                             print_format("%d", settings.log_on);
                         }),
              "log file in use.\n0\n");
    std::fclose(static_cast<std::FILE *>(other));
    EXPECT_EQ(read_file(scratch.file("tarn.log")), "theirs\n");
}

TEST(Log, CannotBeCreated) {
    ScratchDirectory scratch;
    EXPECT_EQ(printed_by(scratch,
                         [&] {
                             rmdir("gone");
                             std::filesystem::create_directory("gone");
                             if (chdir("gone") != 0 || rmdir("../gone") != 0) _exit(98);
                             settings.log_on = 1;
                             open_log();
                             print_format("%d", settings.log_on);
                         }),
              "0\n")
        << "no file there, none can be made: off without a word";
}

constexpr int WRITERS = 4;
constexpr int LINES_EACH = 500;

static void write_lines(int *number) {
    char line[200];
    std::memset(line, 'a' + *number, sizeof line - 1);
    line[sizeof line - 1] = '\0';
    for (int i = 0; i < LINES_EACH; i++) print_line(line);
}

// Every line arrives whole on both ways out.
TEST(Output, ThreadsDoNotBreakLines) {
    ScratchDirectory scratch;
    const std::string printed = printed_by(scratch, [] {
        settings.log_on = 1;
        open_log();
        Thread threads[WRITERS];
        int numbers[WRITERS];
        for (int i = 0; i < WRITERS; i++) {
            numbers[i] = i;
            if (!start_thread(&threads[i], write_lines, &numbers[i])) _exit(97);
        }
        for (Thread &thread : threads) join_thread(&thread);
    });
    for (const std::string &text : {printed, read_file(scratch.file("tarn.log"))}) {
        std::istringstream stream(text);
        int count[WRITERS] = {};
        for (std::string line; std::getline(stream, line);) {
            ASSERT_FALSE(line.empty());
            const int number = line[0] - 'a';
            ASSERT_TRUE(number >= 0 && number < WRITERS) << line;
            ASSERT_EQ(line, std::string(199, line[0]));
            count[number]++;
        }
        for (const int lines : count) EXPECT_EQ(lines, LINES_EACH);
    }
}

// A front end that stops reading: the program goes on and notices at its input.
TEST(Output, SurvivesAReaderThatWentAway) {
    ScratchDirectory scratch;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    printed_by(scratch, [&] {
        prepare_process();
        dup2(ends[1], STDOUT_FILENO);
        for (int i = 0; i < 3; i++) print_line("nobody reads this");
        settings.log_on = 1;
        open_log();
        print_line("still logged");
    });
    close(ends[1]);
    EXPECT_EQ(read_file(scratch.file("tarn.log")), "still logged\n");
}

TEST(CopyText, CutsAndEnds) {
    char target[4] = "###";
    copy_text(target, "abcdef", sizeof target);
    EXPECT_STREQ(target, "abc");
    copy_text(target, "", sizeof target);
    EXPECT_STREQ(target, "");
    copy_text(target, "xyz", 1);
    EXPECT_STREQ(target, "");
    target[0] = 'k';
    copy_text(target, "xyz", 0);
    EXPECT_EQ(target[0], 'k');
}
