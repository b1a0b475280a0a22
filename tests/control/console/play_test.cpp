// Moves as a person types them.
#include "control/console/play.h"

#include "support/console_fixture.h"

namespace {

using ConsolePlay = ConsoleFixture;

TEST_F(ConsolePlay, MovesInEverySpelling) {
    expect_board("e4", "1. move e4\n");
    expect_board("move e7e5", "1. move e7e5\n");
    expect_board("Ngf3 and more", "2. move Ngf3\ninvalid: a1a1\n");
    expect_board("  Nc6", "2. move Nc6\n");
    play({"f1b5", "a6", "O-O"});
    EXPECT_EQ(fen(), "r1bqkbnr/1ppp1ppp/p1n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQ1RK1 b kq -");
    EXPECT_EQ(game_ply(), 7);
}

TEST_F(ConsolePlay, AmbiguousMoveNamesTheLastMatch) {
    run("fen 7k/8/8/8/8/5N2/8/KN6 w - -");
    EXPECT_EQ(run("Nd2"), "ambiguous move\ninvalid: f3d2\n");
    expect_board("Nbd2", "1. move Nbd2\n");
}

TEST_F(ConsolePlay, PromotionsPrintWithAnEqualsSign) {
    run("fen 7k/4P3/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(run("e8n").rfind("1. move e8=N\n", 0), 0u);
    run("undo");
    EXPECT_EQ(run("]").rfind("1. move e7e8=N\n", 0), 0u);
}

// Marks of check, mate and comment, move numbers and results are allowed in every spelling of a move.
TEST_F(ConsolePlay, MarksAndNumbers) {
    expect_board("1. e4", "1. move e4\n");
    expect_board("1... e5!", "1. move e5\n");
    expect_board("2.Bc4!?", "2. move Bc4\n");
    expect_board("2...Nc6?!", "2. move Nc6\n");
    expect_board("Qh5??", "3. move Qh5\n");
    expect_board("Nf6", "3. move Nf6\n");
    expect_board("Qxf7#", "4. move Qxf7\n", "Checkmate: White wins.\n");
    run("fen r3k3/1P6/8/8/8/8/8/4K3 w - -");
    expect_board("move bxa8=Q+!", "1. move bxa8=Q\n");
}

TEST_F(ConsolePlay, SeveralMovesOnOneLine) {
    expect_board("e4 e5", "1. move e4\n1. move e5\n");
    expect_board("2. Nf3 Nc6 3.Bb5 a6 1/2-1/2", "2. move Nf3\n2. move Nc6\n3. move Bb5\n3. move a6\n");
    expect_board("move Ba4 Nf6", "4. move Ba4\n4. move Nf6\n");
    EXPECT_EQ(game_ply(), 8);
    // What comes before a text that can't be read is played, what comes after it is not.
    expect_board("O-O Nf9 b5", "5. move o-o\ninvalid: a1a1\n");
    EXPECT_EQ(game_ply(), 9);
    // More moves than a line has words, and more characters than a command.
    run("new");
    std::string line;
    for (int i = 0; i < 100; ++i) line += "Nf3 Nf6 Ng1 Ng8 ";
    EXPECT_NE(run(line).find("200. move Ng8\n"), std::string::npos);
    EXPECT_EQ(game_ply(), 400);
}

TEST_F(ConsolePlay, WhatIsNoMove) {
    for (const char *line : {"1.", "1", "1-0", "*", "!", "#", "1... !?", "e4e5", "move", "move  ", "Nf3#f"})
        EXPECT_EQ(run(line), "invalid: a1a1\n") << line;
    EXPECT_EQ(run(std::string(100000, '#')), "invalid: a1a1\n");
    EXPECT_EQ(run("1." + std::string(100000, '.')), "invalid: a1a1\n");
    EXPECT_EQ(game_ply(), 0);
}

}  // namespace
