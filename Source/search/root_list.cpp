// The list of root moves.
#include "search/root_list.h"

#include "board/move_tests.h"
#include "search/move_picker.h"
#include "search/search_state.h"

static constexpr int QUIET_ORDER = HISTORY_START * 80 / 0x40000;  // as the move picker scores an untouched cell

void make_root_list(ThreadState *thread) {
    Position *position = &thread->position;
    const int side = position->stm;
    MoveEntry *kept = thread->plies[1].move_list;
    generate_ply_list(thread);
    // Keeps the legal moves; en passant counts as a capture.
    for (const MoveEntry *entry = kept; entry->move != END_OF_LIST; ++entry) {
        if (!is_move_legal(position, side, entry->move)) continue;
        *kept = *entry;
        const bool en_passant = type_of(kept->piece) == PAWN && to_of(kept->move) == position->ep_square;
        kept->score =
            kept->captured || en_passant ? capture_order_score(position, side, kept) : static_cast<i16>(QUIET_ORDER);
        ++kept;
    }
    close_move_list(thread, kept);
    if (kept - thread->plies[1].move_list == 1) search_run.single_reply = 1;
}

Move first_root_move(const ThreadState *thread) {
    const MoveEntry *first = nullptr;
    for (const MoveEntry *entry = thread->plies[1].move_list; entry->move != END_OF_LIST; ++entry)
        if (entry->move && (!first || entry->score > first->score)) first = entry;
    return first ? first->move : static_cast<Move>(0);
}
