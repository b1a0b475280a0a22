// Console lines: the choice of the command, and the commands that set only a word or two.
#include "control/console/console.h"
#include "support/positions.h"

#include "board/fen.h"
#include "control/driver_state.h"
#include "control/game_driver.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "support/console_fixture.h"

namespace {

using ConsoleCommand = ConsoleFixture;

TEST_F(ConsoleCommand, EmptyLinesAreNothing) {
    EXPECT_EQ(run(""), "");
    EXPECT_EQ(run("     "), "");
}

TEST_F(ConsoleCommand, WhatIsNoCommandIsAMove) {
    EXPECT_EQ(run("xyzzy"), "invalid: a1a1\n");
    EXPECT_EQ(run("isready"), "invalid: a1a1\n");
    EXPECT_EQ(run("move"), "invalid: a1a1\n");
    EXPECT_EQ(run(std::string(100000, 'e')), "invalid: a1a1\n");
    EXPECT_EQ(run("\x01\xff\xfe"), "invalid: a1a1\n");
    EXPECT_EQ(run("e5"), "invalid: a1a1\n");
    EXPECT_EQ(game_ply(), 0);
}

TEST_F(ConsoleCommand, OnlyQuitAndStopActDuringASearch) {
    write_search_state(SEARCH_RUN);
    for (const char *line : {"e4", "new", "bd", "fen 8/8/8/8/8/8/8/8 w - -", "go", "perft 3", "set depth 3"})
        EXPECT_EQ(run(line), "") << line;
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(run("."), "");
    EXPECT_EQ(search_run.stop, 1);
    run("quit");
    EXPECT_EQ(driver.quit, 1);
}

TEST_F(ConsoleCommand, StopWhileIdleDoesNothing) {
    EXPECT_EQ(run("."), "");
    EXPECT_EQ(search_run.stop, 0);
}

TEST_F(ConsoleCommand, Quit) {
    EXPECT_EQ(run("quit"), "");
    EXPECT_EQ(driver.quit, 1);
}

TEST_F(ConsoleCommand, SearchesAreLeftToTheDriver) {
    EXPECT_EQ(run("mv"), "");
    EXPECT_EQ(read_search_state(), SEARCH_GO);
    EXPECT_EQ(driver.auto_reply, 1);
    EXPECT_EQ(settings.own_book, 1);
    write_search_state(0);
    settings.ponder = 1;
    run("self");
    EXPECT_EQ(read_search_state(), SEARCH_GO);
    EXPECT_EQ(driver.self_play, 1);
    EXPECT_EQ(settings.ponder, 0);
}

TEST_F(ConsoleCommand, Go) {
    for (const char *word : {"go", "an"}) {
        settings.own_book = 1;
        settings.time_mode = 0;
        run(word);
        EXPECT_EQ(read_search_state(), SEARCH_GO);
        EXPECT_EQ(settings.own_book, 0);
        EXPECT_EQ(settings.move_time, 100000.0f);
        EXPECT_EQ(settings.time_mode, 1);
        EXPECT_EQ(settings.max_depth, 80);
        write_search_state(0);
    }
    struct Depth {
        const char *line;
        int depth;
    };
    for (const Depth &row : {Depth{"go 5", 5}, Depth{"go 81", 80}, Depth{"go 0", 0}, Depth{"go -3", 0}}) {
        run(row.line);
        EXPECT_EQ(settings.max_depth, row.depth) << row.line;
        write_search_state(0);
    }
}

TEST_F(ConsoleCommand, GoClearsTheHashUnlessItIsKept) {
    Position *position = &root_thread_state->position;
    int score = 0, eval = 0, depth = 0, bound = 0;
    Move move = 0;
    const auto stored = [&] { return hash_probe(position, &score, &eval, &depth, &move, &bound); };
    hash_store(position, 1, 7, word_of("e2e4"), 10, 20, BOUND_EXACT);
    ASSERT_TRUE(stored());
    run("set hash 2");
    run("go");
    write_search_state(0);
    EXPECT_TRUE(stored());
    run("set hash 1");
    run("go");
    EXPECT_FALSE(stored());
}

TEST_F(ConsoleCommand, WordsBeyondTheTenthAreDropped) {
    EXPECT_EQ(run("set depth 9 1 2 3 4 5 6 7 8 9 10 11 12"), "");
    EXPECT_EQ(settings.max_depth, 9);
}

// A word that is no depth starts no search and leaves every limit as it was.
TEST_F(ConsoleCommand, GoRefusesWhatIsNoDepth) {
    settings.max_depth = 12;
    for (const char *line : {"go x", "go infinite", "go depth 5", "go 5x", "go 1.5"}) {
        EXPECT_EQ(run(line), "go takes a depth, 1 to 80, or nothing: then it searches until \".\"\n") << line;
        EXPECT_EQ(read_search_state(), 0);
        EXPECT_EQ(settings.max_depth, 12);
        EXPECT_EQ(settings.own_book, 1);
    }
    EXPECT_EQ(run("an infinite"), "an takes a depth, 1 to 80, or nothing: then it searches until \".\"\n");
}

TEST_F(ConsoleCommand, ADotEndsSelfPlay) {
    run("self");
    EXPECT_EQ(run("."), "");  // not begun yet: it does not begin
    EXPECT_EQ(driver.self_play, 0);
    EXPECT_EQ(read_search_state(), 0);
    run("self");
    write_search_state(SEARCH_RUN);
    run(".");
    EXPECT_EQ(driver.self_play, 0);
    EXPECT_EQ(search_run.stop, 1);
    EXPECT_EQ(read_search_state(), SEARCH_RUN);
}

TEST_F(ConsoleCommand, TagTakesNoValue) {
    EXPECT_EQ(run("tag"), "");
    EXPECT_EQ(run("tag here"), "tag takes no value: it marks the position on the board\n");
}

// Every word in the list is a command: none is answered as a move would be.
TEST_F(ConsoleCommand, HelpListsTheCommands) {
    const std::string list = run("help");
    EXPECT_EQ(run("?"), list);
    std::size_t lines = 0;
    for (std::size_t at = 0; at < list.size(); at = list.find('\n', at) + 1) {
        const std::string word = list.substr(at, list.find_first_of(" \n", at) - at);
        ++lines;
        if (word == "edit" || word == "move" || word == "uci" || word == "e4") continue;
        EXPECT_EQ(run(word).find("invalid"), std::string::npos) << word;
        write_search_state(0);
    }
    EXPECT_EQ(lines, 34u);
    EXPECT_NE(list.find("\ngo [DEPTH]       analyse to a depth, or until \".\"\n"), std::string::npos);
}

}  // namespace
