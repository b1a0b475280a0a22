// Searches on the calling thread, and the measure of the program's speed.
#include "search/start.h"

#include <algorithm>
#include <string>

#include "base/settings.h"
#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/calibration.h"
#include "search/node_rate.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/positions.h"

TEST(Start, SetupEmptiesThePublishedResult) {
    start_engine();
    published.depth = 9;
    published.pv[1] = word_of("e2e4");
    search_run.stop = 1;
    search_setup(limits_of_settings());
    EXPECT_EQ(published.depth, 0);
    EXPECT_EQ(published.pv[1], 0);
    EXPECT_EQ(search_run.stop, 0);
}

TEST(Start, ASearchEndsAtItsOwnLimitAndLeavesTheSettings) {
    ThreadState *master = start_engine();
    set_position_from_text(&master->position, "6k1/5ppp/8/8/8/8/8/R3K3 w - -");
    SearchLimits limits = limits_of_settings();
    limits.max_depth = 3;
    search_with_limits(SEARCH_BENCH, limits);
    EXPECT_TRUE(read_search_state() & SEARCH_DONE);
    EXPECT_EQ(published.pv[1], word_of("a1a8"));  // mate on the back rank
    EXPECT_EQ(published.score, MATE_SCORE - 2);   // the root is ply 1, the mate ply 2
    EXPECT_EQ(settings.max_depth, MAX_DEPTH);
    write_search_state(0);
}

TEST(Calibration, GivesTheRatingOfTheMeasuredSpeed) {
    start_engine();
    settings.limit_strength = 1;
    testing::internal::CaptureStdout();
    calibrate();
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed.rfind("info string et= ", 0), 0u) << printed;
    EXPECT_NE(printed.find(", calibration nps= "), std::string::npos) << printed;
    EXPECT_GT(calibration.nps, 0.0f);
    EXPECT_FLOAT_EQ(calibration.elo, static_cast<float>(elo_of_node_rate(std::max(calibration.nps, 1.0f))));
    EXPECT_EQ(settings.limit_strength, 1);  // the measure is of the full strength, the setting stays
    EXPECT_EQ(read_search_state(), 0);
}
