// Standard input without blocking. Each test puts a pipe, a file or a terminal in place of the
// process's standard input in a child of its own, as the input keeps its state for a whole process.
#include <cstdlib>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "gtest/gtest.h"
#include "platform/clock.h"
#include "platform/input.h"

// Runs the check in a child whose standard input is this descriptor; true when it returned true.
static bool in_child(int standard_input, const std::function<bool()> &check) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);  // a read that blocks for ever is a failure, not a hang
        if (standard_input >= 0) dup2(standard_input, STDIN_FILENO);
        else close(STDIN_FILENO);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

static std::string read_waiting(int size) {
    std::string text(static_cast<std::size_t>(size), '\0');
    const int count = input_read(text.data(), size);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
}

TEST(Input, PipeCountsReadsAndEnds) {
    // The pipe is made in the child, which then holds the only end to write to.
    EXPECT_TRUE(in_child(STDIN_FILENO, [] {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[0], STDIN_FILENO) < 0) return false;
        if (!input_is_pipe() || input_bytes_waiting() != 0) return false;
        if (write(ends[1], "uci\nquit\n", 9) != 9) return false;
        if (input_bytes_waiting() != 9) return false;
        if (read_waiting(4) != "uci\n" || input_bytes_waiting() != 5) return false;
        close(ends[1]);
        // What was written before the end is still there.
        if (input_bytes_waiting() != 5 || read_waiting(100) != "quit\n") return false;
        return input_bytes_waiting() == -1 && input_bytes_waiting() == -1;
    }));
}

TEST(Input, EndWithoutData) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[1]);
    EXPECT_TRUE(in_child(ends[0], [] { return input_is_pipe() && input_bytes_waiting() == -1; }));
    close(ends[0]);
    const int null_device = open("/dev/null", O_RDONLY);
    EXPECT_TRUE(in_child(null_device, [] {
        char line[10];
        return input_is_pipe() && input_bytes_waiting() == -1 && read_waiting(10).empty() &&
               !input_read_line(line, sizeof line) && line[0] == '\0';
    }));
    close(null_device);
    EXPECT_TRUE(in_child(-1, [] { return input_is_pipe() && input_bytes_waiting() == -1; })) << "closed";
}

TEST(Input, RegularFileIsAPipe) {
    char name[] = "/tmp/tarn-input-XXXXXX";
    const int file = mkstemp(name);
    ASSERT_GE(file, 0);
    unlink(name);
    ASSERT_EQ(write(file, "go\nstop", 7), 7);
    lseek(file, 0, SEEK_SET);
    EXPECT_TRUE(in_child(file, [] {
        char line[100];
        return input_is_pipe() && input_bytes_waiting() == 7 && read_waiting(1) == "g" &&
               input_read_line(line, sizeof line) && std::string(line) == "o\n" && input_read_line(line, sizeof line) &&
               std::string(line) == "stop" && !input_read_line(line, sizeof line) && input_bytes_waiting() == -1;
    }));
    close(file);
}

// A device that can't say how many bytes wait gives one byte at least, and that byte is not lost.
TEST(Input, DeviceThatDoesNotCount) {
    const int zeros = open("/dev/zero", O_RDONLY);
    EXPECT_TRUE(in_child(zeros, [] {
        return input_bytes_waiting() == 1 && input_bytes_waiting() == 1 && read_waiting(3) == std::string(3, '\0') &&
               input_bytes_waiting() == 1 && read_waiting(1) == std::string(1, '\0');
    }));
    close(zeros);
}

TEST(Input, LongLineComesInPieces) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "abcdefgh\nij\n", 12), 12);
    EXPECT_TRUE(in_child(ends[0], [] {
        char line[5];
        return input_read_line(line, sizeof line) && std::string(line) == "abcd" &&
               input_read_line(line, sizeof line) && std::string(line) == "efgh" &&
               input_read_line(line, sizeof line) && std::string(line) == "\n" && input_bytes_waiting() == 3 &&
               input_read_line(line, sizeof line) && std::string(line) == "ij\n";
    }));
    close(ends[0]);
    close(ends[1]);
}

// The front end may have left its end in non-blocking mode; both ends of a pipe or socket can
// share that.
TEST(Input, NonBlockingDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    EXPECT_TRUE(in_child(ends[0], [&] {
        if (input_bytes_waiting() != 0) return false;
        const pid_t writer = fork();
        if (writer == 0) {
            usleep(50000);
            _exit(write(ends[1], "late\n", 5) == 5 ? 0 : 1);
        }
        char line[20];
        const bool read = input_read_line(line, sizeof line) && std::string(line) == "late\n";
        waitpid(writer, nullptr, 0);
        return read;
    }));
    close(ends[0]);
    close(ends[1]);
}

TEST(Input, TerminalGivesWholeLinesOnly) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    EXPECT_TRUE(in_child(slave, [&] {
        if (input_is_pipe() || input_key_waiting()) return false;
        if (write(master, "hel", 3) != 3) return false;
        sleep_milliseconds(30);
        if (input_key_waiting()) return false;  // a line that is still being typed must not block us
        if (write(master, "p\nnext\n", 7) != 7) return false;
        char line[20];
        for (int i = 0; i < 2000 && !input_key_waiting(); i++) sleep_milliseconds(1);
        if (!input_key_waiting() || !input_read_line(line, sizeof line)) return false;
        if (std::string(line) != "help\n" || !input_key_waiting()) return false;
        if (!input_read_line(line, sizeof line) || std::string(line) != "next\n") return false;
        if (input_key_waiting()) return false;
        if (write(master, "\x04", 1) != 1) return false;
        for (int i = 0; i < 2000 && !input_key_waiting(); i++) sleep_milliseconds(1);
        return input_key_waiting() && !input_read_line(line, sizeof line);
    }));
    close(slave);
    close(master);
}
