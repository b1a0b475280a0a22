// The symmetry check of debug builds: the mirror, what is claimed, and that a difference ends the program.
#include "eval/check_symmetry.h"

#include <string>

#include "base/debug_check.h"
#include "base/settings.h"
#include "eval/evaluate.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/positions.h"

namespace {

class CheckSymmetryTest : public testing::Test {
protected:
    void SetUp() override { state = &start_engine()->eval; }
    // The score by the hand-crafted evaluation, computed afresh.
    int hand_score(const Position &position) {
        state->eval_ply = 0;
        return hand_eval(state, position);
    }
    int network_score(const Position &position) {
        state->eval_ply = 0;
        int score = 0;
        EXPECT_TRUE(network_eval(state, position, &score));
        return score;
    }
    int tolerance_of(const char *fen) {
        const Position *position = set_up(fen);
        hand_score(*position);
        return hand_eval_tolerance(state, *position);
    }
    EvalState *state;
};

const char *const POSITIONS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N2N2/PP2BPPP/R1BQ1RK1 b - c3",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
    "2k5/8/1P1n4/3B4/8/6p1/5b2/1K6 b - -",
};

// A position whose key is (or is not) among those that are checked, with a few pieces of each kind.
Position *sampled_position(bool sampled) {
    for (Square knight = square_of("a4"); knight <= square_of("h4"); ++knight)
        for (int white = 0; white < 8; ++white)
            for (int black = 0; black < 8; ++black) {
                Position *position = set_up("8/1pp2ppp/2n2b2/3r4/8/2N2B2/PP3PPP/8 w - -");
                place_piece(position, KNIGHT, knight);
                place_piece(position, KING, white);
                place_piece(position, BLACK_CODE + KING, 56 + black);
                compute_keys(position);
                if (is_symmetry_sampled(*position) == sampled) return position;
            }
    ADD_FAILURE() << "no such position";
    return set_up(POSITIONS[0]);
}

TEST_F(CheckSymmetryTest, TheMirrorExchangesColoursAndRanks) {
    const Position mirrored =
        mirrored_position(*set_up("r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N2N2/PP2BPPP/R1BQK2R b KQ c3"));
    EXPECT_EQ(fen_of(&mirrored), "r1bqk2r/pp2bppp/2n2n2/2pp4/3P4/2N1PN2/PP2BPPP/R1BQ1RK1 w - c6");
    Position *again = set_up(fen_of(&mirrored));
    EXPECT_EQ(again->key, mirrored.key);
    EXPECT_EQ(again->pawn_key, mirrored.pawn_key);
    for (int code = 0; code < 16; ++code) EXPECT_EQ(again->pieces[code], mirrored.pieces[code]) << code;
    EXPECT_EQ(again->king_sq[WHITE], mirrored.king_sq[WHITE]);
    EXPECT_EQ(again->king_sq[BLACK], mirrored.king_sq[BLACK]);
    EXPECT_EQ(again->material[WHITE], mirrored.material[WHITE]);
    EXPECT_EQ(again->material[BLACK], mirrored.material[BLACK]);
}

TEST_F(CheckSymmetryTest, BothEvaluationsAreSymmetric) {
    for (const char *fen : POSITIONS) {
        const Position *position = set_up(fen);
        const Position mirrored = mirrored_position(*position);
        EXPECT_EQ(network_score(*position), network_score(mirrored)) << fen;
        EXPECT_NEAR(hand_score(*position), hand_score(mirrored), tolerance_of(fen)) << fen;
    }
}

TEST_F(CheckSymmetryTest, WhatIsClaimedOfTheHandCraftedEvaluation) {
    EXPECT_EQ(tolerance_of(POSITIONS[0]), 0);
    EXPECT_EQ(tolerance_of("4k3/pppp4/8/8/8/8/PPPP4/4K1N1 w - -"), 1);
    EXPECT_EQ(tolerance_of("QQ2k3/8/8/8/8/8/8/4K3 w - -"), NO_SYMMETRY);
    EXPECT_EQ(tolerance_of("4k3/8/8/P7/8/8/8/4K3 w - -"), 1);
    EXPECT_EQ(tolerance_of("r3k3/8/8/7r/P7/8/8/4K3 w - -"), NO_SYMMETRY);  // two rooks on the passed pawn's way
}

TEST_F(CheckSymmetryTest, WhatIsClaimedOfTheNetwork) {
    network_score(*set_up(POSITIONS[0]));
    EXPECT_TRUE(is_network_symmetric(state));
    ++network.hidden_biases[network.hidden_size / 2];
    EXPECT_FALSE(is_network_symmetric(state));
    --network.hidden_biases[network.hidden_size / 2];
    network_score(*set_up("QQQ1k3/8/8/8/8/8/8/4K3 w - -"));  // more queens than the bound of the sums allows for
    EXPECT_FALSE(is_network_symmetric(state));
}

// A mirrored position has the end-game half one lower on one side only.
TEST_F(CheckSymmetryTest, EndingsMayDifferByOne) {
    int differing = 0;
    for (Square square = 8; square < 16; ++square) {
        Position *position = set_up("4k3/ppp5/8/8/8/8/8/4K1NB w - -");
        place_piece(position, PAWN, square);
        compute_keys(position);
        const Position mirrored = mirrored_position(*position);
        const int difference = hand_score(*position) - hand_score(mirrored);
        EXPECT_LE(std::abs(difference), 1);
        differing += difference != 0;
    }
    EXPECT_GT(differing, 0);
}

using CheckSymmetryDeathTest = CheckSymmetryTest;

TEST_F(CheckSymmetryDeathTest, AnotherScoreEndsTheProgram) {
    const Position *position = sampled_position(true);
    const int by_network = network_score(*position), by_hand = hand_score(*position);
    require_symmetric_network(state, *position, by_network);
    require_symmetric_hand(state, *position, by_hand);
    EXPECT_DEATH(require_symmetric_network(state, *position, by_network + 1),
                 "check failed in network_eval: the mirrored position has another score: .* and .* in ");
    EXPECT_DEATH(require_symmetric_hand(state, *position, by_hand + 3),
                 "check failed in hand_eval: the mirrored position has another score");
}

TEST_F(CheckSymmetryDeathTest, OtherKeysAreNotChecked) {
    const Position *position = sampled_position(false);
    require_symmetric_network(state, *position, network_score(*position) + 100);
    require_symmetric_hand(state, *position, hand_score(*position) + 100);
}

// Damage that the search could do to what an evaluation keeps.
TEST_F(CheckSymmetryDeathTest, DebugBuildsCheckEvaluations) {
    if (!DEBUG_CHECKS) GTEST_SKIP() << "this build has no checks";
    const Position *position = sampled_position(true);
    evaluate(state, *position, WHITE, 3, 0);
    for (EvalCacheEntry &entry : state->eval_cache) entry.key = 0;
    for (int pass = 0; pass < ACC_SNAPSHOTS; ++pass)
        for (int i = 0; i < state->acc_hidden_size / 2; ++i) state->acc_snapshots[pass].white_acc[i] += 500;
    EXPECT_DEATH(evaluate(state, *position, WHITE, 3, 0), "check failed in network_eval");
    free_network_buffers(state);

    settings.use_nn = false;
    evaluate(state, *position, WHITE, 3, 0);
    for (EvalCacheEntry &entry : state->eval_cache) entry.key = 0;
    for (PawnCacheEntry &entry : state->pawn_cache) entry.white += 100 << 16 | 100;
    EXPECT_DEATH(evaluate(state, *position, WHITE, 3, 0), "check failed in hand_eval");
    for (PawnCacheEntry &entry : state->pawn_cache) entry = PawnCacheEntry{};
}

}  // namespace
