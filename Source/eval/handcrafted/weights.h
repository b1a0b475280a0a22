// Precomputed packed weights derived from the parameter table: shares of a parameter by count, rank or distance, and
// material combined with the piece-square tables. Each entry equals what packed_share gives there.
#pragma once

#include "eval/handcrafted/parameters.h"

enum PasserState { PASSER_BLOCKED, PASSER_MOBILE, PASSER_FREE };
enum OutpostState { OUTPOST_NONE, OUTPOST_EYED, OUTPOST_HELD, OUTPOST_DEFENDED };

struct EvalWeights {
    i32 piece_square[7][64];  // by piece type, square in the owner's frame; material of N B R Q included
    i32 pawn_square[2][64];   // [1] kings on the same wing; material included
    i32 pawn_defended[64];
    i32 pawn_neighbour[64];
    i32 knight_mobility[9];  // by count of safe squares, as the next three
    i32 bishop_mobility[15];
    i32 rook_mobility[15];
    i32 queen_mobility[28];
    i32 knight_outpost[4];  // by OutpostState
    i32 bishop_outpost[4];
    i32 passer[3][8];           // by PasserState and relative rank
    i32 passer_own_king[8][7];  // by relative rank and distance 0..6
    i32 passer_enemy_king[8][7];
    i32 passer_connected[8];    // by relative rank
    i32 candidate[8][6];        // by relative rank and the enemy king's distance 0..5
    i32 pawn_shield[10];        // by shield squares 0..9
    i32 king_pawn_distance[8];  // by king steps
};

extern EvalWeights eval_weights;

// Fills the parameter table from the built-in text, and eval_weights from it. Once, at start.
void load_weights();
// Fills eval_weights from the parameter table; after every change of the table.
void derive_eval_weights();
