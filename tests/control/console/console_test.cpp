// Console lines executed in place: what each word prints and does.
#include "control/console/console.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "board/thread_state.h"
#include "control/game_driver.h"
#include "control/settings.h"
#include "eval/network_eval.h"
#include "search/hash_table.h"
#include "support/engine.h"
#include "support/positions.h"
#include "support/program.h"

namespace {

class Console : public testing::Test {
protected:
    // The files that commands name by themselves lie in the working directory.
    void SetUp() override {
        start_engine();
        settings.uci_mode = 0;
        home = std::filesystem::current_path();
        std::filesystem::current_path(scratch.path);
    }
    void TearDown() override {
        std::filesystem::current_path(home);
        settings.uci_mode = 1;
        settings.quit_flag = 0;
        auto_reply = self_play = 0;
        stop_search = 0;
        hash_enabled = 1;
        write_search_state(0);
    }
    // Executes the line; what it printed.
    static std::string run(const std::string &line) {
        std::string text = line;
        testing::internal::CaptureStdout();
        console_command(text.data());
        return testing::internal::GetCapturedStdout();
    }
    static void play(const std::vector<std::string> &moves) {
        for (const std::string &move : moves) EXPECT_EQ(run(move).rfind("invalid", 0), std::string::npos) << move;
    }
    static std::string fen() { return fen_of(&root_thread_state->position); }
    static int game_ply() { return root_thread_state->game_ply; }
    // The board as `bd` prints it.
    static std::string board() { return run("bd"); }
    // The line prints this text and then the board as it stands afterwards.
    static void expect_board(const std::string &line, const std::string &before) {
        const std::string printed = run(line);
        EXPECT_EQ(printed, before + board()) << line;
    }

    std::filesystem::path home;
    ScratchDirectory scratch;
};

TEST_F(Console, EmptyLinesAreNothing) {
    EXPECT_EQ(run(""), "");
    EXPECT_EQ(run("     "), "");
}

TEST_F(Console, WhatIsNoCommandIsAMove) {
    EXPECT_EQ(run("xyzzy"), "invalid: a1a1\n");
    EXPECT_EQ(run("isready"), "invalid: a1a1\n");
    EXPECT_EQ(run("move"), "invalid: a1a1\n");
    EXPECT_EQ(run(std::string(100000, 'e')), "invalid: a1a1\n");
    EXPECT_EQ(run("\x01\xff\xfe"), "invalid: a1a1\n");
    EXPECT_EQ(run("e5"), "invalid: a1a1\n");
    EXPECT_EQ(game_ply(), 0);
}

TEST_F(Console, MovesInEverySpelling) {
    expect_board("e4", "1. move e4\n");
    expect_board("move e7e5", "1. move e7e5\n");
    expect_board("Ngf3 and more", "2. move Ngf3\n");
    expect_board("  Nc6", "2. move Nc6\n");
    play({"f1b5", "a6", "O-O"});
    EXPECT_EQ(fen(), "r1bqkbnr/1ppp1ppp/p1n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQ1RK1 b kq -");
    EXPECT_EQ(game_ply(), 7);
}

TEST_F(Console, AmbiguousMoveNamesTheLastMatch) {
    run("fen 7k/8/8/8/8/5N2/8/KN6 w - -");
    EXPECT_EQ(run("Nd2"), "ambiguous move\ninvalid: f3d2\n");
    expect_board("Nbd2", "1. move Nbd2\n");
}

TEST_F(Console, PromotionsPrintWithAnEqualsSign) {
    run("fen 7k/4P3/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(run("e8n").rfind("1. move e8=N\n", 0), 0u);
    run("undo");
    EXPECT_EQ(run("]").rfind("1. move e7e8=N\n", 0), 0u);
}

TEST_F(Console, OnlyQuitAndStopActDuringASearch) {
    write_search_state(SEARCH_RUN);
    for (const char *line : {"e4", "new", "bd", "fen 8/8/8/8/8/8/8/8 w - -", "go", "perft 3", "set depth 3"})
        EXPECT_EQ(run(line), "") << line;
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(run("."), "");
    EXPECT_EQ(stop_search, 1);
    run("quit");
    EXPECT_EQ(settings.quit_flag, 1);
}

TEST_F(Console, StopWhileIdleDoesNothing) {
    EXPECT_EQ(run("."), "");
    EXPECT_EQ(stop_search, 0);
}

TEST_F(Console, Quit) {
    EXPECT_EQ(run("quit"), "");
    EXPECT_EQ(settings.quit_flag, 1);
}

TEST_F(Console, New) {
    play({"e4", "e5"});
    settings.move_time = 12.5f;
    side_clock[0] = side_clock[1] = 1.0f;
    const std::string printed = run("new");
    EXPECT_EQ(printed, board());
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(side_clock[0], 12.5f);
    EXPECT_EQ(side_clock[1], 12.5f);
    EXPECT_EQ(run("undo"), "");
    EXPECT_EQ(run("]"), "");
}

TEST_F(Console, Fen) {
    expect_board("fen 4k3/8/8/8/8/8/8/4K2R w K - 7 9", "");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/8/4K2R w K -");
    EXPECT_EQ(run("fen").rfind("8/8/8/8/8/8/8/8 w - - 0 0\n", 0), 0u);
    EXPECT_EQ(run("e4"), "invalid: a1a1\n");
}

TEST_F(Console, PositionsThatNoSearchStands) {
    for (const char *text : {"fen", "fen 8/8/8/8/8/8/8/4K3 w - -", "fen 4k3/8/8/8/8/8/8/4R2K w - -",
                             "fen 4k3/8/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/8/8/4K3 w - -"}) {
        run(text);
        for (const char *line : {"perft 3", "ev", "ev2", "sp", "pv"})
            EXPECT_EQ(run(line).rfind("info string can't search this position: ", 0), 0u) << text << " " << line;
        for (const char *line :
             {"swap", "bd", "undo", "]", "jump 3", "save", "reverse", "e4", "Ke2", "set debug 1", "bd"})
            run(line);
        run("set debug 0");
    }
    EXPECT_EQ(read_search_state(), 0);
}

TEST_F(Console, SearchesAreLeftToTheDriver) {
    EXPECT_EQ(run("mv"), "");
    EXPECT_EQ(read_search_state(), SEARCH_GO);
    EXPECT_EQ(auto_reply, 1);
    EXPECT_EQ(settings.own_book, 1);
    write_search_state(0);
    settings.ponder = 1;
    run("self");
    EXPECT_EQ(read_search_state(), SEARCH_GO);
    EXPECT_EQ(self_play, 1);
    EXPECT_EQ(settings.ponder, 0);
}

TEST_F(Console, Go) {
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
    for (const Depth &row :
         {Depth{"go 5", 5}, Depth{"go 81", 80}, Depth{"go 0", 0}, Depth{"go -3", 0}, Depth{"an x", 0}}) {
        run(row.line);
        EXPECT_EQ(settings.max_depth, row.depth) << row.line;
        write_search_state(0);
    }
}

TEST_F(Console, GoClearsTheHashUnlessItIsKept) {
    Position *position = &root_thread_state->position;
    int score = 0, eval = 0, depth = 0, bound = 0;
    Move move = 0;
    const auto stored = [&] { return hash_probe(position, &score, &eval, &depth, &move, &bound); };
    hash_store(position, 1, 7, make_word(12, 28), 10, 20, BOUND_EXACT);
    ASSERT_TRUE(stored());
    run("set hash 2");
    run("go");
    write_search_state(0);
    EXPECT_TRUE(stored());
    run("set hash 1");
    run("go");
    EXPECT_FALSE(stored());
}

TEST_F(Console, UndoAndRedo) {
    EXPECT_EQ(run("undo"), "");
    EXPECT_EQ(run("["), "");
    play({"e4", "e5", "Nf3"});
    std::string printed = run("undo");
    EXPECT_EQ(printed, board());
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6");
    run("[");
    expect_board("]", "1... move e7e5\n");
    expect_board("]", "2. move g1f3\n");
    EXPECT_EQ(run("]"), "");
    // A new move is the end of what can be redone, whatever an older line left behind it.
    run("undo");
    run("undo");
    play({"c5"});
    EXPECT_EQ(run("]"), "");
}

TEST_F(Console, Jump) {
    play({"e4", "e5", "Nf3", "Nc6", "Bb5"});
    expect_board("jump 1", "");
    EXPECT_EQ(fen(), STARTPOS_FEN);
    run("jump 3");
    EXPECT_EQ(game_ply(), 4);
    EXPECT_EQ(fen(), "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -");
    run("jump 2");
    EXPECT_EQ(game_ply(), 2);
    run("jump 99");
    EXPECT_EQ(game_ply(), 5);
    for (const char *line : {"jump", "jump 0", "jump -5", "jump x"}) {
        run("jump 2");
        run(line);
        EXPECT_EQ(game_ply(), 0) << line;
    }
}

TEST_F(Console, LongGamesCanBeWalked) {
    for (int i = 0; i < 300; ++i) play({"Nf3", "Nf6", "Ng1", "Ng8"});
    EXPECT_EQ(fen(), STARTPOS_FEN);
    run("jump 1");
    EXPECT_EQ(game_ply(), 0);
    run("jump 400");
    EXPECT_GT(game_ply(), 400);
    run("]");
    play({"e5"});
    EXPECT_EQ(run("]"), "");
}

TEST_F(Console, Save) {
    play({"e4", "e5", "Nf3", "Nc6", "Bb5", "a6", "Bxc6", "dc", "O-O", "Bg4", "h3", "Bxf3", "Qxf3"});
    const std::string before = fen();
    EXPECT_EQ(run("save"), "");
    EXPECT_EQ(fen(), before);
    EXPECT_EQ(game_ply(), 13);
    const std::string game = "[Event \"Unknown\"]\ne4 e5 Nf3 Nc6 Bb5 a6 Bxc6 dxc6 o-o Bg4 h3 \nBxf3 Qxf3 \n\n";
    EXPECT_EQ(read_file("tmp.pgn"), game);
    run("save");
    EXPECT_EQ(read_file("tmp.pgn"), game + game);
    expect_board("jump 1", "");  // the record is whole
    run("jump 99");
    EXPECT_EQ(game_ply(), 13);
}

TEST_F(Console, SaveOfAnEmptyGameAndWithoutAFile) {
    run("save");
    EXPECT_EQ(read_file("tmp.pgn"), "[Event \"Unknown\"]\n\n\n");
    std::filesystem::remove("tmp.pgn");
    std::filesystem::create_directory("tmp.pgn");
    play({"e4"});
    EXPECT_EQ(run("save"), "");
    EXPECT_EQ(game_ply(), 1);
}

constexpr const char *TWO_GAMES =
    "[Event \"First\"]\n[White \"Alpha\"]\n[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 {a [comment]} Nc6 1-0\n\n"
    "[Event \"Second\"]\n[White \"Beta\"]\n[Black \"Alphabet\"]\n\n1. d4 d5\n2. c4 *\n\n"
    "[Event \"Third\"]\n[White \"Gamma\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K - 0 1\"]\n\n1. O-O Kd7 2. Re1 Zz9 3. Re2 *\n";

TEST_F(Console, Load) {
    write_file("games.pgn", TWO_GAMES);
    settings.move_time = 33.0f;
    expect_board("load games.pgn Alpha", "loading games.pgn, tag Alpha\nread 1 games\n\n");
    EXPECT_EQ(fen(), "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -");
    EXPECT_EQ(side_clock[0], 33.0f);
    EXPECT_EQ(root_thread_state->game_stack[game_ply()].move, 0);
    // The first header block with the tag in any of its lines, and only that block's game.
    run("load games.pgn Alphabet");
    EXPECT_EQ(fen(), "rnbqkbnr/ppp1pppp/8/3p4/2PP4/8/PP2PPPP/RNBQKBNR b KQkq c3");
    run("jump 2");
    EXPECT_EQ(game_ply(), 2);
    run("jump 9");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(Console, LoadFromAPositionUpToABadMove) {
    write_file("games.pgn", TWO_GAMES);
    expect_board("load games.pgn Gamma",
                 "loading games.pgn, tag Gamma\n"
                 "can't parse move 2. Zz9 in game #1  8/3k4/8/8/8/8/8/4R1K1 b - -\nread 1 games\n\n");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(Console, LoadOfWhatIsNotThere) {
    play({"e4"});
    write_file("games.pgn", TWO_GAMES);
    write_file("games.txt", TWO_GAMES);
    const std::string here = board();
    EXPECT_EQ(run("load missing.pgn Alpha"), "loading missing.pgn, tag Alpha\n" + here);
    EXPECT_EQ(run("load games.txt Alpha"), "loading games.txt, tag Alpha\n" + here);
    EXPECT_EQ(run("load games.pgn Al"), "loading games.pgn, tag Al\n" + here);
    EXPECT_EQ(run("load"), "loading , tag \n" + here);
    EXPECT_EQ(run("load games.pgn Omega"), "loading games.pgn, tag Omega\nread 0 games\n\n" + here);
    EXPECT_EQ(run("load games.pgn comment"), "loading games.pgn, tag comment\nread 0 games\n\n" + here);
    std::filesystem::create_directory("dir.pgn");
    EXPECT_EQ(run("load dir.pgn Alpha"), "loading dir.pgn, tag Alpha\nread 0 games\n\n" + here);
}

TEST_F(Console, LoadOfHardFiles) {
    // Lines without end, a game longer than the buffer, binary noise, CR LF.
    std::string moves;
    for (int i = 0; i < 3000; ++i) moves += "Nf3 Nf6 Ng1 Ng8 ";
    write_file("long.pgn", "[Event \"" + std::string(20000, 'x') + "\"]\n[White \"Long\"]\n\n" + moves + "\n" + moves);
    EXPECT_NE(run("load long.pgn Long").find("read 1 games"), std::string::npos);
    std::string lines = "[White \"Lines\"]\n\n";
    for (int i = 0; i < 3000; ++i) lines += "Nf3 Nf6 Ng1 Ng8\n";
    write_file("lines.pgn", lines);
    EXPECT_NE(run("load lines.pgn Lines").find("read 1 games"), std::string::npos);
    EXPECT_EQ(fen().rfind("rnbqkb", 0), 0u);
    EXPECT_GE(game_ply(), 191);  // the oldest records went when the stack was full
    std::string noise = "[White \"Noise\"]\n";
    for (int i = 0; i < 5000; ++i) noise += static_cast<char>(i * 7919 % 251 + 1);
    write_file("noise.pgn", noise);
    run("load noise.pgn Noise");
    write_file("crlf.pgn", "[Event \"x\"]\r\n[White \"Windows\"]\r\n\r\n1. e4 e5\r\n2. Nf3 *\r\n");
    run("load crlf.pgn Windows");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(Console, Get) {
    write_file("test.epd",
               ";id \"one\" a remark\n 4k3/8/8/8/8/8/8/4K3 w - - id \"one\";\n"
               "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"one\";\n4k3/8/8/8/8/8/8/4K2R w K - id \"one\";\n"
               "id \"two\"\n4k3/8/8/8/8/8/8/4K3 b - - 12 34 id \"three\";\r\n");
    expect_board("get one", "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"one\";\n");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    expect_board("get two", "id \"two\"\n");  // under nine characters: no position
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    expect_board("get four", "");
    expect_board("get", "");
    EXPECT_EQ(
        run("get three").rfind("4k3/8/8/8/8/8/8/4K3 b - - 12 34 id \"three\";\n4k3/8/8/8/8/8/8/4K3 b - - 12 0\n", 0),
        0u);
}

TEST_F(Console, GetClearsTheHashWithoutAFileToo) {
    Position *position = &root_thread_state->position;
    int score = 0, eval = 0, depth = 0, bound = 0;
    Move move = 0;
    hash_store(position, 1, 7, make_word(12, 28), 10, 20, BOUND_EXACT);
    expect_board("get one", "");
    EXPECT_FALSE(hash_probe(position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(fen(), STARTPOS_FEN);
}

TEST_F(Console, HashLine) {
    expect_board("pv", "PV: \n\n");
    // Two moves of a line in the hash, then an end.
    Position *position = &root_thread_state->position;
    hash_store(position, 1, 7, make_word(12, 28), 10, 20, BOUND_EXACT);
    play({"e4"});
    hash_store(position, 1, 7, make_word(52, 36), 10, 20, BOUND_EXACT);
    run("undo");
    expect_board("pv", "PV: e2e4 e7e5\n\n");
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(game_ply(), 0);
}

TEST_F(Console, Swap) {
    EXPECT_EQ(run("swap"), "");
    run("fen 4k3/8/3p4/3Pp3/3N4/8/8/4K3 w - -");
    EXPECT_EQ(run("swap"), "sq= d4, swap1=  350\n");
    run("fen 4k3/8/3p4/4p3/3N4/2P5/8/4K3 b - -");
    EXPECT_EQ(run("swap"), "sq= d4, swap1=  250\n");
    run("fen 4k3/8/8/4p3/3N4/8/2P5/q3K3 w - -");  // the king in check
    EXPECT_EQ(run("swap"), "sq= e1, swap1= 9999\nsq= d4, swap1=  350\n");
    run("fen 8/8/3k4/4N3/5P2/8/8/4K3 w - -");  // a king never takes into a defended square
    EXPECT_EQ(run("swap"), "sq= e5, swap1=    0\n");
    run("fen 3r4/6k1/8/8/3R4/8/8/3RK3 w - -");  // rook for rook, and a rook for nothing
    EXPECT_EQ(run("swap"), "sq= d4, swap1=    0\nsq= d8, swap1=  550\n");
    run("fen 4k3/3r4/8/8/3R4/8/8/3RK3 w - -");  // a king can't take back what is attacked twice
    EXPECT_EQ(run("swap"), "sq= d4, swap1=    0\nsq= d7, swap1=  550\n");
}

TEST_F(Console, Reverse) {
    play({"e4"});
    const u64 key = root_thread_state->position.key;
    const std::string printed = run("reverse");
    EXPECT_EQ(printed, board());
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/8/8/PPPPPPPP/RNBQKBNR w - -");
    EXPECT_EQ(root_thread_state->position.key, key);  // stays as it was
    EXPECT_EQ(run("undo"), "");
    EXPECT_EQ(run("]"), "");
}

TEST_F(Console, SetWords) {
    run("set hash 0");
    EXPECT_EQ(hash_enabled, 0);
    run("set hash 2");
    EXPECT_EQ(hash_enabled, 2);
    EXPECT_EQ(run("set noise 2.5"), "");
    EXPECT_EQ(settings.info_min_time, 2.5f);
    run("set multipv 3");
    EXPECT_EQ(settings.multipv, 3);
    run("set xmultipvx 4");
    EXPECT_EQ(settings.multipv, 4);
    run("set multipv 0");
    EXPECT_EQ(settings.multipv, 1);
    run("set frc 1");
    EXPECT_EQ(settings.chess960, 1);
    run("set depth 200");
    EXPECT_EQ(settings.max_depth, 80);
    run("set depth 7");
    EXPECT_EQ(settings.max_depth, 7);
    run("set nodes 5000");
    EXPECT_EQ(settings.node_limit, 5000);
    EXPECT_EQ(settings.max_depth, 80);
    run("trace 3");
    EXPECT_EQ(settings.trace, 3);
    EXPECT_EQ(run("tag"), "");
    for (const char *line : {"set", "set nonsense 5", "set Depth 5", "set hash"}) EXPECT_EQ(run(line), "") << line;
}

TEST_F(Console, SetLevel) {
    EXPECT_EQ(run("set level 40 5:30 2.5"), "set level to 40 moves in 330.00 seconds, inc 2.50\n");
    EXPECT_EQ(settings.time_mode, 40);
    EXPECT_EQ(settings.move_time, 330.0f);
    EXPECT_EQ(settings.time_increment, 2.5f);
    EXPECT_EQ(side_clock[0], 330.0f);
    EXPECT_EQ(side_clock[1], 330.0f);
    EXPECT_EQ(run("set level 0 90 0"), "set level to 0 moves in 90.00 seconds, inc 0.00\n");
    EXPECT_EQ(run("set level"), "set level to 0 moves in 0.00 seconds, inc 0.00\n");
    EXPECT_EQ(run("set level x y:z nan"), "set level to 0 moves in 0.00 seconds, inc 0.00\n");
}

TEST_F(Console, SetNodeRate) {
    EXPECT_EQ(run("set target_nps 20000"), "target_nps set to 20000, Elo= 2835\n");
    EXPECT_EQ(target_nps, 20000.0f);
    EXPECT_EQ(settings.limit_strength, 1);
    EXPECT_EQ(settings.uci_elo, 2835);
    EXPECT_EQ(run("set target_nps 0"), "target_nps set to 1, Elo= 850\n");
}

TEST_F(Console, SetSelectivityOffAndBack) {
    default_settings = settings;
    default_settings.uci_mode = 1;
    settings.calibration_nps = 123.0f;
    EXPECT_EQ(run("set ss 0"), "selectivity set to OFF\n");
    EXPECT_EQ(settings.SEP_depth, 0);
    EXPECT_EQ(settings.NMP_depth, 99);
    EXPECT_EQ(settings.LMP_depth, 0);
    EXPECT_EQ(settings.LMR_depth, 99);
    run("set depth 5");
    EXPECT_EQ(run("set ss 1"), "set default Settings\n");
    EXPECT_EQ(settings.SEP_depth, 3);
    EXPECT_EQ(settings.NMP_depth, 3);
    EXPECT_EQ(settings.LMP_depth, 6);
    EXPECT_EQ(settings.LMR_depth, 3);
    EXPECT_EQ(settings.max_depth, 80);
    EXPECT_EQ(settings.uci_mode, 0);  // still the console, with its measured speed
    EXPECT_EQ(settings.calibration_nps, 123.0f);
}

TEST_F(Console, SetFields) {
    EXPECT_EQ(run("set NMP_depth 5"), "NMP_depth set to 5\n");
    EXPECT_EQ(run("set SEP_depth 6"), "SEP_depth set to 6\n");
    EXPECT_EQ(run("set FP_depth 7"), "FP_depth set to 7\n");
    EXPECT_EQ(run("set LMP_depth 8"), "LMP_depth set to 8\n");
    EXPECT_EQ(run("set LMR_depth 9"), "LMR_depth set to 9\n");
    EXPECT_EQ(run("set Selectivity 150"), "Selectivity set to 150\n");
    EXPECT_EQ(run("set contempt -20"), "contempt set to -20\n");
    EXPECT_EQ(run("set ponder 1"), "ponder set to 1\n");
    EXPECT_EQ(settings.NMP_depth, 5);
    EXPECT_EQ(settings.SEP_depth, 6);
    EXPECT_EQ(settings.FP_depth, 7);
    EXPECT_EQ(settings.LMP_depth, 8);
    EXPECT_EQ(settings.LMR_depth, 9);
    EXPECT_EQ(settings.selectivity, 150);
    EXPECT_EQ(settings.contempt, -20);
    EXPECT_EQ(settings.ponder, 1);
    EXPECT_EQ(run("set contempt 99999999999999999999"), "contempt set to 150\n");
}

TEST_F(Console, NetworkReport) {
    const std::string printed = run("ev2");
    EXPECT_EQ(printed.rfind("HL1wp nodes contributing more than 20 cp\n", 0), 0u);
    EXPECT_NE(printed.find("HL1bp nodes contributing more than 20 cp\n"), std::string::npos);
    const std::size_t at = printed.find("\n nneval= ");
    ASSERT_NE(at, std::string::npos);
    int total = 0, white = 0, black = 0, head = -1, low = 1, high = 0;
    ASSERT_EQ(std::sscanf(printed.c_str() + at,
                          "\n nneval= %d, ev_wp= %d, ev_bp= %d, output node= %d\n\n\n hmin= %d, hmax= %d\n\n", &total,
                          &white, &black, &head, &low, &high),
              6);
    EXPECT_NEAR(total, white + black, 1);
    EXPECT_EQ(head, 0);
    EXPECT_LT(low, high);
    // The two halves change places with the side to move; the sum is its score.
    play({"e4"});
    EXPECT_NE(run("ev2").find(" nneval= "), std::string::npos);
}

TEST_F(Console, EvaluationNamesTheLastMoveAndLeavesTheSettings) {
    settings.max_depth = 33;
    EXPECT_EQ(run("ev").find("last move was"), std::string::npos);
    play({"e4"});
    EXPECT_EQ(run("ev").rfind("last move was 1. e2e4\n", 0), 0u);
    play({"e5"});
    EXPECT_EQ(run("ev").rfind("last move was 1... e7e5\n", 0), 0u);
    play({"Nf3"});
    EXPECT_EQ(run("ev").rfind("last move was 2. g1f3\n", 0), 0u);
    EXPECT_EQ(settings.max_depth, 33);
    EXPECT_EQ(read_search_state(), 0);
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(Console, NetworkReportIsTheNetworksScore) {
    for (const char *text :
         {"fen r1bqk2r/pp2bppp/2n1pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2QK2R w KQkq -",
          "fen 3r1rk1/p2b3p/5b2/2pp2p1/4p3/6PP/P2BPPB1/1R3RK1 b - -", "fen 8/8/4k3/8/2R5/4K3/8/8 w - -"}) {
        run(text);
        const std::string printed = run("ev2");
        const std::size_t at = printed.find(" nneval= ");
        ASSERT_NE(at, std::string::npos);
        EXPECT_NEAR(std::atoi(printed.c_str() + at + 9), network_eval(root_thread_state), 1) << text;
    }
}

constexpr const char *TERMS_HEAD = "           white  black      md\npawns:  ";

TEST_F(Console, TermsBeforeEveryBoardWithDebugOn) {
    run("set debug 1");
    for (const char *line : {"bd", "undo"}) {
        if (!std::strcmp(line, "undo")) play({"e4"});
        EXPECT_EQ(run(line).rfind(TERMS_HEAD, 0), 0u) << line;
    }
    const std::string printed = run("e4");
    EXPECT_EQ(printed.rfind(std::string("1. move e4\n") + TERMS_HEAD, 0), 0u);
    EXPECT_LT(printed.find("nne= "), printed.find("rnbqkbnr/"));
    run("set debug 0");
    EXPECT_EQ(run("bd").rfind("rnbqkbnr/", 0), 0u);
}

TEST_F(Console, EvaluationReports) {
    const std::string terms = run("ev");
    ASSERT_NE(terms.find(TERMS_HEAD), std::string::npos);
    EXPECT_EQ(terms.find("hung pieces on:"), std::string::npos);
    EXPECT_EQ(terms.find("free pawns on:"), std::string::npos);
    const std::string table = terms.substr(terms.find(TERMS_HEAD));
    const std::string parameters = run("sp");
    EXPECT_EQ(parameters.compare(0, table.size(), table), 0);  // the same, and then the parameters
    EXPECT_NE(parameters.find("mtl_pawn                 100 ,  100\n"), std::string::npos);
    EXPECT_NE(parameters.find("\nKing \n"), std::string::npos);
    run("fen 6k1/8/P7/8/8/8/8/6K1 b - -");
    const std::string passer = run("ev");
    EXPECT_NE(passer.find("free pawns on:  a6\n"), std::string::npos);
    EXPECT_NE(passer.find(", mtl= -"), std::string::npos);  // from the view of the side to move
}

TEST_F(Console, WordsBeyondTheTenthAreDropped) {
    EXPECT_EQ(run("set depth 9 1 2 3 4 5 6 7 8 9 10 11 12"), "");
    EXPECT_EQ(settings.max_depth, 9);
}

}  // namespace
