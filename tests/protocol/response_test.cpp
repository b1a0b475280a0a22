// The program answers at once, whatever the position: stops, limits and clocks in positions whose first
// iteration takes minutes. Times are not tested beyond "it comes"; bench/response.cpp measures them.
#include <algorithm>

#include "gtest/gtest.h"

#include "board/fen.h"
#include "protocol/session.h"
#include "support/engine.h"
#include "support/places.h"
#include "support/positions.h"
#include "support/response.h"
#include "support/sanitizers.h"
#include "support/shared_data.h"

static constexpr double HANG = 20.0;  // seconds; the first iteration of the crowded positions takes longer

static std::vector<std::string> crowded_positions() { return read_epd_positions(project_path("bench/crowded.epd")); }

static const char *const CROWDED[] = {
    "k7/1qQqQqQ1/1QqQqQq1/1qQqQqQ1/1QqQqQq1/1qQqQqQ1/8/7K w - - 0 1",
    "q2k2q1/2nqn2b/1n1P1n1b/2rnr2Q/1NQ1QN1Q/3Q3B/2RQR2B/Q2K2Q1 w - - 0 1",
};

// Is the move of a "bestmove" line legal in the position?
static bool is_legal_move(const std::string &fen, const std::string &line) {
    if (line.rfind("bestmove ", 0) != 0) return false;
    start_engine();
    Position *position = set_up(fen);
    const Move move = move_of(position, line.substr(9, line.find(' ', 9) - 9));
    const std::vector<Move> legal = legal_moves(position);
    return move && std::find(legal.begin(), legal.end(), move) != legal.end();
}

class Response : public testing::TestWithParam<int> {};

// The short form of bench/response.cpp.
TEST_P(Response, StopIsreadyAndQuit) {
    start_engine();
    std::vector<std::string> positions = crowded_positions();
    ASSERT_EQ(positions.size(), 50u);
    positions.resize(6);
    for (const std::string &fen : random_positions(6, 3)) positions.push_back(fen);
    ScratchDirectory directory;
    for (const bool use_network : {true, false}) {
        ResponseSetup setup;
        setup.use_network = use_network;
        setup.threads = GetParam();
        setup.stop_delays = {0, 1, 10};
        setup.directory = directory.path;
        const ResponseTimes times = measure_responses(setup, positions, 4);
        for (const std::string &fault : times.faults) ADD_FAILURE() << fault;
        EXPECT_EQ(times.stop.back().size(), positions.size());
        EXPECT_EQ(times.quit.size(), positions.size() / 4);
    }
}
INSTANTIATE_TEST_SUITE_P(Threads, Response, testing::Values(1, 2, 4));

TEST(Limits, EndAFirstIterationThatTakesMinutes) {
    for (const Lines &arguments : {Lines{}, Lines{"-use_hce"}}) {
        Session engine(arguments);
        for (const std::string fen : CROWDED)
            for (const char *go : {"go movetime 100", "go movetime 0", "go wtime 1000 btime 1000",
                                   "go wtime 20 btime 20", "go wtime 300 btime 300 movestogo 1"}) {
                engine.program.send("position fen " + fen);
                engine.program.send(go);
                const std::string best = engine.program.wait_for("bestmove", HANG);
                ASSERT_TRUE(is_legal_move(fen, best)) << fen << " " << go << " " << best;
            }
    }
}

TEST(Limits, EveryNodeLimitGivesAMove) {
    Session engine;
    engine.ask("setoption name OwnBook value false");
    start_engine();
    std::vector<std::string> positions = random_positions(30, 5);
    for (const std::string &fen : crowded_positions()) positions.push_back(fen);
    for (const std::string &fen : positions) {
        if (legal_moves(set_up(fen)).empty()) continue;
        for (const char *go : {"go nodes 1", "go nodes 10", "go nodes 100"}) {
            engine.program.send("position fen " + fen);
            engine.program.send(go);
            const std::string best = engine.program.wait_for("bestmove", HANG);
            ASSERT_TRUE(is_legal_move(fen, best)) << fen << " " << go << " " << best;
        }
    }
}

// The first in root order: captures by their exchange, then quiet moves as they are generated.
TEST(Limits, WithoutAScoreTheFirstMoveInRootOrder) {
    Session engine;
    engine.ask("setoption name OwnBook value false");
    engine.ask("position fen 4k3/8/8/3q4/4P3/8/8/4K3 w - - 0 1");
    const Lines lines = engine.search("go nodes 1");
    EXPECT_EQ(lines, Lines{"bestmove e4d5"}) << "no line of a search that has no score";
}

TEST(Limits, DepthZeroIsDepthOne) {
    Session engine;
    engine.ask("setoption name OwnBook value false");
    const Lines one = engine.search("go depth 1"), zero = engine.search("go depth 0"),
                below = engine.search("go depth -4");
    ASSERT_FALSE(one.empty());
    EXPECT_EQ(info_value(one, "depth"), 1);
    EXPECT_EQ(zero.back(), one.back());
    EXPECT_EQ(info_value(zero, "depth"), 1);
    EXPECT_EQ(info_value(below, "depth"), 1);
    int status = -1;
    ScratchDirectory directory;
    for (const std::string &line : run_program({"-d", "0"}, "go\n", directory.path, &status)) {
        EXPECT_EQ(line.find("inf,"), std::string::npos) << line;
        EXPECT_EQ(line.find("elo= -"), std::string::npos) << line;
    }
    EXPECT_EQ(status, 0);
}

TEST(Limits, EndOfInputEndsAnEndlessSearch) {
    for (const std::string fen : CROWDED) {
        Session engine;
        engine.program.send("position fen " + fen);
        engine.program.send("go infinite");
        engine.program.close_input();
        ASSERT_EQ(engine.program.wait_exit(HANG), 0);
        EXPECT_TRUE(is_legal_move(fen, engine.program.rest().back()));
    }
}

TEST(Limits, ASuiteLeavesNothingOut) {
    ScratchDirectory directory;
    start_engine();
    const std::vector<std::string> positions = crowded_positions();
    std::string suite;
    for (const std::string &fen : positions) suite += fen + " bm a1a2;\n";
    ASSERT_TRUE(write_file(directory.file("suite.epd"), suite));
    for (const char *nodes : {"1", "100"}) {
        int status = -1;
        run_program({"-anepd", "suite.epd", "-n", nodes, "-o", "out.epd"}, "", directory.path, &status);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(read_lines(directory.file("out.epd")).size(), positions.size()) << nodes;
    }
}

// ---- What memory and threads can't give ----

// A program whose address space is limited, in kilobytes.
static ProgramSetup limited_program(const std::string &directory, int kilobytes, const std::string &arguments) {
    ProgramSetup setup;
    setup.executable = "/bin/sh";
    setup.directory = directory;
    setup.arguments = {"-c", "ulimit -v " + std::to_string(kilobytes) + "; exec " + program_path() + " " + arguments};
    return setup;
}

TEST(Memory, AHashThatDoesNotFitLeavesTheSizeThatWasThere) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
    SKIP_ON_WINDOWS("the limit is set by ulimit");
    ScratchDirectory directory;
    Program program(limited_program(directory.path, 1500000, ""));
    program.send("isready");
    program.wait_for("readyok");
    program.send("setoption name Hash value 32768");
    program.send("isready");
    EXPECT_EQ(program.lines_until("readyok"),
              (Lines{"info string Hash set to 32768",
                     "info string can't allocate 32768 Mbytes for hash table, using 64", "readyok"}));
    program.send("go depth 7");
    EXPECT_TRUE(is_legal_move(STARTPOS_FEN, program.wait_for("bestmove")));
    program.send("uci");
    const Lines options = program.lines_until("uciok");
    EXPECT_TRUE(has_line(options, "option name Hash type spin default 64 min 0 max 32768"));
    EXPECT_EQ(quit_program(&program), 0);
}

TEST(Memory, AtStartTheHashIsHalvedUntilItFits) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
    SKIP_ON_WINDOWS("the limit is set by ulimit");
    ScratchDirectory directory;
    Program program(limited_program(directory.path, 1500000, "-hash 32768"));
    program.send("isready");
    const Lines lines = program.lines_until("readyok");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[1], "info string can't allocate 32768 Mbytes for hash table, using 1024");
    EXPECT_EQ(quit_program(&program), 0);
}

TEST(Memory, AThreadThatCantBeStartedIsNamedBeforeTheExit) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
    SKIP_ON_WINDOWS("the limit is set by ulimit");
    ScratchDirectory directory;
    Program program(limited_program(directory.path, 1500000, "-hash 8 -threads 160"));
    program.send("go infinite");
    const Lines lines = program.rest();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(has_form(lines.back(), "info string can't start search thread [0-9]+ of 160, stopping Tarn"))
        << lines.back();
    EXPECT_EQ(program.wait_exit(), 255);
}

TEST(Memory, AThreadToClearTheHashThatCantBeStartedLikewise) {
    SKIP_MEMORY_LIMIT_UNDER_SANITIZERS();
    SKIP_ON_WINDOWS("the limit is set by ulimit");
    ScratchDirectory directory;
    Program program(limited_program(directory.path, 1500000, "-threads 160"));
    EXPECT_EQ(program.rest().back(), "info string can't start a thread to clear the hash table, stopping Tarn");
    EXPECT_EQ(program.wait_exit(), 255);
}

TEST(Refused, ANetworkFileThatIsNoneIsNotShownAsTheDefault) {
    Session engine;
    ASSERT_TRUE(write_file(engine.directory.file("bad.nn"), "no network"));
    engine.ask("setoption name NN_File value bad.nn");
    engine.program.send("uci");
    EXPECT_TRUE(has_line(engine.program.lines_until("uciok"), "option name NN_File type string default embedded"));
}

TEST(Refused, ADirectoryIsNoConfigurationFile) {
    ScratchDirectory directory;
    Session engine({"-cfg", directory.path});
    for (const std::string &line : engine.start_lines) EXPECT_EQ(line.find("loading parameters"), std::string::npos);
    EXPECT_EQ(engine.ask("setoption name ConfigFilePath value " + directory.path),
              Lines{"info string ConfigFilePath set to '" + directory.path + "'"});
}
