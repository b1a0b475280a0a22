// The record of one thread: its game, its position, and all that its search and its evaluation keep.
// The master's record holds the game itself; each search thread has a copy.
#pragma once

#include <atomic>
#include <type_traits>

#include "board/game.h"
#include "board/moves.h"
#include "board/position.h"
#include "eval/eval_state.h"
#include "platform/relaxed.h"

// What the search expects of a node. Below a cut node lies an all node and the other way round.
enum NodeType : i16 {
    NODE_ALL = -1,  // no move will raise alpha
    NODE_PV = 0,    // on the principal variation, open window
    NODE_CUT = 1,   // some move will reach beta
};
constexpr NodeType child_type(NodeType type) { return static_cast<NodeType>(-type); }

// How the root's last score relates to the aspiration window.
enum RootState : i16 { ROOT_IN_WINDOW, ROOT_FAILS_LOW, ROOT_FAILS_HIGH };

// One ply of the search line; the root is ply 1.
struct PlyRecord {
    NodeType node_type;
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
    u16 picker_stage;      // a PickerStage and PickerFlags
    MoveEntry *move_list;  // first entry of the ply's list in move_pool
    MoveEntry *current_move;
};

constexpr int MAX_PLY = 80;
constexpr int PLY_RECORDS = MAX_PLY + 6;  // a node writes list starts two plies ahead
constexpr int MOVE_POOL_SIZE = 32768;     // every ply of a line with the fullest lists
constexpr int PV_SIZE = 84;               // a line, indexed by ply
constexpr u8 MASTER_THREAD_ID = 160;

constexpr u32 HISTORY_START = 16384;  // every history cell at the start of a search

struct ThreadState {
    Game game;  // the first member: thread_of() depends on it
    Position position;
    PlyRecord plies[PLY_RECORDS];
    MoveEntry move_pool[MOVE_POOL_SIZE];  // one list area for all plies

    u32 history[16][64];        // 18-bit scale, by piece code and target
    u16 counter_move1[16][64];  // by piece code and target of the previous move
    u16 counter_move2[16][64];
    u16 follow_move[16][64];        // by piece code and target of the move two plies back
    Relaxed<u16> pv_line[PV_SIZE];  // word 1 the best root move, word 2 on its line
    Relaxed<i16> iteration_depth;
    Relaxed<RootState> root_fail;
    Relaxed<i16> completed_depth;
    Relaxed<i16> seldepth;
    Relaxed<i16> root_score;

    // Counters, zeroed at the start of each search.
    Relaxed<u64> nodes;
    Relaxed<u64> tb_hits;
    Relaxed<u64> hash_probes;
    Relaxed<u64> hash_hits;
    u64 perft_count;
    i32 diagnostic_counts[4];  // printed by the console when not 0

    u8 thread_id;  // 0..159, or MASTER_THREAD_ID
    u32 thread_rand;

    EvalState eval;
};
static_assert(std::is_standard_layout_v<ThreadState>);

// The record that a thread's position belongs to. The game is its first member, so that both have one address.
inline ThreadState *thread_of(const Position *position) { return reinterpret_cast<ThreadState *>(position->game); }

extern ThreadState *root_thread_state;                 // the master: holds the game
extern std::atomic<ThreadState *> worker_states[160];  // one per possible search thread, made on first use

inline ThreadState *worker_state(int index) { return worker_states[index].load(std::memory_order_acquire); }

// Returns a zeroed record with its list pointers and its position's game set, or nullptr if memory runs out. Free it
// with free_thread_state, after free_network_buffers.
ThreadState *allocate_thread_state(u8 id);
void free_thread_state(ThreadState *thread);
