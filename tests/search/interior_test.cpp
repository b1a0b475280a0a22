// Nodes and searches at the edges: draws, mates, limits.
#include "search/node.h"

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "gtest/gtest.h"
#include "search/hash_table.h"
#include "search/line.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/workers.h"
#include "support/engine.h"
#include "support/fresh_search.h"
#include "support/positions.h"

TEST(Interior, ARepetitionInsideTheLineOrTwoAcrossTheRoot) {
    ThreadState *thread = start_engine();
    Position *position = &thread->position;
    const auto shuffle = [position] {
        for (const Move move : {word_of("g1f3"), word_of("g8f6"), word_of("f3g1"), word_of("f6g8")})
            make_move(position, move);
    };
    shuffle();
    EXPECT_TRUE(is_search_draw(position, 5)) << "the first visit lies inside the line";
    EXPECT_FALSE(is_search_draw(position, 4)) << "one visit at the root or before is not enough";
    shuffle();
    EXPECT_TRUE(is_search_draw(position, 1)) << "two are";
    position->fifty = 3;
    EXPECT_FALSE(is_search_draw(position, 1));
    position->fifty = 100;
    EXPECT_TRUE(is_search_draw(position, 1));
}

TEST(Interior, ANullMoveStopsTheWalk) {
    ThreadState *thread = start_engine();
    Position *position = &thread->position;
    for (const Move move : {word_of("g1f3"), word_of("g8f6"), word_of("f3g1"), word_of("f6g8")})
        make_move(position, move);
    thread->game.game_stack[2].move = 0;
    EXPECT_FALSE(is_search_draw(position, 20));
}

TEST(Root, MateAndStalemate) {
    start_engine();
    const SearchResult mate = fresh_search("7k/6Q1/6K1/8/8/8/8/8 b - -", 5, 16);
    EXPECT_EQ(mate.score, -9999);
    EXPECT_EQ(mate.best_move, "null");
    EXPECT_EQ(mate.depth, 1);
    const SearchResult stalemate = fresh_search("7k/5Q2/6K1/8/8/8/8/8 b - -", 5, 16);
    EXPECT_EQ(stalemate.score, 0);
    EXPECT_EQ(stalemate.best_move, "null");
}

TEST(Root, AMateFoundEndsTheSearch) {
    start_engine();
    const SearchResult result = fresh_search("6k1/5ppp/8/8/8/8/8/R3K3 w - -", 60, 16);
    EXPECT_EQ(result.best_move, "a1a8");
    EXPECT_EQ(result.score, 9998);
    EXPECT_LE(result.depth, 3);
}

TEST(Root, DepthZeroRunsTheQuiescenceAlone) {
    start_engine();
    const SearchResult result = fresh_search("4k3/8/8/3q4/4P3/8/8/4K3 w - -", 0, 16);
    EXPECT_EQ(result.best_move, "e4d5");
    EXPECT_EQ(result.depth, 0);
    EXPECT_EQ(search_run.stop, 1);
}

TEST(Root, TheStackBoundsTheDepth) {
    start_engine();
    Position *position = &root_thread_state->position;
    settings.max_depth = 40;
    settings.time_mode = 1;
    settings.move_time = 1e7f;
    // A game of 875 plies, knights going out and back; then pawns so that no repetition stands.
    const Move out[] = {word_of("g1f3"), word_of("g8f6"), word_of("f3g1"), word_of("f6g8")};
    for (int i = 0; i < 875; ++i) make_move(position, out[i % 4]);
    position->fifty = 0;
    search_on_this_thread(SEARCH_BENCH);
    write_search_state(0);
    EXPECT_EQ(published.depth, 9);
    set_position_from_text(position, STARTPOS_FEN);
}

TEST(Root, NodeLimitsAreSoftOrHard) {
    start_engine();
    settings.node_limit = 5000;
    EXPECT_EQ(fresh_search(STARTPOS_FEN, 80, 16).nodes, 5000u);
    settings.node_limit = NO_NODE_LIMIT;
    settings.soft_node_limit = 1000;
    settings.min_depth = 7;
    const SearchResult soft = fresh_search(STARTPOS_FEN, 80, 16);
    EXPECT_GE(soft.depth, 7);
    EXPECT_GT(soft.nodes, 1000u);
}

TEST(Root, TheSameSearchGivesTheSameCount) {
    start_engine();
    settings.use_nn = 1;
    const u64 first = fresh_search("r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -", 9, 16).nodes;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(fresh_search("r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -", 9, 16).nodes, first);
}

TEST(Root, ThreadsZeroSearchesNothing) {
    start_engine();
    settings.threads = 0;
    const SearchResult result = fresh_search(STARTPOS_FEN, 5, 16);
    EXPECT_EQ(result.best_move, "null");
}

TEST(Root, PositionsFullOfQueensStayInsideTheLists) {
    start_engine();
    settings.node_limit = 300000;
    const SearchResult result = fresh_search("QQQQQQQK/QQQQQQQQ/8/8/8/8/qqqqqqqq/qqqqqqqk w - -", 20, 16);
    EXPECT_NE(result.best_move, "null");
}

// An expected cut node of depth 4 (too deep for static pruning) with a queen more: true if it passes. Its parent and
// grandparent made the given moves; a null move is 0.
static bool tries_null_move(Move parent, Move grandparent) {
    constexpr int PLY = 4;
    start_engine();
    set_up("4k3/8/8/8/8/8/3PP3/3QK3 w - -");
    search_setup(limits_of_settings());
    EXPECT_EQ(init_thread_state(0), 0);
    ThreadState *thread = worker_state(0);
    MoveEntry moves[2] = {{grandparent, 0, 1, 0}, {parent, 0, 9, 0}};
    thread->plies[PLY - 2].current_move = &moves[0];
    thread->plies[PLY - 1].current_move = &moves[1];
    thread->plies[PLY - 1].tb_wdl = TB_NO_ANSWER;
    thread->plies[PLY - 1].move_flags = 0;
    PlyRecord *record = &thread->plies[PLY];
    record->move_list = record->current_move = thread->move_pool + PLY;
    thread->game.ply = thread->game.game_ply = PLY;
    thread->game.game_stack[PLY - 1].undo = 0;  // nothing was captured
    u16 pv[PV_SIZE] = {};
    EXPECT_GE(search_node(&thread->position, WHITE, PLY, 4, 0, 1, NODE_CUT, pv), 1);
    thread->game.ply = 1;
    thread->game.game_ply = 0;
    return record->current_move->move == 0;  // a null move that cuts off is the last one made
}

TEST(Interior, NoSecondNullMoveInARowNorTwoPliesLater) {
    EXPECT_TRUE(tries_null_move(word_of("e8e7"), word_of("e2e3")));
    EXPECT_FALSE(tries_null_move(0, word_of("e2e3")));
    EXPECT_FALSE(tries_null_move(word_of("e8e7"), 0));
}

// The half-move clock at 100 is a draw below the root, not at it: the root still answers with a move.
TEST(Root, TheFiftyMoveRuleAtTheRoot) {
    start_engine();
    const SearchResult result = fresh_search("4k3/8/8/8/8/8/4P3/4K2R w - - 100 80", 5, 16);
    EXPECT_NE(result.best_move, "null");
    EXPECT_TRUE(result.best_move[0] == 'e' && result.best_move[1] == '2') << "only a pawn move is no draw";
    EXPECT_GT(result.score, 0);
}
