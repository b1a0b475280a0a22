#include "support/program.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "support/timing.h"

using Strings = std::vector<std::string>;

static void close_end(int *descriptor) {
    if (*descriptor >= 0) close(*descriptor);
    *descriptor = -1;
}

static bool make_pipe(int ends[2]) { return pipe2(ends, O_CLOEXEC) == 0; }

// Opens a terminal pair without echo and without rewriting of line ends: what the test reads is
// what the program wrote. Returns false when the system has none.
static bool make_terminal(int *master, int *slave) {
    *master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (*master < 0) return false;
    if (grantpt(*master) != 0 || unlockpt(*master) != 0) return false;
    *slave = open(ptsname(*master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (*slave < 0) return false;
    termios mode{};
    tcgetattr(*slave, &mode);
    mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
    mode.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    return tcsetattr(*slave, TCSANOW, &mode) == 0;
}

// In the child: makes the descriptor, or nothing, the standard stream of this number.
static void put_in_place(int descriptor, int stream) {
    if (descriptor == CLOSED) close(stream);
    else dup2(descriptor, stream);
}

Program::Program(const ProgramSetup &setup) { start(setup); }

Program::Program(const std::vector<std::string> &arguments, const std::string &directory) {
    ProgramSetup setup;
    setup.arguments = arguments;
    setup.directory = directory;
    start(setup);
}

// Makes the pipes or the terminal, forks, and in the child puts them in place and becomes the
// program. Fails the test when any of it can't be had.
void Program::start(const ProgramSetup &setup) {
    std::signal(SIGPIPE, SIG_IGN);
    terminal_ = setup.terminal;
    int input[2] = {-1, -1}, output[2] = {-1, -1}, error[2] = {-1, -1};
    bool ready = make_pipe(error);
    if (terminal_) {
        ready = ready && make_terminal(&output[0], &output[1]);
        if (ready) {
            input[0] = fcntl(output[1], F_DUPFD_CLOEXEC, 3);
            input[1] = fcntl(output[0], F_DUPFD_CLOEXEC, 3);
        }
    } else {
        ready = ready && make_pipe(input) && make_pipe(output);
    }
    if (!ready) {
        ADD_FAILURE() << "no pipes for the program";
        return;
    }

    // The program of another system is started by what runs it.
    std::vector<std::string> command =
        setup.executable == program_path() ? program_command() : Strings{setup.executable};
    std::vector<char *> arguments;
    for (std::string &word : command) arguments.push_back(word.data());
    for (const std::string &argument : setup.arguments) arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);

    process_ = fork();
    if (process_ == 0) {
        if (terminal_) {
            setsid();
            ioctl(input[0], TIOCSCTTY, 0);
        }
        std::signal(SIGPIPE, SIG_DFL);
        put_in_place(setup.input == NEW_PIPE ? input[0] : setup.input, STDIN_FILENO);
        put_in_place(setup.output == NEW_PIPE ? output[1] : setup.output, STDOUT_FILENO);
        dup2(terminal_ && setup.error_terminal ? output[1] : error[1], STDERR_FILENO);
        if (setup.directory.empty() || chdir(setup.directory.c_str()) == 0) {
            execv(arguments[0], arguments.data());
        }
        _exit(127);
    }
    close_end(&input[0]);
    close_end(&output[1]);
    close_end(&error[1]);
    if (setup.input != NEW_PIPE) close_end(&input[1]);
    if (setup.output != NEW_PIPE) close_end(&output[0]);
    input_ = input[1];
    output_end_ = output[0];
    error_end_ = error[0];
    for (const int end : {input_, output_end_, error_end_})
        if (end >= 0) fcntl(end, F_SETFL, fcntl(end, F_GETFL) | O_NONBLOCK);
    if (process_ < 0) {
        exited_ = true;
        ADD_FAILURE() << "the program could not be started";
    }
}

Program::~Program() {
    kill();
    close_end(&input_);
    close_end(&output_end_);
    close_end(&error_end_);
}

// Takes all that can be read now; closes our end when the other is closed.
static void drain(int *end, std::string *text) {
    char buffer[65536];
    while (*end >= 0) {
        const ssize_t count = read(*end, buffer, sizeof buffer);
        if (count > 0) {
            text->append(buffer, static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else if (count < 0 && errno == EAGAIN) {
            return;
        } else {
            close_end(end);  // a terminal whose other side is closed answers with an error
        }
    }
}

// Waits at most this long for anything to read or, with bytes to send, for room to write; then
// reads and writes what goes. Returns false when the output has ended or the input is refused.
bool Program::pump(int milliseconds, const char *bytes, std::size_t size, std::size_t *written) {
    pollfd requests[3] = {{output_end_, POLLIN, 0}, {error_end_, POLLIN, 0}, {bytes ? input_ : -1, POLLOUT, 0}};
    if (output_end_ < 0 && error_end_ < 0 && !bytes) return false;
    poll(requests, 3, milliseconds);
    drain(&output_end_, &output_);
    drain(&error_end_, &error_);
    if (!bytes) return output_end_ >= 0;
    if (input_ < 0) return false;
    const ssize_t count = write(input_, bytes, size);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    *written = static_cast<std::size_t>(count);
    return true;
}

bool Program::send_bytes(const std::string &bytes) {
    const double deadline = now_seconds() + DEFAULT_WAIT;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        std::size_t written = 0;
        if (!pump(100, bytes.data() + sent, bytes.size() - sent, &written)) return false;
        sent += written;
        if (now_seconds() > deadline) return false;
    }
    return true;
}

bool Program::send(const std::string &line) { return send_bytes(line + "\n"); }

void Program::close_input() {
    if (terminal_) send_bytes("\x04");
    else close_end(&input_);
}

void Program::close_output() { close_end(&output_end_); }

// A program for Windows ends its lines by CR LF.
static void drop_carriage_return(std::string *line) {
    if (program_is_for_windows() && !line->empty() && line->back() == '\r') line->pop_back();
}

bool Program::take_line(std::string *line) {
    const std::size_t end = output_.find('\n');
    if (end == std::string::npos) {
        if (output_end_ >= 0 || output_.empty()) return false;
        *line = output_;
        output_.clear();
        return true;
    }
    *line = output_.substr(0, end);
    output_.erase(0, end + 1);
    drop_carriage_return(line);
    return true;
}

bool Program::read_line(std::string *line, double seconds) {
    const double deadline = now_seconds() + seconds;
    for (;;) {
        if (take_line(line)) return true;
        if (output_end_ < 0) return false;
        const double left = deadline - now_seconds();
        if (left <= 0) return false;
        pump(static_cast<int>(left * 1000) + 1, nullptr, 0, nullptr);
    }
}

std::vector<std::string> Program::lines_until(const std::string &prefix, double seconds) {
    std::vector<std::string> lines;
    const double deadline = now_seconds() + seconds;
    for (std::string line; read_line(&line, deadline - now_seconds());) {
        lines.push_back(line);
        if (line.compare(0, prefix.size(), prefix) == 0) return lines;
    }
    ADD_FAILURE() << "no line \"" << prefix << "\" came; the last was \"" << (lines.empty() ? "" : lines.back())
                  << "\", standard error: " << error_;
    lines.emplace_back();
    return lines;
}

std::string Program::wait_for(const std::string &prefix, double seconds) { return lines_until(prefix, seconds).back(); }

std::vector<std::string> Program::lines_within(double seconds) {
    std::vector<std::string> lines;
    const double deadline = now_seconds() + seconds;
    for (std::string line; read_line(&line, deadline - now_seconds());) lines.push_back(line);
    return lines;
}

std::vector<std::string> Program::rest(double seconds) {
    const std::vector<std::string> lines = lines_within(seconds);
    EXPECT_LT(output_end_, 0) << "the program's output did not end in time";
    return lines;
}

std::string Program::error_output() {
    drain(&output_end_, &output_);
    drain(&error_end_, &error_);
    return error_;
}

bool Program::running() { return wait_exit(0) == -1; }

int Program::wait_exit(double seconds) {
    const double deadline = now_seconds() + seconds;
    while (!exited_) {
        int status = 0;
        const pid_t ended = waitpid(process_, &status, WNOHANG);
        if (ended == process_ || (ended < 0 && errno != EINTR)) {
            exited_ = true;
            status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            break;
        }
        if (now_seconds() >= deadline) return -1;
        // Output is taken meanwhile, as a full pipe would hold the program up.
        if (!pump(5, nullptr, 0, nullptr)) usleep(1000);
    }
    drain(&output_end_, &output_);
    drain(&error_end_, &error_);
    return status_;
}

void Program::kill() {
    if (exited_ || process_ <= 0) return;
    ::kill(process_, SIGKILL);
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    exited_ = true;
    status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int quit_program(Program *program, double seconds) {
    program->send("quit");
    return program->wait_exit(seconds);
}

std::vector<std::string> run_program(const std::vector<std::string> &arguments, const std::string &input,
                                     const std::string &directory, int *status, std::string *errors) {
    Program program(arguments, directory);
    program.send_bytes(input);
    program.close_input();
    const std::vector<std::string> lines = program.rest();
    const int exit_status = program.wait_exit();
    if (status) *status = exit_status;
    if (errors) *errors = program.error_output();
    return lines;
}
