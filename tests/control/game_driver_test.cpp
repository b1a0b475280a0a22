// The main loop in the running program: what a "go" is answered with, and what becomes of the clocks.
#include "control/game_driver.h"

#include <cstdlib>

#include "gtest/gtest.h"

#include "book/book_files.h"
#include "book/book_key.h"
#include "protocol/session.h"
#include "support/engine.h"

namespace {

constexpr const char *TWICE_BACK = " g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";

TEST(GameDriver, ADrawIsAnnouncedWithoutABestMove) {
    Session engine;
    engine.ask(std::string("position startpos moves") + TWICE_BACK);
    EXPECT_EQ(engine.ask("go depth 3"), Lines{"info string Draw!"});
    // The next command is answered as usual.
    engine.ask("position startpos");
    EXPECT_EQ(engine.search("go depth 1").back().rfind("bestmove ", 0), 0u);
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(GameDriver, APositionWithoutAKingIsRefused) {
    Session engine;
    engine.ask("position fen 8/8/8/8/8/8/8/K7 w - -");
    const Lines lines = engine.ask("go depth 3");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("info string can't search this position: ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1], "bestmove null");
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(GameDriver, APonderResultIsHeldUntilThePonderHit) {
    Session engine;
    for (const char *release : {"ponderhit", "stop"}) {
        engine.ask("position startpos moves e2e4 e7e5");
        engine.program.send("go ponder depth 2");
        for (const std::string &line : engine.program.lines_within(0.5)) EXPECT_NE(line.rfind("bestmove", 0), 0u);
        EXPECT_EQ(engine.ask("debug on"), Lines{}) << "\"isready\" is answered while the result is held";
        EXPECT_EQ(engine.search(release).back().rfind("bestmove ", 0), 0u) << release;
    }
    EXPECT_EQ(quit_program(&engine.program), 0);
}

TEST(GameDriver, ABookMoveIsAnsweredAtOnceWithinTheBookDepth) {
    const ThreadState *master = start_engine();
    Session engine;
    write_file(engine.directory.file("two.bin"), book_bytes({{book_key(&master->position), book_code("a2a3"), 10, 0}}));
    engine.ask("setoption name OwnBook_File value two.bin");
    engine.ask("position startpos");
    Lines lines = engine.search("go infinite");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "info string book move is a2a3");
    EXPECT_EQ(lines.back(), "bestmove a2a3");
    engine.ask("setoption name OwnBook_Depth value 0");
    lines = engine.search("go depth 2");
    EXPECT_FALSE(has_line(lines, "info string book move is a2a3"));
    EXPECT_EQ(quit_program(&engine.program), 0);
}

// The remaining time that the next line about the clock names.
double next_clock(Program *program) {
    const std::string start = "info string clock= ";
    const std::string line = program->wait_for(start);
    return line.empty() ? -1.0 : std::atof(line.c_str() + start.size());
}

// Two moves per control. The clock is set anew after moves 1, 3, 5, ... of either side (half-moves 0, 1, 4, 5,
// ... of the game), so it is full for moves 2 and 4, and the time of move 2 is missing for move 3.
TEST(GameDriver, TheClockIsSetAgainAfterAControl) {
    ProgramSetup setup;
    ScratchDirectory directory;
    setup.arguments = {"-c"};
    setup.directory = directory.path;
    Program program(setup);
    program.send("set level 2 1 0");
    double clock[2][5];
    for (int move = 1; move <= 4; ++move)
        for (int side = 0; side < 2; ++side) {
            program.send("mv");
            clock[side][move] = next_clock(&program);
            program.wait_for("Hash fill= ");
        }
    for (int side = 0; side < 2; ++side) {
        EXPECT_EQ(clock[side][1], 1.0);
        EXPECT_EQ(clock[side][2], 1.0);
        EXPECT_LT(clock[side][3], 1.0);
        EXPECT_EQ(clock[side][4], 1.0);
    }
    EXPECT_EQ(quit_program(&program), 0);
}

}  // namespace
