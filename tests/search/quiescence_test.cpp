// Quiescence: stand pat, delta margins, exchanges, the quirk of alpha, what is stored.
#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/hash_table.h"
#include "search/node.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/workers.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

constexpr int PLY = 2;

struct Quiet {
    int score;
    int moves;  // searched
    Move best;
};

// Quiescence of the position with this static evaluation and window.
Quiet quiesce(const char *fen, int eval, int alpha, int beta, int depth = 0) {
    start_engine();
    set_up(fen);
    search_setup(limits_of_settings());
    EXPECT_EQ(init_thread_state(0), 0);
    ThreadState *thread = worker_state(0);
    thread->game.ply = PLY;
    PlyRecord *record = &thread->plies[PLY];
    record->move_list = record->current_move = thread->move_pool + PLY;
    record->static_eval = static_cast<i16>(eval);
    record->check_square = NO_SQUARE;
    record->in_check = 0;
    record->tb_wdl = -1;
    record->hash_move = 0;
    u16 pv[PV_SIZE] = {};
    const int score = quiesce_moves(&thread->position, thread->position.stm, PLY, depth, alpha, beta, NODE_PV, pv);
    thread->game.ply = 1;
    return {score, record->move_count, pv[PLY]};
}

TEST(Quiescence, StandPatReturnsBetaAndNotTheEvaluation) {
    EXPECT_EQ(quiesce(STARTPOS_FEN, 80, 0, 50).score, 50);
    EXPECT_EQ(quiesce(STARTPOS_FEN, 50, 0, 50).score, 50);
}

TEST(Quiescence, WithoutAMoveTheEvaluationStands) {
    const Quiet result = quiesce(STARTPOS_FEN, 20, -100, 100);
    EXPECT_EQ(result.score, 20);
    EXPECT_EQ(result.moves, 0);
    EXPECT_EQ(result.best, 0);
}

// Rook takes pawn, no check. Black has three pieces, so the margin is 150: the pawn's 100 are enough from an
// evaluation more than 250 below alpha up.
TEST(Quiescence, DeltaPruningAgainstManyPieces) {
    const char *fen = "nnn4k/8/8/8/p7/8/8/R3K3 w - -";
    EXPECT_EQ(quiesce(fen, -250, 0, 1).moves, 0);
    EXPECT_EQ(quiesce(fen, -249, 0, 1).moves, 1);
}

// Against two pieces the margin is 1500.
TEST(Quiescence, DeltaPruningInEndings) {
    const char *fen = "nn5k/8/8/8/p7/8/8/R3K3 w - -";
    EXPECT_EQ(quiesce(fen, -1600, 0, 1).moves, 0);
    EXPECT_EQ(quiesce(fen, -1599, 0, 1).moves, 1);
}

// Razoring comes with a depth of at least 1: the margin is 500.
TEST(Quiescence, DeltaPruningAtHigherDepth) {
    const char *fen = "nnn4k/8/8/8/p7/8/8/R3K3 w - -";
    EXPECT_EQ(quiesce(fen, -600, 0, 1, 1).moves, 0);
    EXPECT_EQ(quiesce(fen, -599, 0, 1, 1).moves, 1);
}

// Ra8+ gains nothing, but no margin refuses a check. Only the first ply tries quiet checks.
TEST(Quiescence, ChecksAreNotDeltaPruned) {
    const char *check = "7k/6pp/8/1nnn4/8/8/8/R3K3 w - -";
    EXPECT_EQ(quiesce(check, -5000, 0, 1, 0).moves, 1);
    EXPECT_EQ(quiesce(check, -5000, 0, 1, -1).moves, 0);
    // Rxa8 gains a knight, 350, and gives no check.
    EXPECT_EQ(quiesce("nnn4k/6pp/8/8/8/8/8/R3K3 w - -", -5000, 0, 1, 0).moves, 0);
}

// Queen takes a pawn that a pawn defends: 100 - 1060, skipped. A pawn that takes is not tested at all.
TEST(Quiescence, LosingExchangesAreSkipped) {
    EXPECT_EQ(quiesce("4k3/8/2p5/3p4/8/8/3Q4/4K3 w - -", 0, 0, 100, -1).moves, 0);
    EXPECT_EQ(quiesce("4k3/8/2p5/3p4/4P3/8/8/4K3 w - -", 0, 0, 1000, -1).moves, 1);
}

// A cut-off at depth 0 is stored as a lower bound of depth 0; below depth 0 nothing is stored.
TEST(Quiescence, OnlyACutOffIsStored) {
    const char *fen = "4k3/8/8/3q4/4P3/8/8/4K3 w - -";
    int score, eval, depth, bound;
    Move move;
    EXPECT_EQ(quiesce(fen, 0, 0, 5, -1).best, word_of("e4d5"));
    EXPECT_FALSE(hash_probe(&worker_state(0)->position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(quiesce(fen, 0, 0, 5, 0).best, word_of("e4d5"));
    ASSERT_TRUE(hash_probe(&worker_state(0)->position, &score, &eval, &depth, &move, &bound));
    EXPECT_EQ(move, word_of("e4d5"));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(bound, BOUND_LOWER);
}

}  // namespace
