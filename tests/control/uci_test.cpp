// UCI lines executed in place: what each word does to the settings, the clocks and the game.
#include <cstring>
#include <string>

#include "gtest/gtest.h"

#include "base/settings.h"
#include "board/fen.h"
#include "control/driver_state.h"
#include "control/uci.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "support/engine.h"

class Uci : public testing::Test {
protected:
    void SetUp() override { start_engine(); }
    void TearDown() override { write_search_state(0); }
    // Executes the line; what it printed.
    static std::string run(const std::string &line) {
        std::string text = line;
        testing::internal::CaptureStdout();
        command_dispatch(text.data());
        return testing::internal::GetCapturedStdout();
    }
    // A "go" and the state it leaves; idle again afterwards.
    static u16 go(const std::string &line) {
        run(line);
        const u16 state = read_search_state();
        write_search_state(0);
        return state;
    }
    static std::string fen() {
        char text[FEN_SIZE];
        position_to_fen(&root_thread_state->position, text, 0);
        return text;
    }
};

TEST_F(Uci, EmptyAndUnknownLinesDoNothing) {
    for (const char *line : {"", " ", "\n", "hello", "Isready", "isready1", "\tisready", "\xff\xfe\x01"})
        EXPECT_EQ(run(line), "") << line;
    EXPECT_EQ(run("isready"), "readyok\n");
    EXPECT_EQ(run("   isready now"), "readyok\n");
    EXPECT_EQ(run("isready\nquit"), "readyok\n");
    EXPECT_EQ(driver.quit, 0) << "the line ends at its first newline";
    EXPECT_EQ(run(std::string(100000, 'x')), "");
}

TEST_F(Uci, StopAndPonderhitWhileIdle) {
    EXPECT_EQ(run("stop"), "");
    EXPECT_EQ(search_run.stop, 0);
    EXPECT_EQ(run("ponderhit"), "");
    EXPECT_EQ(read_search_state(), 0);
    EXPECT_EQ(run("debug off"), "");
}

TEST_F(Uci, TheSearchAllowsFourWords) {
    write_search_state(SEARCH_PONDER);
    EXPECT_EQ(run("isready"), "readyok\n");
    EXPECT_EQ(run("uci"), "");
    EXPECT_EQ(run("ponderhit"), "");
    EXPECT_EQ(read_search_state(), SEARCH_RUN);
    published.pv[1] = 0;
    run("stop");
    EXPECT_EQ(read_search_state(), SEARCH_RUN | SEARCH_STOP);
    EXPECT_EQ(search_run.stop, 1) << "at once, without a move to answer with";
    run("quit");
    EXPECT_EQ(driver.quit, 1);
}

TEST_F(Uci, OtherCommandsDuringASearchEndTheProgram) {
    for (const char *line : {"setoption name Hash value 128", "ucinewgame", "position startpos", "go depth 1"}) {
        write_search_state(SEARCH_RUN);
        driver.quit = 0;
        const std::string word(line, std::strcspn(line, " "));
        EXPECT_EQ(run(line), "unexpected command " + word + ", stopping Tarn\n");
        EXPECT_EQ(driver.quit, 1);
        EXPECT_EQ(read_search_state(), SEARCH_RUN);
    }
    EXPECT_EQ(settings.hash_mb, 16);
}

TEST_F(Uci, SetoptionFindsItsKeywords) {
    EXPECT_EQ(run("setoption name Contempt value 20"), "info string Contempt set to 20\n");
    EXPECT_EQ(default_settings.contempt, 20);
    EXPECT_EQ(run("setoption name Contempt value -5 extra"), "info string Contempt set to -5\n");
    EXPECT_EQ(run("setoption name OwnBook_File value a name with value"),
              "info string OwnBook_File set to 'a name with value'\n");
    EXPECT_EQ(run("setoption name OwnBook_File"), "info string OwnBook_File set to ''\n");
    EXPECT_EQ(run("setoption name OwnBook_File value"), "info string OwnBook_File set to ''\n");
    EXPECT_EQ(run("setoption name OwnBook_File value "), "info string OwnBook_File set to ''\n");
    EXPECT_EQ(run("setoption name Clear Hash"), "info string Hash table cleared\n");
    EXPECT_EQ(run("setoption value 7 name MoveOverhead"), "info string MoveOverhead set to 7\n");
    for (const char *line : {"setoption", "setoption ", "setoption name", "setoption name ", "setoption value",
                             "setoption value 5", "setoption nameContempt", "setoption name Contempt  value 3"})
        EXPECT_EQ(run(line), "") << line;
    EXPECT_EQ(settings.contempt, -5);
}

TEST_F(Uci, LongNamesAndValues) {
    EXPECT_EQ(run("setoption name " + std::string(60000, 'n') + " value 5"), "");
    const std::string path(4096, 'v');
    EXPECT_EQ(run("setoption name OwnBook_File value " + path), "info string OwnBook_File set to '" + path + "'\n");
    EXPECT_EQ(run("setoption name OwnBook_File value " + std::string(60000, 'w')),
              "info string OwnBook_File not set: more than 4096 characters\n");
    EXPECT_EQ(settings.book_file, path);
}

TEST_F(Uci, GoReadsClocks) {
    EXPECT_EQ(go("go wtime 60000 btime 55500 winc 1000 binc 2000"), SEARCH_GO);
    EXPECT_EQ(settings.time_mode, 0);
    EXPECT_FLOAT_EQ(game_clock.remaining[0], 60.0f);
    EXPECT_FLOAT_EQ(game_clock.remaining[1], 55.5f);
    EXPECT_FLOAT_EQ(settings.time_increment, 1.0f);
    run("position startpos moves e2e4");
    go("go wtime -100 btime 0 winc 1000 binc 2000");
    EXPECT_EQ(game_clock.remaining[0], 0.0f);
    EXPECT_EQ(game_clock.remaining[1], 0.0f);
    EXPECT_FLOAT_EQ(settings.time_increment, 2.0f);
    go("go wtime 99999999999999999999 btime x");
    EXPECT_GT(game_clock.remaining[0], 1e15f);
    EXPECT_EQ(game_clock.remaining[1], 0.0f);
    go("go wtime");
    EXPECT_EQ(game_clock.remaining[0], 0.0f);
}

TEST_F(Uci, LimitsPersist) {
    go("go depth 5");
    EXPECT_EQ(settings.max_depth, 5);
    EXPECT_EQ(settings.time_mode, 1);
    EXPECT_EQ(settings.move_time, 1e7f);
    go("go nodes 1000");
    go("go wtime 1000 btime 1000 winc 100");
    EXPECT_EQ(settings.max_depth, 5);
    EXPECT_EQ(settings.node_limit, 1000);
    EXPECT_EQ(settings.time_mode, 0);
    go("go wtime 1000 btime 1000");
    EXPECT_FLOAT_EQ(settings.time_increment, 0.1f);
    go("go wtime 1000 btime 1000 movestogo 12");
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(settings.node_limit, NO_NODE_LIMIT);
    EXPECT_EQ(settings.time_mode, 40);
    EXPECT_EQ(game_clock.moves_to_go, 12);
    go("go depth 3");
    go("go nodes 77");
    go("go infinite");
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(settings.node_limit, NO_NODE_LIMIT);
    EXPECT_EQ(settings.time_increment, 0.0f);
    go("go movetime 250");
    EXPECT_FLOAT_EQ(settings.move_time, 0.25f);
    EXPECT_EQ(settings.time_mode, 1);
    go("go");
    EXPECT_EQ(settings.time_mode, 0);
}

TEST_F(Uci, GoValuesOutOfRange) {
    go("go depth 200");
    EXPECT_EQ(settings.max_depth, 80);
    go("go depth -3");
    EXPECT_EQ(settings.max_depth, 1);
    go("go depth 0");
    EXPECT_EQ(settings.max_depth, 1);
    go("go movestogo -1");
    EXPECT_EQ(game_clock.moves_to_go, 0) << "a count below nothing would divide by zero";
    go("go movestogo 9999999999");
    EXPECT_EQ(game_clock.moves_to_go, INT16_MAX);
    go("go nodes 99999999999999999999999999");
    EXPECT_EQ(settings.node_limit, INT64_MAX);
    go("go infinite");
}

TEST_F(Uci, GoStates) {
    EXPECT_EQ(go("go ponder wtime 1000 btime 1000"), SEARCH_GO_PONDER);
    EXPECT_EQ(go("go infinite"), SEARCH_GO);
    EXPECT_EQ(go("  go depth 4"), SEARCH_GO);
    EXPECT_EQ(settings.max_depth, 4) << "keywords are found after leading blanks too";
    EXPECT_EQ(go("go searchmoves e2e4 mate 3"), SEARCH_GO);
}

TEST_F(Uci, NewGameResetsClocksAndTable) {
    run("position startpos moves e2e4 e7e5");
    settings.time_increment = 3.0f;
    hash_table.age = 9;
    hash_table.fill = 0.4f;
    EXPECT_EQ(run("ucinewgame"), "");
    EXPECT_EQ(settings.time_mode, 0);
    EXPECT_EQ(game_clock.remaining[0], 60.0f);
    EXPECT_EQ(game_clock.remaining[1], 60.0f);
    EXPECT_EQ(settings.move_time, 60.0f);
    EXPECT_EQ(settings.time_increment, 0.0f);
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    EXPECT_EQ(hash_table.age, 0);
    EXPECT_EQ(hash_table.fill, 0.0f);
}

TEST_F(Uci, PositionsAndMoves) {
    EXPECT_EQ(run("position startpos moves e2e4 c7c5 g1f3"), "");
    EXPECT_EQ(fen(), "rnbqkbnr/pp1ppppp/8/2p5/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq -");
    EXPECT_EQ(root_thread_state->game.game_ply, 3);
    EXPECT_EQ(root_thread_state->game.game_stack[3].move, 0);
    run("position fen 4k3/8/8/8/8/8/4P3/4K3 b - - 5 9");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 b - -");
    EXPECT_EQ(root_thread_state->position.fifty, 5);
    run("position");
    run("position nothing moves e2e4");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 b - -") << "without startpos or fen nothing changes";
    run("position fen 4k3/8/8/8/8/8/4P3/4K3 w - - moves   e2e4    e8d8  ");
    EXPECT_EQ(root_thread_state->game.game_ply, 2);
    run("position startpos moves");
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
}

TEST_F(Uci, SpecialMovesOfAGame) {
    run("position fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - moves e1g1 e8c8");
    EXPECT_EQ(fen(), "2kr3r/8/8/8/8/8/8/R4RK1 w - -");
    run("position fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - moves e1a1 e8h8");
    EXPECT_EQ(fen(), "r4rk1/8/8/8/8/8/8/2KR3R w - -") << "king takes own rook";
    run("position fen 4k3/P6p/8/8/8/8/7P/4K3 w - - moves a7a8n");
    EXPECT_EQ(fen(), "N3k3/7p/8/8/8/8/7P/4K3 b - -");
    run("position fen 4k3/P6p/8/8/8/8/7P/4K3 w - - moves a7a8");
    EXPECT_EQ(fen(), "Q3k3/7p/8/8/8/8/7P/4K3 b - -") << "a queen without a letter";
    run("position fen 4k3/8/8/8/1p6/8/P7/4K3 w - - moves a2a4 b4a3");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/p7/8/4K3 w - -");
    run("position fen 1r2k3/8/8/8/8/8/8/R3K3 w Q - moves e1c1");
    EXPECT_EQ(fen(), "1r2k3/8/8/8/8/8/8/2KR4 b - -");
}

TEST_F(Uci, AMoveThatCannotBeMadeEndsTheList) {
    struct Case {
        const char *token;
    };
    for (const Case &c : {Case{"e2e5"},
                          {"e7e5"},
                          {"e3e4"},
                          {"g1g3"},
                          {"e1g1"},
                          {"e2e4q"},
                          {"e1f1q"},
                          {"xyz"},
                          {"e2"},
                          {"i9j9"},
                          {"0000"},
                          {"e1e2"},
                          {"\xff\xff\xff\xff"},
                          {"EEEEE"}}) {
        const std::string token = c.token;
        EXPECT_EQ(run("position startpos moves " + token + " d2d4"),
                  "info string move " + token + " can't be played here, the list of moves ends before it\n");
        EXPECT_EQ(root_thread_state->game.game_ply, 0);
    }
    EXPECT_EQ(run("position startpos moves e2e4 e2e4 e7e5"),
              "info string move e2e4 can't be played here, the list of moves ends before it\n");
    EXPECT_EQ(root_thread_state->game.game_ply, 1);
    EXPECT_EQ(root_thread_state->game.game_stack[1].move, 0);
    run("position startpos moves " + std::string(5000, 'z'));
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    // Leaving the own king in check, and castling out of it.
    run("position fen 4r1k1/8/8/8/8/8/4B3/R3K2R w KQ - moves e2d3");
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    run("position fen 4r1k1/8/8/8/8/8/8/R3K2R w KQ - moves e1g1");
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
    // A position without kings has no moves, and nothing is read out of bounds to find that.
    run("position fen 8/8/8/8/8/8/8/8 w - - moves e2e4");
    EXPECT_EQ(root_thread_state->game.game_ply, 0);
}

TEST_F(Uci, AGameLongerThanTheStackKeepsItsEnd) {
    std::string line = "position startpos moves";
    for (int i = 0; i < 1500; ++i) line += " g1f3 g8f6 f3g1 f6g8";
    EXPECT_EQ(run(line), "");
    EXPECT_EQ(fen(), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
    EXPECT_LT(root_thread_state->game.game_ply, GAME_STACK_SIZE);
    EXPECT_EQ(root_thread_state->game.game_ply % 2, 0);
}
