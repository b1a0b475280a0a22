// What the hash table and the move picker hand out, checked by debug builds (see base/debug_check.h). The functions that
// name a fault return nullptr if there is none; the others end the program.
#pragma once

#include "search/thread_state.h"

// An entry that has passed every test of the probe: a bound that exists, a score up to mate, a static evaluation short
// of mate, and a move that the generators know.
const char *hash_entry_fault(const Position *position, int score, int eval, Move move, int bound);
void require_sound_hash_entry(const Position *position, int score, int eval, Move move, int bound);

// A list that the picker of the thread's ply has handed out to its end. No move comes twice, except `hash_move` (0 for
// none), which is also the first entry, and pushes to the seventh rank among quiescence's checks. The list of a full
// picker has every legal move; the other has every legal capture and promotion to a queen.
const char *picked_list_fault(ThreadState *thread, bool full, Move hash_move);
void require_sound_picked_list(ThreadState *thread, bool full, Move hash_move);
// The lists of a thread end within its pool.
void require_room_in_pool(const ThreadState *thread, const MoveEntry *end);
