// The staged move picker behind every move loop.
#pragma once

#include "search/thread_state.h"

constexpr u16 PICK_HASH_MOVE = 0x10;  // hand out hash_move first
constexpr u16 PICK_ALWAYS = 0x20;     // set by all callers, not tested
constexpr u16 PICK_FULL = 0x40;       // captures by exchange value, under-promotions, quiet stages
constexpr u16 PICK_CHECKS = 0x80;     // after the captures, quiet checks
constexpr u16 PICK_SEARCH = 0x70;     // search_moves
constexpr u16 PICK_QUIESCE_CHECKS = 0xA0;
constexpr u16 PICK_QUIESCE = 0x20;
constexpr u16 PICK_COUNT = 0x60;  // the move counter of perft

extern const i16 GOOD_CAPTURE_SCORE[6];  // by captured type
extern const i16 BAD_CAPTURE_SCORE[6];

// Ordering score of a tactical move: by exchange value, victim and mover. 2..250.
i16 capture_order_score(const Position *position, int side, const MoveEntry *entry);

// Ends the list of the thread's ply at `end` and starts the lists of the next two plies after it.
void close_move_list(ThreadState *thread, MoveEntry *end);
// Writes all pseudo-legal moves into the list of the thread's ply and closes it.
void generate_ply_list(ThreadState *thread);

// The next pseudo-legal move of the thread's ply, or null. The hash move can come a second time.
MoveEntry *next_move(Position *position);
