// The thread records: the master, the workers' pointers, allocation.
#include "search/thread_state.h"

#include <cstring>
#include <new>

ThreadState *root_thread_state;
std::atomic<ThreadState *> worker_states[160];

ThreadState *allocate_thread_state(u8 id) {
    ThreadState *thread = new (std::nothrow) ThreadState();
    if (!thread) return nullptr;
    thread->thread_id = id;
    thread->game.ply = 1;
    thread->position.game = &thread->game;
    thread->position.king_sq[0] = thread->position.king_sq[1] = NO_SQUARE;
    thread->position.ep_square = NO_SQUARE;
    if (id == MASTER_THREAD_ID) std::memset(static_cast<void *>(thread->move_pool), 0xFF, sizeof thread->move_pool);
    for (int ply = 0; ply < 3; ++ply)
        thread->plies[ply].move_list = thread->plies[ply].current_move = thread->move_pool + ply;
    return thread;
}

void free_thread_state(ThreadState *thread) { delete thread; }
