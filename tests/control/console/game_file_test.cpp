// Positions from test.epd, games from and to PGN files.
#include "control/console/game_file.h"
#include "support/positions.h"

#include <filesystem>

#include "board/fen.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "support/console_fixture.h"
#include "support/places.h"

namespace {

using ConsoleGameFile = ConsoleFixture;

TEST_F(ConsoleGameFile, Save) {
    play({"e4", "e5", "Nf3", "Nc6", "Bb5", "a6", "Bxc6", "dc", "O-O", "Bg4", "h3", "Bxf3", "Qxf3"});
    const std::string before = fen();
    EXPECT_EQ(run("save"), "");
    EXPECT_EQ(fen(), before);
    EXPECT_EQ(game_ply(), 13);
    const std::string game = "[Event \"Unknown\"]\ne4 e5 Nf3 Nc6 Bb5 a6 Bxc6 dxc6 O-O Bg4 h3 \nBxf3 Qxf3 \n\n";
    EXPECT_EQ(read_text("tmp.pgn"), game);
    run("save");
    EXPECT_EQ(read_text("tmp.pgn"), game + game);
    expect_board("jump 1", "");  // the record is whole
    run("jump 99");
    EXPECT_EQ(game_ply(), 13);
}

TEST_F(ConsoleGameFile, SaveOfAnEmptyGameAndWithoutAFile) {
    run("save");
    EXPECT_EQ(read_text("tmp.pgn"), "[Event \"Unknown\"]\n\n\n");
    std::filesystem::remove("tmp.pgn");
    std::filesystem::create_directory("tmp.pgn");
    play({"e4"});
    EXPECT_EQ(run("save"), "can't open tmp.pgn: " + directory_reason() + "\n");
    EXPECT_EQ(game_ply(), 1);
}

constexpr const char *TWO_GAMES =
    "[Event \"First\"]\n[White \"Alpha\"]\n[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 {a [comment]} Nc6 1-0\n\n"
    "[Event \"Second\"]\n[White \"Beta\"]\n[Black \"Alphabet\"]\n\n1. d4 d5\n2. c4 *\n\n"
    "[Event \"Third\"]\n[White \"Gamma\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K - 0 1\"]\n\n1. O-O Kd7 2. Re1 Zz9 3. Re2 *\n";

TEST_F(ConsoleGameFile, Load) {
    write_file("games.pgn", TWO_GAMES);
    settings.move_time = 33.0f;
    expect_board("load games.pgn Alpha", "loading games.pgn, tag Alpha\nread 1 games\n\n");
    EXPECT_EQ(fen(), "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -");
    EXPECT_EQ(game_clock.remaining[0], 33.0f);
    EXPECT_EQ(root_thread_state->game.game_stack[game_ply()].move, 0);
    // The first header block with the tag in any of its lines, and only that block's game.
    run("load games.pgn Alphabet");
    EXPECT_EQ(fen(), "rnbqkbnr/ppp1pppp/8/3p4/2PP4/8/PP2PPPP/RNBQKBNR b KQkq c3");
    run("jump 2");
    EXPECT_EQ(game_ply(), 2);
    run("jump 9");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(ConsoleGameFile, LoadFromAPositionUpToABadMove) {
    write_file("games.pgn", TWO_GAMES);
    expect_board("load games.pgn Gamma",
                 "loading games.pgn, tag Gamma\n"
                 "can't parse move 2. Zz9 in game #1  8/3k4/8/8/8/8/8/4R1K1 b - -\nread 1 games\n\n");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(ConsoleGameFile, LoadOfWhatIsNotThere) {
    play({"e4"});
    write_file("games.pgn", TWO_GAMES);
    write_file("games.txt", TWO_GAMES);
    const std::string here = board();
    EXPECT_EQ(run("load missing.pgn Alpha"),
              "loading missing.pgn, tag Alpha\ncan't open missing.pgn: No such file or directory\n" + here);
    const std::string no_name = "load needs the name of a .pgn file and a text from the game's header lines\n";
    EXPECT_EQ(run("load games.txt Alpha"), "loading games.txt, tag Alpha\n" + no_name + here);
    EXPECT_EQ(run("load"), "loading , tag \n" + no_name + here);
    EXPECT_EQ(run("load games.pgn Al"),
              "loading games.pgn, tag Al\n"
              "load needs a text of at least 3 characters from the game's header lines\n" +
                  here);
    for (const char *tag : {"Omega", "comment"})
        EXPECT_EQ(run(std::string("load games.pgn ") + tag), std::string("loading games.pgn, tag ") + tag +
                                                                 "\nread 0 games\n\nno game of games.pgn has '" + tag +
                                                                 "' in its header lines\n" + here);
    std::filesystem::create_directory("dir.pgn");
    // Windows does not open a directory; elsewhere it reads as an empty file.
    const std::string answer = program_is_for_windows()
                                   ? "can't open dir.pgn: Permission denied\n"
                                   : "read 0 games\n\nno game of dir.pgn has 'Alpha' in its header lines\n";
    EXPECT_EQ(run("load dir.pgn Alpha"), "loading dir.pgn, tag Alpha\n" + answer + here);
}

TEST_F(ConsoleGameFile, LoadOfHardFiles) {
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

TEST_F(ConsoleGameFile, Get) {
    write_file("test.epd",
               ";id \"one\" a remark\n 4k3/8/8/8/8/8/8/4K3 w - - id \"one\";\n"
               "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"one\";\n4k3/8/8/8/8/8/8/4K2R w K - id \"one\";\n"
               "id \"two\"\n4k3/8/8/8/8/8/8/4K3 b - - 12 34 id \"three\";\r\n");
    expect_board("get one", "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"one\";\n");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    expect_board("get two", "id \"two\"\nthis line is too short for a position\n");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/4P3/4K3 w - -");
    expect_board("get four", "no position of test.epd has id \"four\"\n");
    expect_board("get", "get needs the id of a position in test.epd\n");
    EXPECT_EQ(
        run("get three").rfind("4k3/8/8/8/8/8/8/4K3 b - - 12 34 id \"three\";\n4k3/8/8/8/8/8/8/4K3 b - - 12 0\n", 0),
        0u);
}

TEST_F(ConsoleGameFile, GetClearsTheHashWithoutAFileToo) {
    Position *position = &root_thread_state->position;
    int score = 0, eval = 0, depth = 0, bound = 0;
    Move move = 0;
    hash_store(position, 1, 7, word_of("e2e4"), 10, 20, BOUND_EXACT);
    expect_board("get one", "can't open test.epd: No such file or directory\n");
    EXPECT_FALSE(hash_probe(position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(fen(), STARTPOS_FEN);
}

// Comments take no room: 222 half-moves, each with a comment, and lines of very different length.
TEST_F(ConsoleGameFile, LoadOfALongGameWithComments) {
    std::string text = "[Event \"x\"]\n[White \"Long\"]\n[Termination \"time forfeit\"]\n\n";
    const char *moves[4] = {"Nf3", "Nf6", "Ng1", "Ng8"};
    for (int i = 0; i < 220; ++i) {
        if (i % 2 == 0) text += std::to_string(i / 2 + 1) + ".";
        text += std::string(moves[i % 4]) + " {" + std::string(static_cast<std::size_t>(60 + 17 * i % 300), 'c') +
                (i % 5 == 0 ? "\n[%clk 0:01:00]\n} $1 (3. a4 (3. b4 {)} Nf6) a5) " : "}\n");
    }
    text += "111. e4! ; the rest of this line is a comment: 111... d5\n e5 *\n\n[Event \"y\"]\n\n1. d4 *\n";
    write_file("long.pgn", text);
    expect_board("load long.pgn Long", "loading long.pgn, tag Long\nread 1 games\n\n");
    EXPECT_EQ(game_ply(), 222);
    EXPECT_EQ(fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6");
}

TEST_F(ConsoleGameFile, LoadSaysWhenAGameIsTooLong) {
    std::string text = "[White \"Lines\"]\n\n";
    for (int i = 0; i < 200; ++i) text += "Nf3 Nf6 Ng1 Ng8\n";
    write_file("lines.pgn", text);
    EXPECT_NE(run("load lines.pgn Lines").find("the game is long: its first 591 half-moves were read\n"),
              std::string::npos);
    EXPECT_EQ(game_ply(), 591);
}

// What save writes, load reads back: the start position, castling, and knights that the short form would
// confuse.
TEST_F(ConsoleGameFile, SaveFromAPosition) {
    run("fen 4k2r/8/8/8/5N2/8/8/1N2K2R w Kk - 7 9");
    play({"Nbd2", "O-O", "o-o", "Kh8", "Nf3"});
    const std::string end = fen();
    EXPECT_EQ(run("save now"), "save takes no file name: the game goes to tmp.pgn\n");
    EXPECT_EQ(read_text("tmp.pgn"),
              "[Event \"Unknown\"]\n[SetUp \"1\"]\n[FEN \"4k2r/8/8/8/5N2/8/8/1N2K2R w Kk - 7 1\"]\n"
              "Nd2 O-O O-O Kh8 Nf3 \n\n");
    run("new");
    run("load tmp.pgn Unknown");
    EXPECT_EQ(fen(), end);
    std::filesystem::remove("tmp.pgn");
    run("fen 7k/8/8/8/8/5N2/8/KN6 w - -");  // both knights reach d2, from other files and ranks
    play({"Nbd2"});
    const std::string after = fen();
    run("save");
    run("new");
    run("load tmp.pgn Unknown");
    EXPECT_EQ(fen(), after);
    EXPECT_EQ(game_ply(), 1);
}

}  // namespace
