// What the evaluation keeps for one search thread: its caches, the network's last passes and working fields.
#pragma once

#include "board/position.h"

struct EvalCacheEntry {
    u64 key;
    i16 score;
};

struct PawnCacheEntry {
    u64 key;
    i32 white, black;  // packed scores
};

// One pass of the network: piece sets and raw sums. A later pass adds only the difference.
struct AccumulatorCache {
    i16 *white_acc;  // raw sums of the white perspective, half the hidden size
    i16 *black_acc;
    Bitboard white_sets[7];  // pieces[0..6] at the pass
    Bitboard black_sets[7];  // pieces[8..14]
    u16 mirror[2];           // square transformations, white and black
    i32 king_bucket[2];      // bucket offsets in rows, white and black
    bool exact;              // no addition has saturated: the sums depend on the position alone
};
constexpr int ACC_SNAPSHOTS = 8;  // passes kept, by ply; a power of two

// Working fields of one hand-crafted evaluation, valid until the next.
struct EvalScratch {
    i32 score[2];        // packed running score by colour
    i32 king_attack[2];  // danger units against the king of that colour
    u8 mirror[2];        // square transform of piece-square look-ups
    Bitboard king_zone[2];
    Bitboard attacks[2][7];  // [0] all, [1..6] by type
    Bitboard double_attacks[2];
    Bitboard low_attacks[2];   // pawns and minors
    Bitboard mid_attacks[2];   // plus rooks
    Bitboard high_attacks[2];  // plus queens
    Bitboard outpost_area[2];
    Bitboard pawn_fill[2];  // squares ahead of the pawns of that colour
    Bitboard passers, candidates;
    Bitboard free_pawns, hung_pieces;
    float phase;            // 1 full middle game, 0 bare ending
    u8 trace_on;            // take the snapshots below
    i32 trace_terms[9][2];  // packed stage values, white and black
};

constexpr int EVAL_CACHE_BANK = 4096;
constexpr int PAWN_CACHE_SIZE = 8192;

struct EvalState {
    u64 eval_calls;  // the four counters are zeroed at the start of each search
    u64 eval_cache_hits;
    u64 pawn_probes;
    u64 pawn_hits;
    i16 *accumulator;                 // hidden values after activation, filled on request
    AccumulatorCache *acc_snapshots;  // ACC_SNAPSHOTS of them
    AccumulatorCache *acc_cache;      // the last pass, one of acc_snapshots
    i32 acc_hidden_size;              // hidden size that the buffers were made for; 0 without buffers
    u32 acc_generation;               // network load that acc_snapshots belong to
    bool own_rows_wanted;             // read the first layer from a copy of this thread's own, see forward.h
    u32 own_rows_generation;          // network load that own_rows was copied from
    u64 own_rows_bytes;               // size of own_rows
    i16 *own_rows;                    // the copy; null: the weights that all threads share
    i16 eval_ply;                     // ply of the last evaluate
    i16 output_head;                  // output row of the last pass, 0..4
    i16 net_material[2];              // the values that chose the output head
    i16 piece_counts[10];             // white P N B R Q, then black
    float raw_net_score;              // the last pass's sum before scaling
    Bitboard occupancy;               // of the last pass
    EvalScratch scratch;
    EvalCacheEntry eval_cache[2 * EVAL_CACHE_BANK];  // bank 0 white, bank 1 black to evaluate
    PawnCacheEntry pawn_cache[PAWN_CACHE_SIZE];
};
