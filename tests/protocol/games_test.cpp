// Whole games between two running engines under a short clock: only legal moves, and nobody's time
// runs out. The test keeps the game on a board of its own.
#include "gtest/gtest.h"

#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "protocol/session.h"
#include "support/engine.h"
#include "support/sanitizers.h"
#include "support/timing.h"

// The legal moves of the position, as front ends write them.
static std::vector<std::pair<std::string, Move>> legal_moves(Position *position) {
    std::vector<std::pair<std::string, Move>> moves;
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry) {
        if (!is_move_legal(position, position->stm, entry->move)) continue;
        char text[MOVE_TEXT];
        move_to_coord(position, position->stm, entry->move, text);
        moves.emplace_back(text, entry->move);
    }
    return moves;
}

struct GameResult {
    int plies = 0;
    bool finished = false;   // by mate, stalemate or a draw by the rules
    std::string late_after;  // the moves before the one that took too long; empty when the clocks were kept
};

// The sanitizers slow the engine's small change down: what it can't avoid takes longer.
constexpr double CLOCK_SCALE = UNDER_SANITIZER ? 4.0 : 1.0;

// Plays on from the opening, at most so many plies; clocks in seconds. Stops at a lost clock, and at an illegal move,
// having failed the test.
static GameResult play_once(Program *engines[2], std::string moves, double seconds, double increment, int most_plies) {
    ThreadState *master = start_engine();
    Position *position = &master->position;
    GameResult result;
    increment *= CLOCK_SCALE;
    double clocks[2] = {seconds * CLOCK_SCALE, seconds * CLOCK_SCALE};
    const std::string opening = moves;
    for (std::size_t at = 0; at < opening.size(); at += 5)
        for (const auto &[text, move] : legal_moves(position))
            if (text == opening.substr(at, 4)) {
                make_game_move(position, move);
                break;
            }
    for (Program *engine : {engines[0], engines[1]}) engine->send("ucinewgame");
    for (; result.plies < most_plies; ++result.plies) {
        const auto legal = legal_moves(position);
        if (legal.empty() || is_game_drawn(position)) {
            result.finished = true;
            return result;
        }
        const int side = position->stm;
        Program *engine = engines[side];
        engine->send("position startpos moves " + moves);
        const std::string milliseconds[2] = {std::to_string(static_cast<int>(clocks[0] * 1000)),
                                             std::to_string(static_cast<int>(clocks[1] * 1000))};
        const std::string step = std::to_string(static_cast<int>(increment * 1000));
        const double start = now_seconds();
        engine->send("go wtime " + milliseconds[0] + " btime " + milliseconds[1] + " winc " + step + " binc " + step);
        const std::string answer = engine->wait_for("bestmove ");
        clocks[side] += increment - (now_seconds() - start);
        if (clocks[side] < 0) {
            result.late_after = moves;
            return result;
        }
        const std::string best = answer.substr(9, answer.find(' ', 9) - 9);
        Move found = 0;
        for (const auto &[text, move] : legal)
            if (text == best) found = move;
        if (!found) {
            ADD_FAILURE() << "illegal move " << best << " after " << moves;
            return result;
        }
        make_game_move(position, found);
        moves += " " + best;
    }
    return result;
}

// The same until a game is played in which no clock is lost.
static GameResult play_game(Program *engines[2], const std::string &moves, double seconds, double increment,
                            int most_plies) {
    GameResult result;
    EXPECT_TRUE(holds_once([&] {
        result = play_once(engines, moves, seconds, increment, most_plies);
        return result.late_after.empty();
    })) << "time ran out after "
        << result.late_after;
    return result;
}

TEST(Games, UnderAShortClock) {
    Session white({"-quiet"}), black({"-quiet"});
    white.ask("setoption name Hash value 4");
    black.ask("setoption name Hash value 4");
    Program *engines[2] = {&white.program, &black.program};
    Program *swapped[2] = {&black.program, &white.program};
    // Towards the end the clocks hold little more than the overhead of 50 ms that the engines reckon with.
    play_game(engines, "e2e4 c7c5 g1f3 d7d6 d2d4 c5d4 f3d4 g8f6 b1c3 a7a6", 0.8, 0.04, 100);
    EXPECT_TRUE(play_game(swapped, "g2g4 h7h5 f2f3 h5g4 b1a3 g4f3", 0.6, 0.04, 400).finished);
    EXPECT_EQ(quit_program(&white.program), 0);
    EXPECT_EQ(quit_program(&black.program), 0);
}

TEST(Games, WithThreads) {
    Session white({"-quiet", "-threads", "3"}), black({"-quiet", "-threads", "2"});
    Program *engines[2] = {&white.program, &black.program};
    play_game(engines, "e2e4 e7e5 g1f3 b8c6 f1b5 a7a6", 0.6, 0.05, 50);
    EXPECT_EQ(quit_program(&white.program), 0);
    EXPECT_EQ(quit_program(&black.program), 0);
}
