// Checks of hash entries and of picked lists, by generating all moves.
#include "search/check_search.h"

#include "base/debug_check.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "search/search_state.h"

static constexpr int EVAL_BOUND = 15000;  // hand-crafted evaluation, contempt and table result together stay below it

static void end_on_position(const Position *position, const char *fault, const char *where) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 1);
    end_on_fault(where, fault, fen);
}

const char *hash_entry_fault(const Position *position, int score, int eval, Move move, int bound) {
    if (bound < 1 || bound > 3) return "a bound that does not exist";
    if (score > MATE_SCORE || score < -MATE_SCORE) return "a score beyond mate";
    if (eval > EVAL_BOUND || eval < -EVAL_BOUND) return "a static evaluation beyond mate";
    MoveEntry list[MOVE_LIST_SIZE];
    const MoveEntry *end = generate_all(position, list);
    for (const MoveEntry *entry = list; entry != end; ++entry)
        if (entry->move == move) return nullptr;
    return "a move that no generator makes";
}

void require_sound_hash_entry(const Position *position, int score, int eval, Move move, int bound) {
    if (const char *fault = hash_entry_fault(position, score, eval, move, bound))
        end_on_position(position, fault, "hash_probe");
}

// Entries with this move from `list` to its end mark.
static int times_picked(const MoveEntry *list, Move move) {
    int times = 0;
    for (; list->move != END_OF_LIST; ++list) times += list->move == move;
    return times;
}

const char *picked_list_fault(ThreadState *thread, bool full, Move hash_move) {
    Position *position = &thread->position;
    const int side = position->stm;
    const MoveEntry *begin = thread->plies[thread->game.ply].move_list;
    if (hash_move && begin->move == hash_move && times_picked(begin, hash_move) == 2) ++begin;
    for (const MoveEntry *entry = begin; entry->move != END_OF_LIST; ++entry) {
        const bool seventh = type_of(entry->piece) == PAWN && relative_rank(side, to_of(entry->move)) == 6;
        if (times_picked(begin, entry->move) > (!full && seventh ? 2 : 1)) return "a move is picked twice";
    }
    MoveEntry list[MOVE_LIST_SIZE];
    const MoveEntry *end = generate_all(position, list);
    for (const MoveEntry *entry = list; entry != end; ++entry) {
        const bool pawn = type_of(entry->piece) == PAWN;
        const bool captures = entry->captured || (pawn && file_of(from_of(entry->move)) != file_of(to_of(entry->move)));
        const Move promotion = pawn ? flags_of(entry->move) : static_cast<Move>(0);
        const bool wanted = full || (promotion ? promotion == PROMO_QUEEN : captures);
        if (wanted && times_picked(begin, entry->move) == 0 && is_move_legal(position, side, entry->move))
            return "a legal move is not picked";
    }
    return nullptr;
}

void require_sound_picked_list(ThreadState *thread, bool full, Move hash_move) {
    if (const char *fault = picked_list_fault(thread, full, hash_move))
        end_on_position(&thread->position, fault, "next_move");
}

void require_room_in_pool(const ThreadState *thread, const MoveEntry *end) {
    if (end < thread->move_pool || end + 3 > thread->move_pool + MOVE_POOL_SIZE)
        end_on_position(&thread->position, "a move list ends outside its pool", "close_move_list");
}
