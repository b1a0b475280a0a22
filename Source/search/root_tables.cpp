// The tablebases at the root: which moves they leave, and when they choose the move.
#include "search/root_tables.h"

#include <algorithm>
#include <cstdio>

#include "base/output.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "search/search_state.h"
#include "tablebase/tablebase.h"

static constexpr int TB_WIN_SCORE = 9800;
static constexpr int TB_ROOT_PROBE_DEPTH = 80;
static constexpr int TB_ROOT_MOVES = 256;   // more than seven men have
static constexpr int TB_RANK_FIFTY = 10;    // from here on progress comes before searching
static constexpr int TB_CLOCK_LIMIT = 100;  // half-moves without capture or pawn move that make a draw
static constexpr int TB_RANK_WIN = 60;      // likewise when a win's distance plus the clock exceeds it

// True if the move gives away the result `wdl` of the root. A move without an answer does not.
static bool loses_table_result(Position *position, Move move, int wdl) {
    make_move(position, move);
    const int reply = tb_probe_wdl(position, TB_ROOT_PROBE_DEPTH);
    unmake_move(position);
    return reply != TB_NO_ANSWER && tb_reversed(reply) < wdl;
}

// Removes the marked root moves. Returns false and leaves all of them if none would be left, as with damaged tables
// that contradict each other.
static bool rule_out(MoveEntry *list, const bool *marked) {
    bool any_left = false;
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        any_left |= entry->move && !marked[entry - list];
    if (!any_left) return false;
    for (MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (marked[entry - list]) {
            entry->move = 0;
            entry->score = -SCORE_INFINITE;
        }
    return true;
}

// Removes the root moves that give a table result away and prints the line about it. False when nothing
// could be removed because no move would be left.
static bool filter_by_tables(ThreadState *thread) {
    Position *position = &thread->position;
    const int wdl = search_run.tb_wdl;
    MoveEntry *const list = thread->plies[1].move_list;
    bool loses[TB_ROOT_MOVES];
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        loses[entry - list] = loses_table_result(position, entry->move, wdl);
    const bool consistent = rule_out(list, loses);

    // One line with the result and the moves that are left.
    char line[512];
    int length = std::snprintf(line, sizeof line, "info string TB result is %s with moves: ",
                               wdl == TB_WIN    ? "WIN"
                               : wdl == TB_LOSS ? "LOSS"
                                                : "DRAW");
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (entry->move && length < 480)
            length += std::snprintf(line + length, sizeof line - static_cast<std::size_t>(length), "%s%s ",
                                    SQUARE_NAMES[from_of(entry->move)], SQUARE_NAMES[to_of(entry->move)]);
    // The limit is above INFO_NEVER: this line is printed even in searches without information lines.
    if (search_limits.info_min_time < 99999.9f) print_line(line);
    return consistent;
}

// True if any position since the last capture or pawn move has been on the board twice.
static bool has_repetition(const Position *position) {
    const ThreadState *thread = thread_of(position);
    const GameRecord *stack = thread->game.game_stack;
    const int last = thread->game.game_ply, first = std::max(0, last - position->fifty);
    const auto key_at = [&](int ply) { return ply == last ? position->key : stack[ply].key; };
    for (int later = last; later >= first; --later)
        for (int earlier = later - 2; earlier >= first && stack[earlier].move; earlier -= 2)
            if (key_at(later) == key_at(earlier)) return true;
    return false;
}

// True if distance to the next capture or pawn move comes before anything a search could find: the
// half-move clock is running, or a search could waste a win, as it is far away or the game has begun to
// repeat. (Ranked moves come nearer to the goal one by one, so that no position comes a third time.)
static bool is_ranking_due(const Position *position) {
    if (position->fifty >= TB_RANK_FIFTY) return true;
    if (search_run.tb_wdl != TB_WIN) return false;
    if (has_repetition(position)) return true;
    int distance;
    return tb_root_distance(position, &distance) && distance + position->fifty > TB_RANK_WIN;
}

// True if the move wins too late: the fifty-move rule comes before the next capture or pawn move.
static bool wins_too_late(Position *position, Move move) {
    make_move(position, move);
    int distance;
    const bool late =
        position->fifty && tb_root_distance(position, &distance) && position->fifty - distance > TB_CLOCK_LIMIT;
    unmake_move(position);
    return late;
}

// A won root that is left to the search: also removes the moves that would lose the win to the half-move
// clock, which the filter above does not look at.
static void filter_late_wins(ThreadState *thread) {
    MoveEntry *const list = thread->plies[1].move_list;
    bool late[TB_ROOT_MOVES];
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        late[entry - list] = entry->move && wins_too_late(&thread->position, entry->move);
    rule_out(list, late);
}

// First removes moves, then asks whether distance has to come before searching.
bool answer_from_tables(ThreadState *thread, Move *move, int *score) {
    Position *position = &thread->position;
    search_run.tb_move = 0;
    search_run.tb_wdl = tb_probe_wdl(position, TB_ROOT_PROBE_DEPTH);
    if (search_run.tb_wdl == TB_NO_ANSWER) return false;
    if (!filter_by_tables(thread)) {
        search_run.tb_wdl = TB_NO_ANSWER;  // not to be trusted
        return false;
    }
    if (is_ranking_due(position)) {
        TbWdl result;
        if (tb_root_rank(position, move, &result)) {
            search_run.tb_wdl = result;
            search_run.tb_move = *move;
            *score = result == TB_WIN ? TB_WIN_SCORE : result == TB_LOSS ? -TB_WIN_SCORE : 0;
            if (is_move_legal(position, position->stm, *move)) return true;
        }
    } else if (search_run.tb_wdl == TB_WIN) {
        filter_late_wins(thread);
    }
    thread->plies[1].tb_wdl = search_run.tb_wdl;
    return false;
}
