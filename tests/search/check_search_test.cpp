// The checks of hash entries and picked lists find each kind of damage.
#include "search/check_search.h"

#include <utility>
#include <vector>

#include "base/debug_check.h"
#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/hash_table.h"
#include "search/move_picker.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

const char *const MIDDLE_GAME = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -";
const Move E2A6 = word_of("e2a6");

class CheckSearchTest : public testing::Test {
protected:
    void SetUp() override {
        thread = start_engine();
        hash_table.age = 1;
        position = set_up(MIDDLE_GAME);
    }
    // Hands out every move of the position at ply 2 with a picker of this kind; the list stays for the check.
    void pick_all(const char *fen, u16 picker, Move hash_move = 0) {
        set_up(fen);
        start_picker(picker, hash_move);
        while (next_move(position)) {}
    }
    void start_picker(u16 picker, Move hash_move) {
        static MoveEntry before[2] = {{END_OF_LIST, 0, 0, 0}, {0, 0, 0, 0}};
        thread->game.ply = 2;
        thread->plies[0].current_move = &before[0];
        thread->plies[1].current_move = &before[1];
        PlyRecord *record = &thread->plies[2];
        record->move_list = thread->move_pool + 2;
        record->hash_move = hash_move;
        record->check_square = NO_SQUARE;
        record->picker_stage = picker;
    }
    MoveEntry *list() { return thread->plies[2].move_list; }
    ThreadState *thread;
    Position *position;
};

TEST_F(CheckSearchTest, HashEntries) {
    EXPECT_STREQ(hash_entry_fault(position, 0, 0, E2A6, BOUND_UPPER), nullptr);
    EXPECT_STREQ(hash_entry_fault(position, -10000, -10001, word_of("e1g1", CASTLE_KINGSIDE), BOUND_EXACT), nullptr);
    EXPECT_STREQ(hash_entry_fault(position, 0, 0, E2A6, 0), "a bound that does not exist");
    EXPECT_STREQ(hash_entry_fault(position, 0, 0, E2A6, 4), "a bound that does not exist");
    EXPECT_STREQ(hash_entry_fault(position, 10001, 0, E2A6, BOUND_LOWER), "a score beyond mate");
    EXPECT_STREQ(hash_entry_fault(position, -10001, 0, E2A6, BOUND_LOWER), "a score beyond mate");
    EXPECT_STREQ(hash_entry_fault(position, 0, 15001, E2A6, BOUND_LOWER), "a static evaluation beyond mate");
    EXPECT_STREQ(hash_entry_fault(position, 0, -15001, E2A6, BOUND_LOWER), "a static evaluation beyond mate");
    EXPECT_STREQ(hash_entry_fault(position, 0, 0, word_of("e2b6"), BOUND_LOWER), "a move that no generator makes");
    EXPECT_STREQ(hash_entry_fault(position, 0, 0, 0, BOUND_LOWER), "a move that no generator makes");
}

TEST_F(CheckSearchTest, PickedLists) {
    for (const Move hash_move : {Move{0}, E2A6}) {
        pick_all(MIDDLE_GAME, PICK_SEARCH, hash_move);
        EXPECT_STREQ(picked_list_fault(thread, true, hash_move), nullptr);
        const Move second = list()[1].move;
        list()[1].move = list()[2].move;
        EXPECT_STREQ(picked_list_fault(thread, true, hash_move), "a move is picked twice");
        list()[1].move = second;
        for (MoveEntry *entry = list(); entry->move != END_OF_LIST; ++entry)
            if (entry->move == word_of("a2a4")) *entry = {word_of("a2a5"), 0, PAWN, 0};
        EXPECT_STREQ(picked_list_fault(thread, true, hash_move), "a legal move is not picked");
    }
    // Without the hash move's leave to come twice.
    pick_all(MIDDLE_GAME, PICK_SEARCH, E2A6);
    EXPECT_STREQ(picked_list_fault(thread, true, 0), "a move is picked twice");
}

TEST_F(CheckSearchTest, ListsOfQuiescence) {
    pick_all(MIDDLE_GAME, PICK_QUIESCE);
    EXPECT_STREQ(picked_list_fault(thread, false, 0), nullptr);
    EXPECT_STREQ(picked_list_fault(thread, true, 0), "a legal move is not picked");
    list()[0].move = word_of("a1a8");
    EXPECT_STREQ(picked_list_fault(thread, false, 0), "a legal move is not picked");
    // A push to the seventh rank that checks is handed out twice: as a tactical move and as a check.
    pick_all("4k3/8/3P4/8/8/8/8/4K3 w - -", PICK_QUIESCE_CHECKS);
    EXPECT_EQ(list()[0].move, word_of("d6d7"));
    EXPECT_EQ(list()[1].move, word_of("d6d7"));
    EXPECT_STREQ(picked_list_fault(thread, false, 0), nullptr);
    EXPECT_STREQ(picked_list_fault(thread, true, 0), "a move is picked twice");
    // Promotions to a queen are wanted, others are not.
    pick_all("8/3P4/k7/8/8/8/8/4K3 w - -", PICK_QUIESCE);
    EXPECT_STREQ(picked_list_fault(thread, false, 0), nullptr);
    list()[0].move = word_of("d7d8", PROMO_ROOK);
    EXPECT_STREQ(picked_list_fault(thread, false, 0), "a legal move is not picked");
}

using CheckSearchDeathTest = CheckSearchTest;

TEST_F(CheckSearchDeathTest, AFaultEndsTheProgram) {
    EXPECT_DEATH(require_sound_hash_entry(position, 0, 0, E2A6, 0), "check failed in hash_probe: a bound that");
    pick_all(MIDDLE_GAME, PICK_SEARCH);
    require_sound_picked_list(thread, true, 0);
    list()[1] = list()[0];
    EXPECT_DEATH(require_sound_picked_list(thread, true, 0),
                 "check failed in next_move: a move is picked twice: r3k2r/");
    MoveEntry *const end = thread->move_pool + MOVE_POOL_SIZE;
    require_room_in_pool(thread, end - 3);
    EXPECT_DEATH(require_room_in_pool(thread, end - 2), "check failed in close_move_list: a move list ends outside");
    EXPECT_DEATH(require_room_in_pool(thread, thread->move_pool - 1), "check failed in close_move_list");
}

TEST_F(CheckSearchDeathTest, DebugBuildsCheckProbesAndPickers) {
    if (!DEBUG_CHECKS) GTEST_SKIP() << "this build has no checks";
    hash_store(position, 1, 4, E2A6, 20000, 0, BOUND_EXACT);
    int score, eval, depth, bound;
    Move move;
    EXPECT_DEATH(hash_probe(position, &score, &eval, &depth, &move, &bound),
                 "check failed in hash_probe: a static evaluation beyond mate");
    // A move that is handed out and then overwrites another.
    EXPECT_DEATH(
        {
            start_picker(PICK_SEARCH, 0);
            const MoveEntry first = *next_move(position);
            *next_move(position) = first;
            while (next_move(position)) {}
        },
        "check failed in next_move: a move is picked twice");
    EXPECT_DEATH(
        {
            start_picker(PICK_SEARCH, 0);
            thread->plies[2].move_list = thread->move_pool + MOVE_POOL_SIZE - 10;
            while (next_move(position)) {}
        },
        "check failed in close_move_list: a move list ends outside its pool");
}

}  // namespace
