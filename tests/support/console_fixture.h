// Console lines executed inside the test program, in a directory of their own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "base/settings.h"
#include "control/console/console.h"
#include "control/driver_state.h"
#include "control/game_driver.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/files.h"
#include "support/positions.h"

class ConsoleFixture : public testing::Test {
protected:
    // The files that commands name by themselves lie in the working directory.
    void SetUp() override {
        start_engine();
        settings.uci_mode = 0;
        home = std::filesystem::current_path();
        std::filesystem::current_path(scratch.path);
        testing::internal::CaptureStdout();
        start_console();
        console_command("nonsense");  // the hint at `help` comes once in a process
        testing::internal::GetCapturedStdout();
    }
    void TearDown() override {
        std::filesystem::current_path(home);
        settings.uci_mode = 1;
        driver.quit = 0;
        driver.auto_reply = driver.self_play = 0;
        search_run.stop = 0;
        hash_table.mode = HASH_ON;
        write_search_state(0);
    }
    // Executes the line and returns what it printed.
    static std::string run(const std::string &line) {
        testing::internal::CaptureStdout();
        console_command(line.c_str());
        return testing::internal::GetCapturedStdout();
    }
    static void play(const std::vector<std::string> &moves) {
        for (const std::string &move : moves) EXPECT_EQ(run(move).find("invalid"), std::string::npos) << move;
    }
    static std::string fen() { return fen_of(&root_thread_state->position); }
    static int game_ply() { return root_thread_state->game.game_ply; }
    // The board as `bd` prints it.
    static std::string board() { return run("bd"); }
    // The line prints this text, then the board as it is afterwards, then the other text.
    static void expect_board(const std::string &line, const std::string &before, const std::string &after = "") {
        const std::string printed = run(line);
        EXPECT_EQ(printed, before + board() + after) << line;
    }

    std::filesystem::path home;
    ScratchDirectory scratch;
};
