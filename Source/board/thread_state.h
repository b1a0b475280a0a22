// The record of one thread: its game, its position, and all that its search and its evaluation keep.
// One record holds the game itself (the master); each search thread has a copy. The folders above
// own the fields named after them; the record stands here because make and unmake work in it.
#pragma once

#include <atomic>

#include "board/position.h"
#include "platform/relaxed.h"

// One played or searched move.
struct GameRecord {
    u64 key;           // position key before the move
    u64 pawn_key;      // pawn key before the move
    u16 move;          // the move, a castling's to-square normalised; 0 ends the stack
    u16 undo;          // low byte captured piece type, high byte ep_square before the move
    Bitboard touched;  // before the move
    u16 rights;        // low byte fifty, high byte castling, before the move
};

struct MoveEntry {
    u16 move;     // END_OF_LIST ends a list
    i16 score;    // ordering score; the generators leave it unset
    u8 piece;     // code of the moving piece
    u8 captured;  // code on the to-square; 0 for quiet moves and en passant
};
static_assert(sizeof(MoveEntry) == 6);

// One ply of the search line; the root is ply 1.
struct PlyRecord {
    i16 node_type;    // 0 principal variation, 1 expected cut, -1 expected all
    i16 depth;        // plies left, after the node's adjustments
    i16 static_eval;  // centipawns for the side to move
    i16 alpha, beta;  // the window as the move loop entered it
    u8 in_check;
    u8 move_flags;   // classify_move of the move being searched
    i16 move_count;  // moves searched; pruned and illegal ones do not count
    u8 improving;    // static_eval above that of two plies before
    i32 tb_wdl;      // TbWdl: 0 loss .. 4 win, -1 no answer
    i16 hash_score;  // -10001 none
    u16 hash_move;
    u16 killer1, killer2, evasion_killer;
    u8 check_square;       // a square that checks the side to move, or NO_SQUARE
    u16 picker_stage;      // stage in bits 0-3, flags in bits 4-7
    MoveEntry *move_list;  // first entry of the ply's list in move_pool
    MoveEntry *current_move;
};

struct EvalCacheEntry {
    u64 key;
    i16 score;
};

struct PawnCacheEntry {
    u64 key;
    i32 white, black;  // packed scores
};

// A network pass of a thread: piece sets and raw sums, so that a later pass adds only the difference.
struct AccumulatorCache {
    i16 *white_acc;  // raw sums of the white perspective, half the hidden size
    i16 *black_acc;
    Bitboard white_sets[7];  // pieces[0..6] at the pass
    Bitboard black_sets[7];  // pieces[8..14]
    u16 mirror[2];           // square transformations, white and black
    i32 king_bucket[2];      // bucket offsets in rows, white and black
    bool exact;              // no addition saturated on the way here: the sums depend on the position alone
};
constexpr int ACC_SNAPSHOTS = 8;  // passes that are kept, by ply; a power of two

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

// Games use up to 900 records; the rest is room for the search line of the longest of them.
constexpr int GAME_STACK_SIZE = 1000;
constexpr int GAME_STACK_LIMIT = 880;  // a game move beyond this drops the oldest records first
constexpr int MAX_PLY = 80;
constexpr int PLY_RECORDS = MAX_PLY + 6;  // a node writes list starts two plies ahead
constexpr int MOVE_POOL_SIZE = 32768;     // every ply of a line with the fullest lists
constexpr int PV_SIZE = 84;               // a line, indexed by ply
constexpr int EVAL_CACHE_BANK = 4096;
constexpr int PAWN_CACHE_SIZE = 8192;
constexpr u8 MASTER_THREAD_ID = 160;

struct ThreadState {
    GameRecord game_stack[GAME_STACK_SIZE];
    PlyRecord plies[PLY_RECORDS];
    MoveEntry move_pool[MOVE_POOL_SIZE];  // one list area for all plies

    // Search.
    u32 history[16][64];        // 18-bit scale, by piece code and target
    u16 counter_move1[16][64];  // by piece code and target of the previous move
    u16 counter_move2[16][64];
    u16 follow_move[16][64];        // by piece code and target of the move two plies back
    Relaxed<u16> pv_line[PV_SIZE];  // word 1 the best root move, word 2 on its line
    Relaxed<i16> iteration_depth;
    Relaxed<i16> root_fail;  // 0, 1 failing low, 2 failing high
    Relaxed<i16> completed_depth;
    Relaxed<i16> seldepth;
    Relaxed<i16> root_score;

    // Evaluation.
    EvalCacheEntry eval_cache[2 * EVAL_CACHE_BANK];  // bank 0 white, bank 1 black to evaluate
    PawnCacheEntry pawn_cache[PAWN_CACHE_SIZE];
    i16 eval_ply;                     // ply of the last evaluate
    i16 *accumulator;                 // hidden values after activation, filled on request
    AccumulatorCache *acc_snapshots;  // ACC_SNAPSHOTS of them
    AccumulatorCache *acc_cache;      // the last pass, one of acc_snapshots
    i32 acc_hidden_size;              // hidden size that the buffers were made for; 0 without buffers
    u32 acc_generation;               // network load that acc_snapshots belong to
    i16 piece_counts[10];             // white P N B R Q, then black
    i16 net_material[2];              // the values that chose the output head
    i16 output_head;
    float raw_net_score;
    Bitboard occupancy;
    EvalScratch scratch;

    Position position;

    // Counters, zeroed at the start of each search.
    Relaxed<u64> nodes;
    Relaxed<u64> tb_hits;
    Relaxed<u64> hash_probes;
    Relaxed<u64> hash_hits;
    u64 eval_calls;
    u64 eval_cache_hits;
    u64 pawn_probes;
    u64 pawn_hits;
    u64 perft_count;
    i32 diagnostic_counts[4];  // printed by the console when not 0

    i16 game_ply;   // records in use in game_stack
    i16 ply;        // search ply, 1 at the root
    u16 last_move;  // the last move made, 0 for none
    u8 thread_id;   // 0..159, or MASTER_THREAD_ID
    u32 thread_rand;
};

extern ThreadState *root_thread_state;                 // the master: holds the game
extern std::atomic<ThreadState *> worker_states[160];  // one per possible search thread, made on first use

inline ThreadState *worker_state(int index) { return worker_states[index].load(std::memory_order_acquire); }

// A zeroed record with its list pointers and owner set, or null when memory runs out. Freed by
// free_thread_state, buffers and all.
ThreadState *allocate_thread_state(u8 id);
void free_thread_state(ThreadState *thread);
