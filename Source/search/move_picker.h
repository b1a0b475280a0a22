// The staged move picker that every move loop uses.
#pragma once

#include "search/thread_state.h"

// Where the picker of a ply is: bits 0-3 of picker_stage. A full picker goes HASH_MOVE, TACTICAL, GOOD_CAPTURES,
// QUIETS, ORDERED_REST, PLAIN_REST; one of quiescence HASH_MOVE, TACTICAL, CAPTURES, CHECKS, PLAIN_REST.
enum PickerStage : u16 {
    STAGE_HASH_MOVE = 0,      // hand out the hash move, before anything is generated
    STAGE_TACTICAL = 1,       // generate and score captures, promotions and pushes to the seventh rank
    STAGE_CAPTURES = 2,       // quiescence: hand them all out, best first
    STAGE_CHECKS = 3,         // quiescence: generate the quiet checks
    STAGE_GOOD_CAPTURES = 4,  // hand out the captures that lose no material, best first
    STAGE_QUIETS = 5,         // generate and score the quiet moves; the losing captures stay in the list
    STAGE_ORDERED_REST = 6,   // hand out quiet moves and losing captures by score
    STAGE_PLAIN_REST = 7,     // hand out what is left in list order, where sorting no longer pays
    STAGE_LIST_START = 8,     // go back to the start of a list that the caller has filled and scored
    STAGE_LIST = 9,           // hand that list out, best first
};
constexpr u16 STAGE_MASK = 15;

// What the picker of a ply does: bits 4-7 of picker_stage.
enum PickerFlag : u16 {
    PICK_HASH_MOVE = 0x10,  // hand out hash_move first
    PICK_ALWAYS = 0x20,     // set by all callers, not tested
    PICK_FULL = 0x40,       // captures by exchange value, under-promotions, quiet moves
    PICK_CHECKS = 0x80,     // after the captures, quiet checks
};
// The start values of picker_stage, by user.
constexpr u16 PICK_SEARCH = PICK_HASH_MOVE | PICK_ALWAYS | PICK_FULL;  // search_moves
constexpr u16 PICK_QUIESCE = PICK_ALWAYS;                              // quiesce_moves below its first ply
constexpr u16 PICK_QUIESCE_CHECKS = PICK_ALWAYS | PICK_CHECKS;         // quiesce_moves on its first ply
constexpr u16 PICK_COUNT = PICK_ALWAYS | PICK_FULL;                    // perft

// Ordering scores by captured type, NO_PIECE for promotions and en passant: captures that keep material, and others.
extern const i16 GOOD_CAPTURE_SCORE[6];
extern const i16 BAD_CAPTURE_SCORE[6];

// Ordering score of a tactical move, 2..250: above 200 when the exchange does not lose material, then by most valuable
// victim and least valuable attacker.
i16 capture_order_score(const Position *position, int side, const MoveEntry *entry);

// Ends the list of the thread's ply at `end` and starts the lists of the next two plies after it.
void close_move_list(ThreadState *thread, MoveEntry *end);
// Writes all pseudo-legal moves into the list of the thread's ply and closes it.
void generate_ply_list(ThreadState *thread);

// Returns the next pseudo-legal move of the thread's ply, or nullptr when there is none left. The hash move is
// handed out a second time when its stage generates it; the caller skips it.
MoveEntry *next_move(Position *position);
