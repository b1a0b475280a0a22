// The factors of the evaluation's scaled terms, and the ready-made weights.
#include "eval/handcrafted/weights.h"

#include "board/types.h"
#include "eval/handcrafted/parameter_text.h"

EvalWeights eval_weights;

// Mobility: the share by count of safe squares.
static const float KNIGHT_MOBILITY[9] = {-0.53f, -0.16f, 0.0f, 0.12f, 0.22f, 0.31f, 0.39f, 0.47f, 0.47f};
static const float SLIDER_MOBILITY[15] = {-0.47f, -0.14f, 0.0f,  0.11f, 0.20f, 0.27f, 0.35f, 0.41f,
                                          0.47f,  0.53f,  0.53f, 0.53f, 0.53f, 0.53f, 0.53f};
// clang-format off
static const float QUEEN_MOBILITY[28] = {-0.47f, -0.24f, -0.14f, -0.06f, 0.0f,  0.06f, 0.11f,
                                         0.15f,  0.20f,  0.24f,  0.27f,  0.31f, 0.35f, 0.38f,
                                         0.41f,  0.41f,  0.41f,  0.41f,  0.41f, 0.41f, 0.41f,
                                         0.41f,  0.41f,  0.41f,  0.41f,  0.41f, 0.41f, 0.41f};
// clang-format on
static const float OUTPOST_WEIGHT[4] = {0.0f, 0.33f, 0.67f, 1.0f};

// By relative rank.
static const float PASSER_RANK_WEIGHT[8] = {0, 0.09f, 0.09f, 0.24f, 0.40f, 0.64f, 1.0f, 0};
static const float PASSER_KING_WEIGHT[8] = {0, 0.2f, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 0};
static const float PASSER_CONNECTED_WEIGHT[8] = {0, 0, 0, 0.4f, 0.8f, 1.0f, 0, 0};
static const float CANDIDATE_RANK_WEIGHT[8] = {0, 0, 0, 0.4f, 0.7f, 1.0f, 0, 0};

// By distance.
static const float CANDIDATE_KING_WEIGHT[6] = {0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f};
static const float PAWN_DISTANCE_WEIGHT[8] = {0, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 1.0f, 1.0f};

template <int SIZE>
static void fill_shares(i32 (&target)[SIZE], const ParamRecord *param, const float (&shares)[SIZE]) {
    for (int i = 0; i < SIZE; ++i) target[i] = packed_share(param, shares[i]);
}

static void fill_squares(i32 *target, ParamRecord *const *table, const ParamRecord *material) {
    for (int i = 0; i < 64; ++i)
        target[i] = static_cast<i32>(packed_times(1, table[i]) + (material ? packed_times(1, material) : 0));
}

static void derive_passer_weights() {
    fill_shares(eval_weights.passer[PASSER_BLOCKED], ppawn_base, PASSER_RANK_WEIGHT);
    fill_shares(eval_weights.passer[PASSER_MOBILE], ppawn_mobile, PASSER_RANK_WEIGHT);
    fill_shares(eval_weights.passer[PASSER_FREE], ppawn_free, PASSER_RANK_WEIGHT);
    fill_shares(eval_weights.passer_connected, ppawn_connected, PASSER_CONNECTED_WEIGHT);
    for (int rank = 0; rank < 8; ++rank) {
        const float weight = PASSER_KING_WEIGHT[rank] * 0.25f;
        for (int distance = 0; distance <= 6; ++distance) {
            // An own king on the point ahead of the pawn is in its way: worth less than one beside it.
            const int own = distance == 0 ? -1 : distance - 2;
            eval_weights.passer_own_king[rank][distance] = packed_share(ppawn_fkprox, weight * static_cast<float>(own));
            eval_weights.passer_enemy_king[rank][distance] =
                packed_share(ppawn_ekprox, weight * static_cast<float>(distance - 2));
        }
        for (int distance = 0; distance <= 5; ++distance)
            eval_weights.candidate[rank][distance] =
                packed_share(ppawn_candidate, CANDIDATE_KING_WEIGHT[distance] * CANDIDATE_RANK_WEIGHT[rank]);
    }
}

void derive_eval_weights() {
    fill_squares(eval_weights.pawn_square[0], PST_P2, mtl_pawn);
    fill_squares(eval_weights.pawn_square[1], PST_P1, mtl_pawn);
    fill_squares(eval_weights.pawn_defended, PST_DP, nullptr);
    fill_squares(eval_weights.pawn_neighbour, PST_CP, nullptr);
    fill_squares(eval_weights.piece_square[KNIGHT], PST_N, mtl_knight);
    fill_squares(eval_weights.piece_square[BISHOP], PST_B, mtl_bishop);
    fill_squares(eval_weights.piece_square[ROOK], PST_R, mtl_rook);
    fill_squares(eval_weights.piece_square[QUEEN], PST_Q, mtl_queen);
    fill_squares(eval_weights.piece_square[KING], PST_K, nullptr);

    fill_shares(eval_weights.knight_mobility, knight_mobility, KNIGHT_MOBILITY);
    fill_shares(eval_weights.bishop_mobility, bishop_mobility, SLIDER_MOBILITY);
    fill_shares(eval_weights.rook_mobility, rook_mobility, SLIDER_MOBILITY);
    fill_shares(eval_weights.queen_mobility, queen_mobility, QUEEN_MOBILITY);
    fill_shares(eval_weights.knight_outpost, knight_outpost, OUTPOST_WEIGHT);
    fill_shares(eval_weights.bishop_outpost, bishop_outpost, OUTPOST_WEIGHT);
    derive_passer_weights();

    // A full shield of nine gives nothing, a thinner one a negative share.
    for (int count = 0; count <= 9; ++count)
        eval_weights.pawn_shield[count] = packed_share(pawn_shield, static_cast<float>(count - 9) * 0.111f);
    fill_shares(eval_weights.king_pawn_distance, king_pawn_dist, PAWN_DISTANCE_WEIGHT);
}

void load_weights() {
    init_parameters();
    parse_parameter_text(PARAMETER_TEXT);
    derive_eval_weights();
}
