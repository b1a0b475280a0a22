// What happens to a running engine from outside: signals, readers that go away, full disks, files that vanish or are
// cut, each at random moments of a search.
#include <csignal>
#include <filesystem>
#include <random>

#include <sys/stat.h>

#include "protocol/session.h"
#include "support/sanitizers.h"
#include "support/table_directory.h"

static constexpr unsigned SEED = 1;

// Lets the engine search and hears it for a random while.
static void search_a_while(Program *program, std::mt19937 *random, const std::string &go = "go infinite") {
    program->send(go);
    program->lines_within(static_cast<double>((*random)() % 60) / 1000.0);
}

static bool is_move(const std::string &line) { return has_form(line, "bestmove [a-h][1-8].*"); }

// SIGINT and SIGTERM end the engine, as they end any program that is not told otherwise. What it said is whole.
TEST(Signals, EndASearch) {
    SKIP_ON_WINDOWS("signals");
    std::mt19937 random(SEED);
    for (int i = 0; i < 6; ++i) {
        const int number = i % 2 ? SIGINT : SIGTERM;
        Session engine({"-threads", i < 3 ? "1" : "4", "-log"});
        search_a_while(&engine.program, &random);
        kill(engine.program.process_id(), number);
        EXPECT_EQ(engine.program.wait_exit(), 128 + number);
        EXPECT_EQ(engine.program.error_output(), "");
        const std::string rest = engine.program.pending_output();
        EXPECT_TRUE(rest.empty() || rest.back() == '\n') << rest;
        const std::string log = read_file(engine.directory.file("tarn.log"));
        EXPECT_TRUE(!log.empty() && log.back() == '\n') << log;
    }
}

TEST(Signals, ABrokenPipeIsIgnored) {
    SKIP_ON_WINDOWS("signals");
    std::mt19937 random(SEED);
    Session engine({"-threads", "2"});
    for (int i = 0; i < 5; ++i) {
        search_a_while(&engine.program, &random);
        kill(engine.program.process_id(), SIGPIPE);
        engine.program.send("stop");
        EXPECT_TRUE(is_move(engine.program.wait_for("bestmove")));
    }
    EXPECT_EQ(quit_program(&engine.program), 0);
}

// The front end vanishes: its end of the output, of the input, or both in either order.
TEST(FrontEnd, VanishesDuringASearch) {
    std::mt19937 random(SEED);
    const char *ends_by_itself = UNDER_SANITIZER ? "go depth 9" : "go depth 12";
    for (int i = 0; i < 9; ++i) {
        Session engine({"-threads", i % 2 ? "3" : "1"});
        search_a_while(&engine.program, &random, i % 2 ? "go infinite" : ends_by_itself);
        if (i % 3 != 0) engine.program.close_output();
        engine.program.lines_within(0.01);
        if (i % 3 == 1) engine.program.send("stop");
        engine.program.close_input();
        EXPECT_EQ(engine.program.wait_exit(), 0) << i;
        EXPECT_EQ(engine.program.error_output(), "");
    }
}

// Play goes on without the rest of the log.
TEST(FullDisk, TheLogEndsButNotTheGame) {
    SKIP_ON_WINDOWS("the limit is set by ulimit");
    for (const char *blocks : {"0", "2"}) {
        if (THREAD_SANITIZER && blocks[0] == '0') continue;  // it writes a file of its own before anything else
        ScratchDirectory directory;
        ProgramSetup setup;
        setup.executable = "/bin/sh";
        setup.directory = directory.path;
        setup.arguments = {"-c", std::string("ulimit -f ") + blocks + "; exec " + program_path() + " -log"};
        Program program(setup);
        for (int i = 0; i < 5; ++i) {
            program.send("go depth 8");
            EXPECT_TRUE(is_move(program.wait_for("bestmove")));
        }
        EXPECT_EQ(quit_program(&program), 0);
        EXPECT_EQ(program.error_output(), "");
        EXPECT_LE(read_file(directory.file("tarn.log")).size(), 1024u);
    }
}

// Books, networks and settings are opened when they are needed; one that is not there, or is a directory, changes
// nothing.
TEST(VanishingFiles, BetweenSearches) {
    Session engine;
    const std::string book = engine.directory.file("tarn_book.bin");
    ASSERT_TRUE(write_file(book, std::string(160, '\1')));
    EXPECT_TRUE(is_move(engine.search("go depth 3").back()));
    std::filesystem::remove(book);
    EXPECT_TRUE(is_move(engine.search("go depth 3").back()));
    std::filesystem::create_directory(book);
    EXPECT_TRUE(is_move(engine.search("go depth 3").back()));
    std::filesystem::create_directory(engine.directory.file("directory"));
    // Windows can't open a directory as a file, and a network file that can't be opened ends the program.
    if (!program_is_for_windows()) {
        engine.ask("setoption name NN_File value directory");
        EXPECT_TRUE(is_move(engine.search("go depth 3").back()));
    }
    engine.ask("setoption name ConfigFilePath value directory");
    engine.ask("setoption name SyzygyPath value vanished");
    EXPECT_TRUE(is_move(engine.search("go depth 3").back()));
    EXPECT_EQ(quit_program(&engine.program), 0);
}

// A pipe without a writer would keep the engine waiting, and its front end with it.
TEST(VanishingFiles, APipeInstead) {
    SKIP_ON_WINDOWS("named pipes among files");
    Session engine;
    for (const char *name : {"tarn_book.bin", "settings", "network"})
        ASSERT_EQ(mkfifo(engine.directory.file(name).c_str(), 0600), 0);
    EXPECT_TRUE(is_move(engine.search("go depth 3").back())) << "without a book";
    EXPECT_EQ(engine.ask("setoption name ConfigFilePath value settings"),
              Lines{"info string ConfigFilePath set to 'settings'"});
    ASSERT_TRUE(engine.program.send("setoption name NN_File value network"));
    EXPECT_EQ(engine.program.rest().back(), "info string can't open network") << "as if it were missing";
    EXPECT_EQ(engine.program.wait_exit(), 0);
}

class TableFaults : public SolvedTables {};

// Sends the lines one after another, waiting for the answer to each search; false when the program has ended. `heard`
// gets all that was read.
static bool converse(Program *program, const Lines &lines, Lines *heard) {
    for (const std::string &line : lines) {
        if (!program->send(line)) return false;
        if (line.rfind("go", 0) != 0) continue;
        std::string answer;
        while (answer.rfind("bestmove", 0) != 0) {
            if (!program->read_line(&answer)) return false;
            heard->push_back(answer);
        }
        EXPECT_TRUE(is_move(answer)) << answer;
    }
    return true;
}

// Any allocation of memory or of a thread may fail: the engine does without, or says why it ends.
TEST_F(TableFaults, NoMemory) {
    SKIP_ON_WINDOWS("LD_PRELOAD");
    const std::string library = std::filesystem::path(program_path()).parent_path().string() + "/tests/no_memory.so";
    if (!std::filesystem::exists(library)) GTEST_SKIP() << "not built with sanitizers";
    const Lines conversation = {"setoption name OwnBook value false",
                                "setoption name Hash value 32",
                                "setoption name SyzygyPath value " + directory->path,
                                "position fen 8/8/8/8/8/3k4/8/3K3Q w - - 0 1",
                                "go depth 4",
                                "setoption name Threads value 3",
                                "setoption name Clear Hash",
                                "position startpos",
                                "go depth 6",
                                "setoption name ConfigFilePath value settings.cfg",
                                "setoption name NN_File value cut.bin",
                                "go depth 6"};
    int ended = 0;
    for (int number = 1; number <= 60; ++number) {  // the conversation needs 55
        ScratchDirectory scratch;
        ASSERT_TRUE(write_file(scratch.file("settings.cfg"), "Contempt = 5\n"));
        ASSERT_TRUE(write_file(scratch.file("cut.bin"), "cut"));
        ProgramSetup setup;
        setup.executable = "/usr/bin/env";
        setup.directory = scratch.path;
        setup.arguments = {"LD_PRELOAD=" + library, "TARN_FAIL_AT=" + std::to_string(number), program_path(), "-hash",
                           "1"};
        Program program(setup);
        Lines heard;
        const bool lives = converse(&program, conversation, &heard);
        if (lives) program.send("quit");
        for (const std::string &line : program.rest()) heard.push_back(line);
        const int status = program.wait_exit();
        EXPECT_TRUE(status == 0 || (!lives && (status == 1 || status == 255))) << number << ": status " << status;
        ended += !lives;
        // Not always the last line: another thread may be printing one of its own.
        std::string reason = program.error_output();
        for (const std::string &line : heard) reason += line + "\n";
        const bool told =
            reason.find("memory") != std::string::npos || reason.find("info string can't start ") != std::string::npos;
        EXPECT_TRUE(status == 0 || told) << number << ": " << reason;
    }
    EXPECT_GT(ended, 5) << "the library was not loaded";
}

// Pawn endings whose captures and promotions lead into the tables all the time.
TEST_F(TableFaults, FilesCutDuringASearch) {
    SKIP_ON_WINDOWS("a mapped file can't be cut");
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer takes the page that the system replaces for a write that races";
#endif
    std::mt19937 random(SEED);
    for (const char *threads : {"1", "4"}) {
        ScratchDirectory copy;
        for (const auto &file : std::filesystem::directory_iterator(directory->path))
            std::filesystem::copy_file(file.path(), copy.file(file.path().filename().string()));
        Session session({"-threads", threads, "-tbpath", copy.path});
        session.ask("position fen 8/8/8/3k4/8/8/p3P3/4K3 w - - 0 1");
        session.program.send("go infinite");
        session.program.wait_for("info depth 8 ");
        for (const auto &file : std::filesystem::directory_iterator(copy.path)) {
            session.program.lines_within(static_cast<double>(random() % 20) / 1000.0);
            std::filesystem::resize_file(file.path(), 0);
        }
        session.program.lines_within(0.1);
        session.program.send("stop");
        const Lines lines = session.program.lines_until("bestmove");
        EXPECT_TRUE(is_move(lines.back())) << lines.back();
        EXPECT_EQ(quit_program(&session.program), 0);
        EXPECT_EQ(session.program.error_output(), "");
    }
}
