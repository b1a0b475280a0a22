// One search watched from the main thread, with and without search threads.
#include "control/run_search.h"

#include "gtest/gtest.h"

#include "base/settings.h"
#include "board/fen.h"
#include "search/search_state.h"
#include "search/thread_state.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

// A search to depth 5; its state words are left as the search left them.
void search(const std::string &fen, bool threaded) {
    start_engine();
    settings.max_depth = 5;
    settings.time_mode = 1;
    settings.move_time = 1e7f;
    set_up(fen);
    testing::internal::CaptureStdout();
    run_search(SEARCH_BENCH, threaded);
    testing::internal::GetCapturedStdout();
}

TEST(RunSearch, BothWaysEndWithTheSameResult) {
    for (const bool threaded : {false, true}) {
        search("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -", threaded);
        EXPECT_EQ(read_search_state(), SEARCH_BENCH | SEARCH_DONE);
        EXPECT_EQ(text_of(&root_thread_state->position, published.pv[1]), "a1a8");
        EXPECT_EQ(published.score, MATE_SCORE - 2) << "mate at the second ply: 10000 - 2";
        EXPECT_EQ(search_run.stop, 1);
        write_search_state(0);
    }
}

TEST(RunSearch, SeveralThreadsCountTogether) {
    start_engine();
    settings.threads = 3;
    settings.max_depth = 8;
    settings.time_mode = 1;
    settings.move_time = 1e7f;
    set_up(STARTPOS_FEN);
    run_search(SEARCH_BENCH, true);
    EXPECT_EQ(published.depth, 8);
    u64 nodes = 0;
    for (int i = 0; i < 3; ++i)
        if (const ThreadState *searcher = worker_state(i); searcher && searcher->completed_depth >= 2)
            nodes += searcher->nodes;
    EXPECT_EQ(published.totals.nodes, nodes) << "those with two finished iterations";
    write_search_state(0);
    start_engine();
}

TEST(RunSearch, AMatedRootHasNoMove) {
    for (const bool threaded : {false, true}) {
        search("R5k1/5ppp/8/8/8/8/8/6K1 b - -", threaded);
        EXPECT_EQ(published.pv[1], 0);
        EXPECT_EQ(published.score, 1 - MATE_SCORE);
        write_search_state(0);
    }
}

}  // namespace
