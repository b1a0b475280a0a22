// Depths of workers, and what a search does to the settings.
#include "search/root.h"

#include "base/settings.h"
#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/workers.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

constexpr int CROWD = 36;

// The depth that worker 1 chooses for its next iteration `depth`, with `there` of 36 threads at it.
int chosen_depth(int there, int depth, int max_depth = 80, int multipv = 1) {
    start_engine();
    set_up(STARTPOS_FEN);
    search_setup(limits_of_settings());
    search_limits.threads = CROWD;
    search_limits.max_depth = static_cast<i16>(max_depth);
    search_limits.multipv = static_cast<u8>(multipv);
    search_run.depth = static_cast<i16>(depth);
    for (int i = 0; i < CROWD; ++i) {
        EXPECT_EQ(init_thread_state(i), 0);
        worker_state(i)->iteration_depth = static_cast<i16>(i < there ? depth : depth - 1);
    }
    return choose_worker_depth(worker_state(1), depth);
}

// Threads after the first read the network from memory of their own.
TEST(WorkerRecords, AllButTheFirstCopyTheNetwork) {
    chosen_depth(0, 5);
    EXPECT_FALSE(worker_state(0)->eval.own_rows_wanted);
    for (int i = 1; i < CROWD; ++i) EXPECT_TRUE(worker_state(i)->eval.own_rows_wanted) << i;
}

TEST(WorkerDepth, TwelveThreadsAtADepthSendTheNextOnePliesFurther) {
    EXPECT_EQ(chosen_depth(11, 10), 10);
    EXPECT_EQ(chosen_depth(12, 10), 11);
    EXPECT_EQ(chosen_depth(35, 10), 11);
    EXPECT_EQ(chosen_depth(36, 10), 12);
}

TEST(WorkerDepth, NotInShallowIterationsNorWithMultiPvNorBeyondTheLimit) {
    EXPECT_EQ(chosen_depth(36, 5), 5);
    EXPECT_EQ(chosen_depth(36, 6), 8);
    EXPECT_EQ(chosen_depth(36, 10, 80, 2), 10);
    EXPECT_EQ(chosen_depth(36, 10, 11), 11);
    EXPECT_EQ(chosen_depth(36, 10, 10), 10);
}

// Three plies ahead of the master: no look at the others.
TEST(WorkerDepth, FarAheadOfTheMaster) {
    chosen_depth(36, 10);
    search_run.depth = 7;
    EXPECT_EQ(choose_worker_depth(worker_state(1), 10), 10);
    search_run.depth = 8;
    EXPECT_EQ(choose_worker_depth(worker_state(1), 10), 12);
}

TEST(Limits, ASearchWithLimitsOfItsOwnLeavesTheSettingsAlone) {
    start_engine();
    settings.node_limit = 123456;
    SearchLimits limits = limits_of_settings();
    EXPECT_EQ(limits.node_limit, 123456);
    limits.node_limit = 2000;
    limits.time_mode = 1;
    limits.move_time = 1e7f;
    const Settings before = settings;
    search_with_limits(SEARCH_BENCH, limits);
    write_search_state(0);
    EXPECT_EQ(worker_state(0)->nodes, 2000u);
    EXPECT_EQ(settings.node_limit, before.node_limit);
    EXPECT_EQ(settings.max_depth, before.max_depth);
    EXPECT_EQ(settings.move_time, before.move_time);
    EXPECT_EQ(settings.time_mode, before.time_mode);
    EXPECT_EQ(settings.threads, before.threads);
}

}  // namespace
