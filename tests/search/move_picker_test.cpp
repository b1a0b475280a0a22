// The order in which moves are handed out.
#include "search/move_picker.h"
#include "support/positions.h"

#include <algorithm>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/fen.h"
#include "board/moves.h"
#include "board/notation.h"
#include "gtest/gtest.h"
#include "support/engine.h"

struct Picked {
    std::string text;
    int score;
};

// All moves of a fresh ply 1 in order, with the picker's flags.
static std::vector<Picked> pick_all(const char *fen, u16 stage, Move hash_move = 0) {
    ThreadState *thread = start_engine();
    set_position_from_text(&thread->position, fen);
    thread->game.ply = 2;  // scores of quiet moves begin at ply 2
    PlyRecord *record = &thread->plies[2];
    record->move_list = thread->move_pool + 2;
    thread->plies[0].current_move = thread->move_pool;
    thread->move_pool[0] = {END_OF_LIST, 0, 0, 0};
    static MoveEntry no_move = {0, 0, 0, 0};
    thread->plies[1].current_move = &no_move;
    for (auto &row : thread->history)
        for (u32 &cell : row) cell = 16384;
    record->hash_move = hash_move;
    record->killer1 = record->killer2 = record->evasion_killer = 0;
    const Position &position = thread->position;
    record->check_square = static_cast<u8>(
        attacker_of_square(&position, position.king_sq[position.stm], position.stm ^ 1, occupied(position)));
    record->in_check = record->check_square != NO_SQUARE;
    record->picker_stage = stage;
    std::vector<Picked> moves;
    while (const MoveEntry *entry = next_move(&thread->position)) {
        char text[MOVE_TEXT];
        move_to_text(&position, position.stm, entry->move, text);
        moves.push_back({text, entry->score});
    }
    thread->game.ply = 1;
    return moves;
}

static std::string first_texts(const std::vector<Picked> &moves, std::size_t count) {
    std::string texts;
    for (std::size_t i = 0; i < std::min(count, moves.size()); ++i) texts += moves[i].text + " ";
    return texts;
}

TEST(MovePicker, TheHashMoveComesFirstAndAgainAmongTheQuiets) {
    const std::vector<Picked> moves = pick_all(STARTPOS_FEN, PICK_SEARCH, word_of("e2e4"));
    ASSERT_EQ(moves.size(), 21u);
    EXPECT_EQ(moves[0].text, "e2e4");
    EXPECT_EQ(moves[0].score, 255);
    EXPECT_EQ(std::count_if(moves.begin(), moves.end(), [](const Picked &m) { return m.text == "e2e4"; }), 2);
}

TEST(MovePicker, WithoutCapturesQuiescenceGoesStraightToChecks) {
    const std::vector<Picked> moves = pick_all("4k3/8/8/8/8/8/3P4/R3K2N w - -", PICK_QUIESCE_CHECKS);
    EXPECT_EQ(first_texts(moves, 9), "a1a8 ");
    EXPECT_EQ(moves[0].score, 100);
    EXPECT_TRUE(pick_all("4k3/8/8/8/8/8/3P4/R3K2N w - -", PICK_QUIESCE).empty());
}

TEST(MovePicker, ChecksByPawnsKnightsBishopsRooksQueens) {
    const std::vector<Picked> moves = pick_all("8/8/8/3k4/8/2P1P3/8/QRB1K1N1 w - -", PICK_QUIESCE_CHECKS);
    ASSERT_GE(moves.size(), 3u);
    EXPECT_EQ(moves[0].text, "c3c4");
    EXPECT_EQ(moves[1].text, "e3e4");
}

TEST(MovePicker, APushToTheSeventhCountsAsTactical) {
    // Safe: 209. Onto an attacked square: 2, so it comes among the last.
    const std::vector<Picked> safe = pick_all("7k/8/P7/8/8/8/8/K7 w - -", PICK_SEARCH);
    EXPECT_EQ(safe[0].text, "a6a7");
    EXPECT_EQ(safe[0].score, 209);
    const std::vector<Picked> lost = pick_all("7k/2n5/8/8/8/8/8/K7 w - -", PICK_SEARCH);
    for (const Picked &move : lost) EXPECT_LE(move.score, 5);
    const std::vector<Picked> bad = pick_all("1k6/8/P7/8/8/8/8/K7 w - -", PICK_SEARCH);
    EXPECT_EQ(bad.back().text, "a6a7");
    EXPECT_EQ(bad.back().score, 2);
}

TEST(MovePicker, LosingCapturesWaitBehindQuietsOfBetterScore) {
    // Queen takes a defended pawn: score 4, behind quiet moves of history score 5.
    const std::vector<Picked> moves = pick_all("4k3/8/2p5/3p4/8/8/3Q4/4K3 w - -", PICK_SEARCH);
    EXPECT_EQ(moves.back().text, "d2d5");
    EXPECT_EQ(moves.back().score, 4);
    EXPECT_EQ(moves.front().score, 5);
}

TEST(MovePicker, EqualScoresKeepTheGeneratorsOrder) {
    const std::vector<Picked> moves = pick_all("4k3/8/8/8/8/8/8/4K2R w - -", PICK_SEARCH);
    EXPECT_EQ(first_texts(moves, 6), "h1f1 h1g1 h1h2 h1h3 h1h4 h1h5 ");
}

TEST(MovePicker, UnderPromotionsOnlyWithFullOrdering) {
    EXPECT_EQ(first_texts(pick_all("7k/P7/8/8/8/8/8/K7 w - -", PICK_QUIESCE), 9), "a7a8q ");
    EXPECT_EQ(first_texts(pick_all("7k/P7/8/8/8/8/8/K7 w - -", PICK_SEARCH), 4), "a7a8q a7a8n a7a8b a7a8r ");
}

TEST(MovePicker, InCheckOnlyAnswersToTheCheckAreGenerated) {
    const std::vector<Picked> moves = pick_all("4r2k/8/8/8/8/8/3R4/R3K3 w - -", PICK_SEARCH);
    for (const Picked &move : moves) EXPECT_TRUE(move.text[0] == 'e' || move.text == "d2e2") << move.text;
}

TEST(MovePicker, AStageAboveNineEndsTheList) {
    ThreadState *thread = start_engine();
    thread->plies[1].picker_stage = PICK_SEARCH | 12;
    thread->plies[1].current_move = thread->move_pool + 1;
    EXPECT_EQ(next_move(&thread->position), nullptr);
}

TEST(MovePicker, AListFilledBeforehandComesInOrder) {
    ThreadState *thread = start_engine();
    generate_ply_list(thread);
    PlyRecord *record = &thread->plies[1];
    int score = 0;
    for (MoveEntry *entry = record->move_list; entry->move != END_OF_LIST; ++entry)
        entry->score = static_cast<i16>(score++);
    record->picker_stage = STAGE_LIST_START;
    int last = 1000, count = 0;
    while (const MoveEntry *entry = next_move(&thread->position)) {
        EXPECT_LT(entry->score, last);
        last = entry->score;
        ++count;
    }
    EXPECT_EQ(count, 20);
}
