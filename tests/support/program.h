// Drives the real program from a test: through pipes, or through a pseudo-terminal as
// a person at a keyboard would. Test code, so POSIX is used directly.
#pragma once

#include <string>
#include <vector>

#include "support/files.h"
#include "support/places.h"
#include "support/sanitizers.h"

// For tests of what only POSIX systems have.
#define SKIP_ON_WINDOWS(reason) \
    if (program_is_for_windows()) GTEST_SKIP() << "the program is for Windows: " << reason

constexpr int NEW_PIPE = -1;
constexpr int CLOSED = -2;  // the program starts without this stream

struct ProgramSetup {
    std::vector<std::string> arguments;
    std::string directory;        // working directory; empty: the test's own
    bool terminal = false;        // standard input and output are a pseudo-terminal
    bool error_terminal = false;  // and standard error as well
    int input = NEW_PIPE;         // or a descriptor that stays the test's own: the test writes to it by itself
    int output = NEW_PIPE;        // likewise
    std::string executable = program_path();
};

// Sanitizer builds on a busy machine are slow, so waits are long by default; what is waited for
// normally comes at once.
constexpr double DEFAULT_WAIT = UNDER_SANITIZER ? 300.0 : 60.0;  // seconds

// One running process. The destructor kills it when it still runs.
class Program {
public:
    explicit Program(const ProgramSetup &setup);
    explicit Program(const std::vector<std::string> &arguments = {}, const std::string &directory = "");
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    // Writes the text and a newline. Output that comes meanwhile is kept, so that neither side can
    // block the other; false when the program no longer reads.
    bool send(const std::string &line);
    bool send_bytes(const std::string &bytes);  // as it is: no newline added
    void close_input();                         // end of input: the pipe is closed, ^D on a terminal
    void close_output();                        // the reader of its output goes away (pipes only)

    // The next line of standard output, without its line end; false when none came in time or the
    // output has ended. A last line without newline counts.
    bool read_line(std::string *line, double seconds = DEFAULT_WAIT);
    // Reads on to the first line that starts with the prefix and returns it. When none comes the
    // test has failed, and the answer is empty.
    std::string wait_for(const std::string &prefix, double seconds = DEFAULT_WAIT);
    // The lines up to and with the first that starts with the prefix; fails the test as above.
    std::vector<std::string> lines_until(const std::string &prefix, double seconds = DEFAULT_WAIT);
    // What comes within this time, for "nothing is printed".
    std::vector<std::string> lines_within(double seconds);
    // All lines up to the end of the output; the test fails when it doesn't end in time.
    std::vector<std::string> rest(double seconds = DEFAULT_WAIT);
    // Raw bytes of standard output that were read so far and not taken as lines.
    std::string pending_output() const { return output_; }
    // All of standard error so far; call it after wait_exit for the whole.
    std::string error_output();

    // The exit status; 128 + n after signal n; -1 when it still runs after this time.
    int wait_exit(double seconds = DEFAULT_WAIT);
    bool running();
    void kill();
    int process_id() const { return process_; }

private:
    void start(const ProgramSetup &setup);
    bool pump(int milliseconds, const char *bytes, std::size_t size, std::size_t *written);
    bool take_line(std::string *line);

    int process_ = -1;
    int input_ = -1;       // we write
    int output_end_ = -1;  // we read
    int error_end_ = -1;   // we read
    bool terminal_ = false;
    bool exited_ = false;
    int status_ = -1;
    std::string output_;  // read, not yet taken
    std::string error_;
};

// "quit" and the exit status.
int quit_program(Program *program, double seconds = DEFAULT_WAIT);

// Runs the program to its end with this text as its whole input; all lines of standard output.
std::vector<std::string> run_program(const std::vector<std::string> &arguments, const std::string &input = "",
                                     const std::string &directory = "", int *status = nullptr,
                                     std::string *errors = nullptr);
