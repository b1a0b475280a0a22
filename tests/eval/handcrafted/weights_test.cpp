// The precomputed weights against the parameters that they are made from.
#include "eval/handcrafted/weights.h"

#include "board/types.h"
#include "gtest/gtest.h"
#include "support/engine.h"

namespace {

struct Weights : ::testing::Test {
    Weights() { start_engine(); }
    ~Weights() override { load_weights(); }
};

}  // namespace

TEST_F(Weights, SharesByCount) {
    EXPECT_EQ(eval_weights.queen_mobility[27], 12 + 66 * 65536);  // 0.41 of 31 and 163
    EXPECT_EQ(eval_weights.pawn_shield[9], 0);
    EXPECT_EQ(eval_weights.knight_outpost[OUTPOST_DEFENDED], knight_outpost->packed);
}

TEST_F(Weights, MaterialIsInTheSquareTables) {
    for (int square = 0; square < 64; ++square) {
        const u32 knight = packed_times(1, mtl_knight) + packed_times(1, PST_N[square]);
        EXPECT_EQ(eval_weights.piece_square[KNIGHT][square], static_cast<i32>(knight));
        const u32 pawn = packed_times(1, mtl_pawn) + packed_times(1, PST_P1[square]);
        EXPECT_EQ(eval_weights.pawn_square[1][square], static_cast<i32>(pawn));
        EXPECT_EQ(eval_weights.piece_square[KING][square], PST_K[square]->packed);
    }
}

TEST_F(Weights, PassersByKingDistance) {
    // On the seventh rank (relative rank 6) the weight is 1: a quarter of the parameter for each step from distance 2.
    EXPECT_EQ(eval_weights.passer_enemy_king[6][2], 0);
    EXPECT_EQ(eval_weights.passer_enemy_king[6][6], packed_share(ppawn_ekprox, 1.0f));
    EXPECT_EQ(eval_weights.passer_own_king[6][0], eval_weights.passer_own_king[6][1]);  // the king is in the way
    EXPECT_EQ(eval_weights.passer[PASSER_FREE][6], ppawn_free->packed);
    EXPECT_EQ(eval_weights.passer[PASSER_FREE][7], 0);
}

TEST_F(Weights, DerivedAnewAfterAChangeOfTheTable) {
    parse_parameter_text("start\nmtl_pawn,90,110\n");
    derive_eval_weights();
    const u32 pawn = 90u + (110u << 16) + packed_times(1, PST_P2[12]);
    EXPECT_EQ(eval_weights.pawn_square[0][12], static_cast<i32>(pawn));
}
