// The root: setting a search up, root moves and their order, aspiration windows, deepening.
#include "search/root.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/output.h"
#include "base/random.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "eval/evaluate.h"
#include "platform/clock.h"
#include "platform/interrupt.h"
#include "search/hash_table.h"
#include "search/interior.h"
#include "search/move_picker.h"
#include "search/parallel.h"
#include "search/pruning_tables.h"
#include "search/quiescence.h"
#include "search/report.h"
#include "search/search_state.h"
#include "search/strength.h"
#include "search/time_check.h"
#include "tablebase/tablebase.h"

static constexpr u32 HISTORY_START = 16384;
static constexpr int QUIET_ORDER = HISTORY_START * 80 / 0x40000;
static constexpr int ATTEMPTS = 20;        // aspiration windows of one line
static constexpr int WINDOW_OPEN = 8000;   // a bound beyond it opens its side
static constexpr int LAST_GAME_PLY = 883;  // game_ply + depth stays within the stack
static constexpr int TB_WIN_SCORE = 9800;
static constexpr int TB_DEPTH = 99;  // printed for an answer from the tables
static constexpr int TB_ROOT_PROBE_DEPTH = 80;
static constexpr int TB_ROOT_MOVES = 256;      // more than seven men have
static constexpr int TB_RANK_FIFTY = 10;       // from here on progress comes before searching
static constexpr int TB_CLOCK_LIMIT = 100;     // half-moves without capture or pawn move that make a draw
static constexpr int TB_RANK_WIN = 60;         // likewise when a win's distance plus the clock exceeds it
static constexpr float FULL_ROOT_RATE = 2000;  // node rates above search depth 1 with full windows
static constexpr float PERIODIC_SECONDS = 3.5f;

// The move that answers a search stopped before its first root move had a score; 0 before the root list
// is made. Written by the master thread, read after the search.
static Relaxed<u16> fallback_move;

static void print_start_lines() {
    if (!(settings.info_min_time < INFO_NEVER) || (settings.uci_mode && !settings.log_on)) return;
    char fen[FEN_SIZE];
    position_to_fen(&root_thread_state->position, fen, 0);
    print_format("info string fen %s", fen);
    print_format("info string clock= %0.2f, target_time= %0.3f",
                 static_cast<double>(game_clock.remaining[search_run.root_side]),
                 static_cast<double>(search_run.target_time));
}

// The order matters: the clock is read first, and the first target needs all that stands before it.
void search_setup() {
    // 1-3. Clock, tables, node rate.
    const ClockReading now = read_clock();
    search_run.start_time = static_cast<double>(now.seconds) + static_cast<double>(now.nanoseconds) * 1e-9;
    search_run.elapsed = 0.0f;
    build_pruning_tables();
    choose_node_rate();
    tb_check_files();

    // 4-5. Published state, age stamp.
    search_run.root_side = root_thread_state->position.stm;
    choose_contempt_side(root_thread_state->position, (read_search_state() & SEARCH_BENCH) != 0);
    root_thread_state->game.ply = 1;
    search_run.stop = 0;
    search_run.depth = 0;
    published.depth = 0;
    published.score = 0;
    search_run.target_time = 0.0f;
    published.totals.nodes = 0;
    published.change_depth = 0;
    search_run.single_reply = 0;
    published.pv[1] = 0;
    fallback_move = 0;
    step_hash_age();
    if (settings.hash_mb < 1) hash_table.mode = HASH_OFF;

    // 6-7. Fixed time as a clock, per-depth accounts, counters of the threads that exist.
    if (settings.time_mode == 1) game_clock.remaining[search_run.root_side] = settings.move_time;
    for (int depth = 0; depth < DEPTH_RECORDS; ++depth) {
        published.iteration_score[depth] = -SCORE_INFINITE;
        published.iteration_move[depth] = 0;
        published.depth_nodes[depth] = 0.0;
    }
    for (int i = 0; i < MAX_THREADS; ++i)
        if (ThreadState *thread = worker_state(i)) {
            thread->completed_depth = 0;  // a worker may not be started at all
            thread->nodes = 0;
            thread->tb_hits = 0;
            thread->hash_probes = 0;
            thread->hash_hits = 0;
        }
    // 8. A first target.
    time_check();
    print_start_lines();
}

// Clears what the last search left in the thread's tables and evaluates the root.
static void reset_thread(ThreadState *thread) {
    for (PlyRecord &record : thread->plies)
        record.hash_move = record.killer1 = record.killer2 = record.evasion_killer = 0;
    std::memset(thread->counter_move1, 0, sizeof thread->counter_move1);
    std::memset(thread->counter_move2, 0, sizeof thread->counter_move2);
    std::memset(thread->follow_move, 0, sizeof thread->follow_move);
    for (auto &row : thread->history)
        for (u32 &cell : row) cell = HISTORY_START;

    PlyRecord *root = &thread->plies[1];
    Position *position = &thread->position;
    const int side = position->stm;
    root->node_type = 0;
    root->depth = 0;
    root->alpha = -SCORE_INFINITE;
    root->beta = SCORE_INFINITE;
    root->tb_wdl = TB_NO_ANSWER;
    root->check_square = NO_SQUARE;
    root->in_check = is_square_attacked(position, position->king_sq[side], side ^ 1);
    const int eval = evaluate(&thread->eval, thread->position, side, 1, root->in_check);
    root->static_eval = static_cast<i16>(eval);
    thread->plies[0].static_eval = static_cast<i16>(-eval);
    thread->root_score = static_cast<i16>(eval);
}

// Publishes a result that needs no iterations and ends the search.
static void publish_final(ThreadState *thread, Move move, int score, int depth) {
    thread->root_score = static_cast<i16>(score);
    thread->pv_line[1] = move;
    thread->pv_line[2] = 0;
    thread->completed_depth = thread->seldepth = static_cast<i16>(depth);
    thread->iteration_depth = 1;
    publish_best(thread);
    search_run.stop = 1;
}

// Master only, before the loop: mate, stalemate, and the quiescence score of the root. False when
// the search is over already.
static bool master_root_tests(ThreadState *thread) {
    Position *position = &thread->position;
    const bool in_check = thread->plies[1].in_check;
    published.score = thread->root_score;
    search_run.tb_wdl = TB_NO_ANSWER;
    published.static_eval = thread->root_score;
    published.quiescence_score = thread->root_score;
    if (!has_legal_move(position)) {
        publish_final(thread, 0, in_check ? 1 - MATE_SCORE : 0, 1);
        return false;
    }
    if (!in_check) {
        u16 line[PV_SIZE] = {};
        const int score = quiesce_moves(position, position->stm, 1, 0, -SCORE_INFINITE, SCORE_INFINITE, 0, line);
        if (!search_run.stop) published.quiescence_score = score;  // a stopped search has no score
        for (int i = 0; i <= MAX_PLY; ++i) thread->pv_line[i] = line[i];
    }
    if (settings.max_depth > 0) return true;
    if (!in_check)
        for (int i = 0; i <= MAX_PLY; ++i) published.pv[i] = thread->pv_line[i];
    search_run.stop = 1;
    return false;
}

// Legal root moves with their first order scores; later ones are the scores of the last iteration.
static void make_root_list(ThreadState *thread) {
    Position *position = &thread->position;
    const int side = position->stm;
    MoveEntry *kept = thread->plies[1].move_list;
    generate_ply_list(thread);
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

// The move that the first attempt will try first; 0 for an empty list.
static Move first_root_move(const ThreadState *thread) {
    const MoveEntry *first = nullptr;
    for (const MoveEntry *entry = thread->plies[1].move_list; entry->move != END_OF_LIST; ++entry)
        if (entry->move && (!first || entry->score > first->score)) first = entry;
    return first ? first->move : static_cast<Move>(0);
}

void take_fallback_move() {
    if (published.pv[1] || settings.max_depth <= 0) return;
    if (!fallback_move) {
        make_root_list(root_thread_state);
        fallback_move = first_root_move(root_thread_state);
    }
    published.pv[1] = fallback_move;
    published.pv[2] = 0;
}

// True when the move gives away the result `wdl` of the root. A move without an answer does not.
static bool loses_table_result(Position *position, Move move, int wdl) {
    make_move(position, move);
    const int reply = tb_probe_wdl(position, TB_ROOT_PROBE_DEPTH);
    unmake_move(position);
    return reply != TB_NO_ANSWER && tb_reversed(reply) < wdl;
}

// Removes the marked root moves. False when none would be left, as with damaged tables that contradict each
// other: then all stay.
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

    char line[512];
    int length = std::snprintf(line, sizeof line, "info string TB result is %s with moves: ",
                               wdl == TB_WIN    ? "WIN"
                               : wdl == TB_LOSS ? "LOSS"
                                                : "DRAW");
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry)
        if (entry->move && length < 480)
            length += std::snprintf(line + length, sizeof line - static_cast<std::size_t>(length), "%s%s ",
                                    SQUARE_NAMES[from_of(entry->move)], SQUARE_NAMES[to_of(entry->move)]);
    // The limit lies above the "never" of information lines: this one is printed all the same.
    if (settings.info_min_time < 99999.9f) print_line(line);
    return consistent;
}

// Has any position since the last capture or pawn move been on the board twice?
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

// True when distance to the next capture or pawn move comes before anything a search could find: the
// half-move clock is running, or a search could waste a win, as it is far away or the game has begun to
// repeat. (Ranked moves come nearer to the goal one by one, so that no position comes a third time.)
static bool is_ranking_due(const Position *position) {
    if (position->fifty >= TB_RANK_FIFTY) return true;
    if (search_run.tb_wdl != TB_WIN) return false;
    if (has_repetition(position)) return true;
    int distance;
    return tb_root_distance(position, &distance) && distance + position->fifty > TB_RANK_WIN;
}

// True when the move wins too late: the fifty-move rule comes before the next capture or pawn move.
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

// Master only. True when the tables choose the move themselves.
static bool answer_from_tables(ThreadState *thread) {
    Position *position = &thread->position;
    search_run.tb_move = 0;
    search_run.tb_wdl = tb_probe_wdl(position, TB_ROOT_PROBE_DEPTH);
    if (search_run.tb_wdl == TB_NO_ANSWER) return false;
    if (!filter_by_tables(thread)) {
        search_run.tb_wdl = TB_NO_ANSWER;  // not to be trusted
        return false;
    }
    if (is_ranking_due(position)) {
        Move move;
        TbWdl result;
        if (tb_root_rank(position, &move, &result)) {
            search_run.tb_wdl = result;
            search_run.tb_move = move;
            if (is_move_legal(position, position->stm, move)) {
                publish_final(thread, move,
                              result == TB_WIN    ? TB_WIN_SCORE
                              : result == TB_LOSS ? -TB_WIN_SCORE
                                                  : 0,
                              TB_DEPTH);
                return true;
            }
        }
    } else if (search_run.tb_wdl == TB_WIN) {
        filter_late_wins(thread);
    }
    thread->plies[1].tb_wdl = search_run.tb_wdl;
    return false;
}

// One pass over the root moves with one window.
struct Attempt {
    ThreadState *thread;
    int line, depth;  // line: index of the first entry, 0 for the best line
    int alpha, beta;  // as given
    int best;
    bool is_master;
};

static void print_periodic_line(const ThreadState *thread) {
    refresh_elapsed_time();
    if (!settings.uci_mode || search_run.elapsed <= PERIODIC_SECONDS || search_run.elapsed <= settings.info_min_time)
        return;
    sum_thread_counters();
    if (thread->plies[1].move_count != 0) return;
    count_hashfull();
    const double seconds = search_run.elapsed, nodes = static_cast<double>(published.totals.nodes);
    print_format("info depth %d time %.0f nodes %.0f nps %.0f hashfull %.0f",
                 search_run.depth.word.load(std::memory_order_relaxed), seconds * 1000.0, nodes,
                 nodes / (seconds + 0.002), static_cast<double>(hash_table.fill) * 1000.0);
}

// A quiet move after the third is searched one ply shorter first, unless mate or zugzwang is near.
static int root_reduction(const Attempt *attempt, const PlyRecord *root) {
    const Position *position = &attempt->thread->position;
    const i32 material = position->material[position->stm];
    const bool reduce = attempt->depth >= 4 && !(root->move_flags & 63) && root->move_count >= 3 && !root->in_check &&
                        attempt->best >= -9499 && material & 15 && material >= 16;
    return reduce ? 1 : 0;
}

// Searches one root move; its score becomes the entry's order score. The re-search opens the window
// down to its given alpha, not to the running one.
static int search_root_move(const Attempt *attempt, MoveEntry *entry, int running_alpha, u16 *child_pv) {
    Position *position = &attempt->thread->position;
    const PlyRecord *root = &attempt->thread->plies[1];
    const int enemy = position->stm ^ 1, depth = attempt->depth;
    const bool full_window = root->move_count == 0 || (depth == 1 && search_run.target_nps > FULL_ROOT_RATE);
    const int reduction = root_reduction(attempt, root);
    bool open = full_window;
    make_move(position, entry->move);
    if (!full_window) {
        entry->score = static_cast<i16>(attempt->alpha - 1);
        const int score =
            -search_node(position, enemy, 2, depth - reduction - 1, -running_alpha - 1, -running_alpha, 1, child_pv);
        open = score > running_alpha && !search_run.stop;
    }
    if (open) {
        const int score = -search_node(position, enemy, 2, depth - 1, -attempt->beta, -attempt->alpha, 0, child_pv);
        entry->score = static_cast<i16>(std::max(attempt->alpha, score));
    }
    unmake_move(position);
    return entry->score;
}

// A better root move: the thread's line and, for the master's first line, the published result.
static void take_root_move(Attempt *attempt, Move move, int score, const u16 *child_pv) {
    ThreadState *thread = attempt->thread;
    thread->pv_line[1] = move;
    thread->root_score = static_cast<i16>(score);
    thread->completed_depth = static_cast<i16>(attempt->depth);
    for (int i = 2; i <= MAX_PLY; ++i) {
        thread->pv_line[i] = child_pv[i];
        if (!child_pv[i]) break;
    }
    if (attempt->is_master && attempt->line == 0) publish_best(thread);
    attempt->best = score;
}

// Puts the entries that the attempt reached in descending order; the others go last.
static void close_attempt(MoveEntry *first, MoveEntry *reached_end) {
    for (MoveEntry *entry = reached_end; entry->move != END_OF_LIST; ++entry) entry->score = -SCORE_INFINITE;
    for (MoveEntry *place = first; place < reached_end; ++place) {
        MoveEntry *best = place;
        for (MoveEntry *entry = place + 1; entry < reached_end; ++entry)
            if (entry->score > best->score) best = entry;
        std::swap(*best, *place);
    }
}

// The root move loop of one attempt; attempt->best is its outcome.
static void search_attempt(Attempt *attempt) {
    ThreadState *thread = attempt->thread;
    Position *position = &thread->position;
    PlyRecord *root = &thread->plies[1];
    const int side = position->stm;
    root->alpha = static_cast<i16>(attempt->alpha);
    root->beta = static_cast<i16>(attempt->beta);
    root->depth = static_cast<i16>(attempt->depth);
    root->check_square =
        static_cast<u8>(attacker_of_square(position, position->king_sq[side], side ^ 1, occupied(*position)));
    root->in_check = root->check_square != NO_SQUARE;
    root->move_count = 0;
    attempt->best = -SCORE_INFINITE;
    int running_alpha = attempt->alpha;
    MoveEntry *first = root->move_list + attempt->line, *entry = first;
    u16 child_pv[PV_SIZE];
    for (; entry->move != END_OF_LIST; ++entry) {
        // 1-3. The best untaken entry; what the tables ruled out is skipped.
        MoveEntry *chosen = entry;
        for (MoveEntry *other = entry + 1; other->move != END_OF_LIST; ++other)
            if (other->score > chosen->score) chosen = other;
        std::swap(*chosen, *entry);
        if (!entry->move) continue;
        root->current_move = entry;
        root->move_flags = classify_move(position, side, entry);
        if (attempt->is_master && attempt->line == 0) print_periodic_line(thread);  // 4

        // 5-9. Its search.
        const int score = search_root_move(attempt, entry, running_alpha, child_pv);
        if (search_run.stop) {
            attempt->best = 0;
            return;
        }
        ++root->move_count;

        // 10-12. The result.
        if (score > attempt->best) {
            running_alpha = std::max(running_alpha, score);
            take_root_move(attempt, entry->move, score, child_pv);
        }
        thread->root_fail = static_cast<i16>(attempt->alpha >= attempt->best ? 1
                                             : attempt->best < attempt->beta ? 0
                                                                             : 2);
        if (attempt->best >= attempt->beta) {
            ++entry;
            break;
        }
    }
    close_attempt(first, entry);
}

// Aspiration: a window around the last score, widened on the side that fails. The margin doubles
// with each failure and so serves both sides of later attempts.
static void search_line(ThreadState *thread, int line, int depth, bool is_master) {
    const int score = thread->root_score;
    thread->root_fail = 0;
    int margin = std::abs(score) / 16 + 25;
    if (depth < 7) margin += 70 - 10 * depth;
    Attempt attempt = {thread, line, depth, -SCORE_INFINITE, SCORE_INFINITE, 0, is_master};
    if (depth >= 2) {
        attempt.alpha = score - margin;
        attempt.beta = score + margin;
    }
    for (int i = 0; i < ATTEMPTS; ++i) {
        if (attempt.alpha < -WINDOW_OPEN) attempt.alpha = -SCORE_INFINITE;
        if (attempt.beta > WINDOW_OPEN) attempt.beta = SCORE_INFINITE;
        search_attempt(&attempt);
        if (search_run.stop) return;
        if (attempt.best > attempt.alpha && attempt.best < attempt.beta) return;
        if (attempt.best <= attempt.alpha) attempt.alpha = std::min(attempt.alpha - margin, attempt.best);
        if (attempt.best >= attempt.beta) attempt.beta = std::max(attempt.beta + margin, attempt.best);
        margin *= 2;
    }
}

// A worker's next depth: further on where many threads are at the same one; then noise in the order
// of its later root moves, unless it is far ahead of the master already.
static int choose_worker_depth(ThreadState *thread, int depth) {
    if (depth > search_run.depth + 2) return depth;
    if (depth > 5 && depth < settings.max_depth && settings.multipv == 1) {
        int there = 0;
        for (int i = 0; i < settings.threads; ++i)
            if (const ThreadState *other = worker_state(i)) there += other->iteration_depth >= depth;
        if (there > 11) depth += there >= 36 ? 2 : 1;
    }
    depth = std::min<int>(depth, settings.max_depth);
    u32 noise = thread->thread_rand;
    MoveEntry *entry = thread->plies[1].move_list;
    if (entry->move != END_OF_LIST) ++entry;
    for (; entry->move != END_OF_LIST; ++entry) {
        entry->score = static_cast<i16>(entry->score - static_cast<int>(next_random(&noise) % 15));
    }
    thread->thread_rand = noise;
    return depth;
}

// Is there a move for the line? The tables may have ruled out all from its entry on.
static bool has_line(const ThreadState *thread, int line) {
    const MoveEntry *entry = thread->plies[1].move_list + line;
    while (!entry->move) ++entry;
    return entry->move != END_OF_LIST;
}

static void search_lines(ThreadState *thread, int depth, bool is_master) {
    for (int line = 0; line < settings.multipv; ++line) {
        if (!has_line(thread, line)) break;
        search_line(thread, line, depth, is_master);
        if (search_run.stop) break;
        if (settings.multipv > 1 && is_master) {
            report_iteration(0, line + 1, depth, thread->root_score, thread->pv_line);
            published.line_move[line] = thread->pv_line[1];
            published.line_score[line] = thread->root_score;
        }
    }
}

static void deepen(ThreadState *thread, bool is_master) {
    for (int depth = 1; depth <= MAX_DEPTH; ++depth) {
        if (is_master) search_run.depth = static_cast<i16>(depth);
        else depth = choose_worker_depth(thread, depth);
        thread->iteration_depth = static_cast<i16>(depth);
        search_lines(thread, depth, is_master);

        lock_spin(&search_lock);
        published.depth_nodes[depth] += static_cast<double>(thread->nodes);
        unlock_spin(&search_lock);
        if (search_run.stop || caught_interrupt()) break;
        if (thread->root_score >= MATE_SCORE - 1 - depth || thread->root_score < depth - (MATE_SCORE - 1)) break;
        if (depth >= settings.max_depth || thread->game.game_ply + depth > LAST_GAME_PLY) break;
    }
}

void root_search(i32 thread_index) {
    ThreadState *thread = worker_state(thread_index);
    if (!thread) return;
    const bool is_master = thread_index == 0;
    refresh_elapsed_time();
    reset_thread(thread);
    if (is_master) {
        if (!master_root_tests(thread)) return;
        std::memset(published.line_move, 0, sizeof published.line_move);
    }
    make_root_list(thread);
    if (is_master && answer_from_tables(thread)) return;
    if (is_master) fallback_move = first_root_move(thread);
    thread->completed_depth = 0;
    deepen(thread, is_master);
    if (is_master) search_run.stop = 1;
}

void search_on_this_thread(u16 state) {
    write_search_state(state);
    search_setup();
    if (init_thread_state(0) == 0 && settings.threads > 0) {
        root_search(0);
        take_fallback_move();
    }
    add_search_state(SEARCH_DONE);
    refresh_elapsed_time();
}
