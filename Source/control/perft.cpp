// The path counter. It uses both ways of a search to its moves: the whole list near the root, and the staged
// picker below.
#include "control/perft.h"

#include <algorithm>

#include "base/output.h"
#include "board/attacks.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "platform/clock.h"
#include "search/move_picker.h"
#include "search/start.h"

static constexpr int LAST_LISTED_PLY = 4;  // root ply 1; below this one the picker takes over

// At the root a move is judged by making it: a second opinion on is_move_legal. In a castling every square
// of the king's way must be free of attack as well, the first and the last included: in Chess960 they may be
// the same.
static bool is_legal_when_made(Position *position, Move move) {
    const int side = position->stm;
    const Square from = from_of(move), to = to_of(move);
    if (flags_of(move) && type_of(position->board[from]) == KING)
        for (Square square = std::min(from, to); square <= std::max(from, to); ++square)
            if (is_square_attacked(position, square, side ^ 1)) return false;
    make_move(position, move);
    const bool safe = !is_square_attacked(position, position->king_sq[side], side ^ 1);
    unmake_move(position);
    return safe;
}

// The paths below a node, added to perft_count. The last ply is counted, not made.
static void count_below(Position *position, int depth) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[thread->game.ply];
    const int side = position->stm;
    const bool is_root = thread->game.ply == 1, listed = thread->game.ply <= LAST_LISTED_PLY;
    if (listed) {
        record->current_move = record->move_list;
        generate_ply_list(thread);
    } else {
        record->picker_stage = PICK_COUNT;
        record->hash_move = 0;
        record->check_square =
            static_cast<u8>(attacker_of_square(position, position->king_sq[side], side ^ 1, occupied(*position)));
        record->in_check = record->check_square != NO_SQUARE;
    }
    for (bool first = true;; first = false) {
        MoveEntry *entry;
        if (!listed) entry = next_move(position);
        else entry = first ? record->move_list : record->current_move + 1;
        if (!entry || entry->move == END_OF_LIST) return;
        record->current_move = entry;
        if (is_root ? !is_legal_when_made(position, entry->move) : !is_move_legal(position, side, entry->move))
            continue;
        if (depth == 1) {
            ++thread->perft_count;
            continue;
        }
        make_move(position, entry->move);
        count_below(position, depth - 1);
        unmake_move(position);
    }
}

u64 count_move_paths(Position *position, int depth) {
    ThreadState *thread = thread_of(position);
    thread->game.ply = 1;
    thread->perft_count = 0;
    count_below(position, depth);
    return thread->perft_count;
}

void run_perft(int depth) {
    constexpr double SHORTEST = 1e-6;  // seconds; keeps the rate finite
    search_setup(limits_of_settings());
    const double start = clock_seconds();
    const double paths =
        static_cast<double>(count_move_paths(&root_thread_state->position, std::clamp(depth, 1, PERFT_MAX_DEPTH)));
    const double seconds = std::max(clock_seconds() - start, SHORTEST);
    print_format("visited %0.0f nodes in %0.3f seconds, nps= %0.0f", paths, seconds, paths / seconds);
}
