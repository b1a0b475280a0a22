// Setting positions up, walking through the game, the end of a game.
#include "control/console/game.h"
#include "support/positions.h"

#include "board/fen.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "support/console_fixture.h"

namespace {

using ConsoleGame = ConsoleFixture;

TEST_F(ConsoleGame, New) {
    play({"e4", "e5"});
    settings.move_time = 12.5f;
    game_clock.remaining[0] = game_clock.remaining[1] = 1.0f;
    const std::string printed = run("new");
    EXPECT_EQ(printed, board());
    EXPECT_EQ(fen(), STARTPOS_FEN);
    EXPECT_EQ(game_clock.remaining[0], 12.5f);
    EXPECT_EQ(game_clock.remaining[1], 12.5f);
    EXPECT_EQ(run("undo"), "");
    EXPECT_EQ(run("]"), "");
}

TEST_F(ConsoleGame, Fen) {
    expect_board("fen 4k3/8/8/8/8/8/8/4K2R w K - 7 9", "");
    EXPECT_EQ(fen(), "4k3/8/8/8/8/8/8/4K2R w K -");
    EXPECT_EQ(run("fen").rfind("8/8/8/8/8/8/8/8 w - - 0 0\n", 0), 0u);
    EXPECT_EQ(run("e4"), "invalid: a1a1\n");
}

TEST_F(ConsoleGame, PositionsThatNoSearchStands) {
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

TEST_F(ConsoleGame, UndoAndRedo) {
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
    // A new move is the end of what can be redone, whatever an older line left after it.
    run("undo");
    run("undo");
    play({"c5"});
    EXPECT_EQ(run("]"), "");
}

TEST_F(ConsoleGame, Jump) {
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

TEST_F(ConsoleGame, LongGamesCanBeWalked) {
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

// perft and pv make moves on the game's own position; `]` and jump must not find them.
TEST_F(ConsoleGame, ReportsLeaveTheRecordedMovesAlone) {
    play({"e4", "e5", "Nf3"});
    run("undo");
    run("undo");
    run("perft 3");
    EXPECT_EQ(run("]").rfind("1... move e7e5\n", 0), 0u);
    EXPECT_EQ(run("]").rfind("2. move g1f3\n", 0), 0u);
    EXPECT_EQ(run("]"), "");
    // A line in the hash table for `pv` to walk: Nc6 is in it, and was never played.
    Position *position = &root_thread_state->position;
    hash_store(position, 1, 7, word_of("b8c6"), 10, 20, BOUND_EXACT);
    EXPECT_EQ(run("pv").rfind("PV: b8c6\n", 0), 0u);
    EXPECT_EQ(run("]"), "");
    run("perft 4");
    run("jump 99");
    EXPECT_EQ(game_ply(), 3);
}

TEST_F(ConsoleGame, RedoEndsWithTheStack) {
    const Move moves[4] = {word_of("g1f3"), word_of("g8f6"), word_of("f3g1"), word_of("f6g8")};
    for (int i = 0; i < GAME_STACK_SIZE; ++i) root_thread_state->game.game_stack[i].move = moves[i % 4];
    for (int i = 0; i < GAME_STACK_SIZE + 100; ++i) run("]");
    EXPECT_EQ(game_ply(), GAME_STACK_LIMIT);
    run("jump 1");
    run("jump 100000");
    EXPECT_LE(game_ply(), GAME_STACK_LIMIT);
}

TEST_F(ConsoleGame, EndsOfTheGameAreAnnounced) {
    struct End {
        const char *fen, *move, *announcement;
    };
    for (const End &row :
         {End{"7k/8/6KQ/8/8/8/8/8 w - -", "Qg7", "Checkmate: White wins.\n"},
          End{"8/8/8/8/8/6kq/8/7K b - -", "Qg2", "Checkmate: Black wins.\n"},
          End{"7k/8/6K1/8/8/8/5Q2/8 w - -", "Qf7", "Stalemate: draw.\n"},
          End{"4k3/8/8/8/8/8/8/R3K3 w - - 99 90", "Ra2", "Draw by the fifty-move rule.\n"},
          End{"6k1/8/6K1/8/8/8/8/R7 w - - 99 90", "Ra8", "Checkmate: White wins.\n"},  // mate comes first
          End{"4k3/8/8/8/8/8/4p3/4K3 w - -", "Kxe2", "Draw: neither side can mate.\n"},
          End{"4k3/8/8/8/8/8/3np3/4K1B1 w - -", "Kxd2", ""},
          End{"4k3/8/8/8/8/4p3/8/3bK1B1 w - -", "Kxd1", ""},                                // the pawn is left
          End{"4kb2/8/8/8/8/8/4p3/4K1B1 w - -", "Kxe2", "Draw: neither side can mate.\n"},  // both on dark squares
          End{"2b1k3/8/8/8/8/8/4p3/4K1B1 w - -", "Kxe2", ""},                               // on either colour
          End{"4k3/8/8/8/8/8/4p3/4KNN1 w - -", "Kxe2", ""}}) {
        run(std::string("fen ") + row.fen);
        const std::string printed = run(row.move);
        const std::size_t at = printed.rfind("\n\n");  // the board ends with an empty line
        ASSERT_NE(at, std::string::npos);
        EXPECT_EQ(printed.substr(at + 2), row.announcement) << row.fen;
    }
    run("new");
    play({"Nf3", "Nf6", "Ng1", "Ng8", "Nf3", "Nf6", "Ng1"});
    const std::string repeated = "Draw by threefold repetition.\n";
    expect_board("Ng8", "4. move Ng8\n", repeated);
    run("undo");
    expect_board("]", "4... move f6g8\n", repeated);
}

}  // namespace
