// Thread records: their start values, and the way from a position back to its record.
#include "search/thread_state.h"

#include "board/fen.h"
#include "gtest/gtest.h"
#include "support/engine.h"

TEST(ThreadStateTest, ANewRecordIsEmptyAndLinked) {
    ThreadState *thread = allocate_thread_state(7);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->thread_id, 7);
    EXPECT_EQ(thread->game.ply, 1);
    EXPECT_EQ(thread->game.game_ply, 0);
    EXPECT_EQ(thread->position.king_sq[WHITE], NO_SQUARE);
    EXPECT_EQ(thread->position.ep_square, NO_SQUARE);
    EXPECT_EQ(thread->plies[2].move_list, thread->move_pool + 2);
    EXPECT_EQ(thread->eval.acc_hidden_size, 0);
    EXPECT_EQ(thread->move_pool[0].move, 0);
    free_thread_state(thread);
}

// The master's lists are ended everywhere, so that what reads a list before it is generated finds no move.
TEST(ThreadStateTest, TheMastersListsAreEnded) {
    ThreadState *thread = allocate_thread_state(MASTER_THREAD_ID);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->move_pool[0].move, END_OF_LIST);
    EXPECT_EQ(thread->move_pool[MOVE_POOL_SIZE - 1].move, END_OF_LIST);
    free_thread_state(thread);
}

TEST(ThreadStateTest, APositionAndItsCopiesLeadToTheRecord) {
    ThreadState *master = start_engine();
    EXPECT_EQ(thread_of(&master->position), master);
    const Position copy = master->position;
    EXPECT_EQ(thread_of(&copy), master);
}
