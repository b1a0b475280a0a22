// The clock: targets and stops, with the search's words set by hand.
#include "search/time_check.h"

#include "base/settings.h"
#include "platform/clock.h"
#include "search/search_state.h"
#include "search/workers.h"
#include "support/engine.h"
#include "support/shared_data.h"

// A search that began `seconds` ago, at depth 10, with nothing unusual about it.
static void begin(float seconds) {
    start_engine();
    ASSERT_EQ(init_thread_state(0), 0);
    search_run.root_side = WHITE;
    search_run.stop = 0;
    search_run.start_time = clock_seconds() - static_cast<double>(seconds);
    search_run.depth = 10;
    published.depth = 10;
    published.score = 20;
    published.change_depth = 1;
    search_run.single_reply = 0;
    search_run.tb_wdl = TB_NO_ANSWER;
    for (auto &score : published.iteration_score) score = 20;
    worker_state(0)->root_fail = ROOT_IN_WINDOW;
    search_limits = limits_of_settings();
    search_limits.time_mode = 0;
    search_limits.move_overhead = 0.0f;
    search_limits.time_increment = 0.0f;
    game_clock.remaining[WHITE] = 290.0f;
    write_search_state(SEARCH_RUN);
}

TEST(Time, ATwentyNinthOfWhatIsLeft) {
    begin(0.0f);
    time_check();
    EXPECT_NEAR(search_run.target_time, 10.0f, 0.01);
    EXPECT_EQ(search_run.stop, 0);
    EXPECT_EQ(game_clock.moves_to_go, 28);
    begin(10.0f);
    time_check();
    EXPECT_NEAR(search_run.target_time, 280.0f / 29.0f, 0.01);
    EXPECT_EQ(search_run.stop, 1);
}

TEST(Time, PonderModeSpendsAQuarterMore) {
    begin(0.0f);
    search_limits.ponder = 1;
    time_check();
    EXPECT_NEAR(search_run.target_time, 12.5f, 0.01);
}

TEST(Time, MovesToGo) {
    begin(0.0f);
    search_limits.time_mode = 40;
    game_clock.moves_to_go = 9;
    time_check();
    EXPECT_NEAR(search_run.target_time, 29.0f, 0.01);
}

TEST(Time, ConsoleCountsTheMovesToTheControl) {
    begin(0.0f);
    settings.uci_mode = 0;
    search_limits.time_mode = 40;
    root_thread_state->game.game_ply = 20;
    time_check();
    EXPECT_EQ(game_clock.moves_to_go, 30);
    root_thread_state->game.game_ply = 80;
    time_check();
    EXPECT_EQ(game_clock.moves_to_go, 40);
    root_thread_state->game.game_ply = 0;
}

TEST(Time, IncrementShare) {
    begin(0.0f);
    search_limits.time_increment = 5.0f;
    time_check();
    EXPECT_NEAR(search_run.target_time, 10.0f + 290.0f / 300.0f * 5.0f, 0.01);
}

TEST(Time, ReasonsForMoreTime) {
    begin(0.0f);
    worker_state(0)->root_fail = ROOT_FAILS_HIGH;
    time_check();
    EXPECT_NEAR(search_run.target_time, (1 / 29.0 + 0.04) * 290, 0.05);
    worker_state(0)->root_fail = ROOT_FAILS_LOW;
    time_check();
    EXPECT_NEAR(search_run.target_time, (1 / 29.0 + 0.2) * 290, 0.05);
    worker_state(0)->root_fail = ROOT_IN_WINDOW;
    published.score = -1;  // 21 below both of the last iterations
    time_check();
    EXPECT_NEAR(search_run.target_time, (1 / 29.0 + 0.04) * 290, 0.05);
    published.score = 1;  // 19 below: not enough
    time_check();
    EXPECT_NEAR(search_run.target_time, 10.0f, 0.01);
    published.change_depth = 8;
    time_check();
    EXPECT_NEAR(search_run.target_time, (1 / 29.0 + 0.01) * 290, 0.05);
}

TEST(Time, TablebasesHalve) {
    begin(0.0f);
    search_run.tb_wdl = TB_DRAW;
    time_check();
    EXPECT_NEAR(search_run.target_time, 5.0f, 0.01);
}

TEST(Time, OverheadAndFloor) {
    begin(0.0f);
    search_limits.move_overhead = 1.0f;
    time_check();
    EXPECT_NEAR(search_run.target_time, 9.0f, 0.01);
    game_clock.remaining[WHITE] = 0.0f;
    time_check();
    EXPECT_FLOAT_EQ(search_run.target_time, 0.005f);
}

TEST(Time, NoStopWhilePondering) {
    begin(1000.0f);
    write_search_state(SEARCH_PONDER);
    time_check();
    EXPECT_EQ(search_run.stop, 0);
    EXPECT_FLOAT_EQ(search_run.target_time, 0.0f) << "a target all the same";
    search_run.depth = 1;
    time_check();
    EXPECT_EQ(search_run.stop, 0);
    write_search_state(SEARCH_RUN);
    time_check();
    EXPECT_EQ(search_run.stop, 1);
}

// Does the clock stop a search that is still in its first iteration after so many seconds?
static bool guard_stops(float seconds, i16 time_mode, float clock, i16 overhead = 0) {
    begin(seconds);
    search_run.depth = 1;
    search_limits.time_mode = time_mode;
    search_limits.move_time = clock;
    search_limits.move_overhead = 0.001f * overhead;
    game_clock.remaining[WHITE] = clock;
    time_check();
    return search_run.stop;
}

TEST(Time, TheFirstTwoIterationsHaveAGuardFarBeyondTheTarget) {
    // A clock: four targets of what is left then, 4 / 29 of 257 seconds.
    EXPECT_FALSE(guard_stops(30.0f, 0, 290.0f));
    EXPECT_TRUE(guard_stops(37.0f, 0, 290.0f));
    // A small target: a tenth of a second beyond it.
    EXPECT_FALSE(guard_stops(0.05f, 0, 0.29f));
    EXPECT_TRUE(guard_stops(0.15f, 0, 0.29f));
    // A fixed time: a tenth of a second beyond it, however long it is.
    EXPECT_FALSE(guard_stops(0.05f, 1, 0.0f));
    EXPECT_TRUE(guard_stops(0.15f, 1, 0.0f));
    EXPECT_FALSE(guard_stops(10.0f, 1, 10.0f));
    EXPECT_TRUE(guard_stops(10.2f, 1, 10.0f));
    EXPECT_FALSE(guard_stops(100000.0f, 1, 1e7f));
}

TEST(Time, TheGuardDoesNotLetTheClockFall) {
    EXPECT_FALSE(guard_stops(0.03f, 0, 0.1f, 50));
    EXPECT_TRUE(guard_stops(0.06f, 0, 0.1f, 50));
    EXPECT_TRUE(guard_stops(0.041f, 0, 0.08f, 1000)) << "an overhead beyond the clock leaves half of it";
    EXPECT_FALSE(guard_stops(0.005f, 0, 0.002f)) << "nearly empty: still time for two short iterations";
    EXPECT_TRUE(guard_stops(0.02f, 0, 0.002f));
    EXPECT_FALSE(guard_stops(0.05f, 0, 0.0f)) << "no clock told";
    EXPECT_TRUE(guard_stops(0.15f, 0, 0.0f));
}

TEST(Time, FixedTimePerMove) {
    begin(0.5f);
    search_limits.time_mode = 1;
    search_limits.move_time = 1.0f;
    time_check();
    EXPECT_EQ(search_run.stop, 0);
    EXPECT_EQ(game_clock.moves_to_go, 1);
    begin(1.0f);
    search_limits.time_mode = 1;
    search_limits.move_time = 1.0f;
    time_check();
    EXPECT_EQ(search_run.stop, 1);
    begin(100000.0f);
    search_limits.time_mode = 1;
    search_limits.move_time = 1e7f;
    time_check();
    EXPECT_EQ(search_run.stop, 0) << "infinite";
}

TEST(Time, ASingleReplyStopsAtDepthSix) {
    begin(0.0f);
    search_run.single_reply = 1;
    search_run.depth = 5;
    time_check();
    EXPECT_EQ(search_run.stop, 0);
    search_run.depth = 6;
    time_check();
    EXPECT_EQ(search_run.stop, 1);
}

// An empty clock, and one below zero (a front end may send it): the floor of 5 ms from depth 2 on.
TEST(Time, ClocksOfZeroAndBelow) {
    for (const float clock : {0.0f, -1.0f, -1e6f}) {
        begin(0.0f);
        game_clock.remaining[WHITE] = clock;
        time_check();
        EXPECT_FLOAT_EQ(search_run.target_time, 0.005f) << clock;
        begin(0.01f);
        game_clock.remaining[WHITE] = clock;
        time_check();
        EXPECT_EQ(search_run.stop, 1) << clock;
    }
}
