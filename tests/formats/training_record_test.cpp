// Training records: scores, packing and unpacking.
#include "formats/training_record.h"

#include <cmath>

#include "board/fen.h"
#include "gtest/gtest.h"
#include "search/thread_state.h"
#include "support/engine.h"

TEST(WinProbability, IsOneHalfAtZeroAndSymmetric) {
    EXPECT_EQ(score_to_win_prob(0), 0.5f);
    EXPECT_EQ(score_to_win_prob(100), 0.64565631f);
    EXPECT_EQ(score_to_win_prob(-1000), 0.0024726232f);
    EXPECT_EQ(score_to_win_prob(2000000000), 1.0f);
    EXPECT_EQ(score_to_win_prob(-2000000000), 0.0f);
}

TEST(ResultToScore, ExactResultsHaveTheirOwnBounds) {
    EXPECT_EQ(result_to_score(1.0f), 2300);
    EXPECT_EQ(result_to_score(0.0f), -2302);
    EXPECT_EQ(result_to_score(0.5f), 0);
    EXPECT_EQ(result_to_score(0.25f), -183);
    EXPECT_EQ(result_to_score(0.75f), 183);
    EXPECT_EQ(result_to_score(1e-9f), -2302);
    EXPECT_EQ(result_to_score(7.0f), 2302);
}

TEST(TrainingRecord, Unpacking) {
    start_engine();
    TrainRecord record{}, empty{};
    record.squares[2] = KING;                // e1, low half of byte 2
    record.squares[3] = ROOK << 4;           // h1
    record.squares[30] = BLACK_CODE + KING;  // e8
    record.stm_castling = 1 | 1 << 4;        // K wanted, black to move
    record.ep = NO_SQUARE;
    record.gr_score = 100;
    record.sc = -200;
    Position *position = &root_thread_state->position;
    float result = 0.0f;
    EXPECT_TRUE(set_position_from_record(&record, position, &result));
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    EXPECT_STREQ(fen, "4k3/8/8/8/8/8/8/4K2R b K -");
    const double expected = 0.25 / (1.0 + std::exp(-0.6)) + 0.75 / (1.0 + std::exp(1.2));
    EXPECT_NEAR(result, expected, 1e-6);
    EXPECT_FALSE(set_position_from_record(&empty, position, &result)) << "no kings";
}
