// What may be behind the standard streams, and files by name, on every system the program runs on.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "gtest/gtest.h"

#include "protocol/session.h"

// One of two connected sockets, closed at the end of the test.
struct SocketPair {
    int own = -1, other = -1;
    explicit SocketPair(int type) {
        int ends[2];
        if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0) return;
        own = ends[0];
        other = ends[1];
    }
    ~SocketPair() {
        close_own();
        close_other();
    }
    void close_own() {
        if (own >= 0) close(own);
        own = -1;
    }
    void close_other() {
        if (other >= 0) close(other);
        other = -1;
    }
    void send(const std::string &text) const {
        EXPECT_EQ(write(own, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
};

// What the program wrote with one call; a socket of this kind keeps writes apart. Empty at the end.
static std::string next_write(int socket) {
    pollfd request{socket, POLLIN, 0};
    if (poll(&request, 1, static_cast<int>(DEFAULT_WAIT * 1000)) <= 0) return "";
    std::string bytes(1 << 20, '\0');
    const ssize_t count = recv(socket, bytes.data(), bytes.size(), 0);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

TEST(StandardStreams, EveryLineIsOneWrite) {
    ScratchDirectory directory;
    SocketPair sockets(SOCK_SEQPACKET);
    ProgramSetup setup;
    setup.directory = directory.path;
    setup.output = sockets.other;
    Program program(setup);
    sockets.close_other();
    // A long answer as well: the value is repeated, cut to the size of the option.
    program.send_bytes("uci\nsetoption name OwnBook_File value " + std::string(3000, 'b') + "\ngo depth 6\n");
    int lines = 0;
    for (std::string bytes; !(bytes = next_write(sockets.own)).empty(); ++lines) {
        EXPECT_EQ(bytes.find('\n'), bytes.size() - 1) << bytes;
        if (bytes.rfind("bestmove", 0) == 0) program.send("quit");
    }
    EXPECT_GT(lines, 35);
    EXPECT_EQ(program.wait_exit(), 0);
}

TEST(StandardStreams, ASocketAsInput) {
    ScratchDirectory directory;
    SocketPair sockets(SOCK_STREAM);
    ProgramSetup setup;
    setup.directory = directory.path;
    setup.input = sockets.other;
    Program program(setup);
    sockets.close_other();
    sockets.send("isready\n");
    program.wait_for("readyok");
    program.lines_within(0.2);  // nothing to read is not the end
    sockets.send("isready\ngo infi");
    program.wait_for("readyok");
    sockets.send("nite\n");
    program.wait_for("info depth 3 ");
    sockets.send("stop\n");
    program.wait_for("bestmove");
    sockets.send("go depth 4");
    sockets.close_own();
    EXPECT_EQ(program.wait_for("bestmove").substr(0, 9), "bestmove ");
    EXPECT_EQ(program.wait_exit(), 0);
}

TEST(StandardStreams, APipeThatStaysEmptyForAWhile) {
    Session engine;
    engine.program.lines_within(0.3);
    EXPECT_TRUE(engine.program.running());
    EXPECT_EQ(engine.ask("isready"), Lines{}) << "one answer is the session's own";
    engine.program.wait_for("readyok");
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(StandardStreams, NoInputAtAll) {
    ScratchDirectory directory;
    ProgramSetup setup;
    setup.directory = directory.path;
    setup.input = CLOSED;
    Program program(setup);
    const Lines lines = program.rest();
    EXPECT_EQ(lines.size(), 5u) << "the start-up lines, and not " << lines.back();
    EXPECT_EQ(program.wait_exit(), 0);
}

// 3 MB, which at a few bytes for each look at the input would take minutes.
TEST(StandardStreams, AFileIsReadAsFastAsItsLinesAreExecuted) {
    ScratchDirectory directory;
    std::string text;
    for (int i = 0; i < 20000; ++i) text += "debug " + std::string(140, 'x') + "\n";
    write_file(directory.file("input.txt"), text + "isready\ngo depth 4\nisready\nquit\n");
    ProgramSetup setup;
    setup.directory = directory.path;
    setup.input = open(directory.file("input.txt").c_str(), O_RDONLY | O_CLOEXEC);
    Program program(setup);
    close(setup.input);
    const Lines lines = program.rest();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "readyok"), 2);
    EXPECT_EQ(program.wait_exit(), 0);
}

TEST(StandardStreams, ACtrlZIsAByteLikeAnyOther) {
    Session engine;
    EXPECT_EQ(engine.ask("debug \x1a\x1a"), Lines{});
    EXPECT_EQ(engine.ask("\x1a"), Lines{});
    EXPECT_NE(engine.search("go depth 3").back(), "bestmove null");
    EXPECT_EQ(quit_program(&engine.program), 0);
}

// Two games, the first with a Ctrl-Z in a comment, where text files of old end.
static void write_games(const std::string &path) {
    const std::string moves = "1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 4. Ba4 Nf6 5. O-O Be7 1-0\n\n";
    write_file(path, "[Event \"First\"]\n[Result \"1-0\"]\n\n{ a \x1a b } " + moves +
                         "[Event \"Second\"]\n[Result \"1-0\"]\n\n" + moves);
}

TEST(Files, LoadReadsBeyondACtrlZ) {
    ScratchDirectory directory;
    write_games(directory.file("games.pgn"));
    const Lines lines = run_program({"-c"}, "load games.pgn Second\nquit\n", directory.path);
    EXPECT_TRUE(has_line(lines, "r1bqk2r/1pppbppp/p1n2n2/4p3/B3P3/5N2/PPPP1PPP/RNBQ1RK1 w kq - 1 10"));
}

TEST(Files, GetReadsBeyondACtrlZ) {
    ScratchDirectory directory;
    const std::string board = "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; ";
    write_file(directory.file("test.epd"), board + "c0 \"\x1a\"; id \"one\";\n" + board + "id \"two\";\n");
    const Lines lines = run_program({"-c"}, "get two\nquit\n", directory.path);
    EXPECT_TRUE(has_line(lines, board + "id \"two\";"));
}

TEST(Files, ABookIsMadeOfAllGames) {
    ScratchDirectory directory;
    write_games(directory.file("games.pgn"));
    const Lines lines = run_program({"-mkbook", "games.pgn"}, "", directory.path);
    EXPECT_TRUE(has_line(lines, "ngames= 2, nmoves= 10"));
}

TEST(Files, ANameWithLettersBeyondAscii) {
    Session engine;
    std::filesystem::create_directory(engine.directory.file("Grüße"));
    std::filesystem::copy_file(project_path("Source/eval/network/embedded_network.bin"),
                               engine.directory.file("Grüße/nétz.bin"));
    const std::string name = program_is_for_windows() ? "Grüße\\nétz.bin" : "Grüße/nétz.bin";
    const Lines lines = engine.ask("setoption name NN_File value " + name);
    EXPECT_TRUE(has_line(lines, "info string loaded " + name));
    engine.program.send("uci");
    EXPECT_TRUE(has_line(engine.program.lines_until("uciok"), "option name NN_File type string default " + name));
    EXPECT_EQ(quit_program(&engine.program), 0);
    // On the command line as well.
    write_file(engine.directory.file("Grüße/tärn.cfg"), "MoveOverhead = 7\n");
    const Lines start = run_program({"-cfg", "Grüße/tärn.cfg"}, "quit\n", engine.directory.path);
    EXPECT_TRUE(has_line(start, "info string MoveOverhead set to 7"));
}

// Kilobytes that the machine can spare.
static long long memory_available() {
    std::ifstream file("/proc/meminfo");
    long long kilobytes = -1;
    for (std::string word; file >> word;)
        if (word == "MemAvailable:" && file >> kilobytes) break;
    return kilobytes;
}

TEST(Memory, AHashBeyondTheMachinesMemoryIsRefused) {
    constexpr long long LARGEST = 32768LL * 1024;
    const long long available = memory_available();
    if (available < 0 || available > LARGEST) GTEST_SKIP() << "this machine has memory for the largest table";
    Session engine;
    EXPECT_EQ(
        engine.ask("setoption name Hash value 32768"),
        (Lines{"info string Hash set to 32768", "info string can't allocate 32768 Mbytes for hash table, using 64"}));
    EXPECT_NE(engine.search("go depth 6").back(), "bestmove null");
    EXPECT_EQ(quit_program(&engine.program), 0);
}
