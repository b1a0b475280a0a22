// The root: iterative deepening, aspiration windows, the root move loop.
#include "search/root.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/output.h"
#include "base/random.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "eval/evaluate.h"
#include "platform/interrupt.h"
#include "search/hash_table.h"
#include "search/node.h"
#include "search/report.h"
#include "search/root_list.h"
#include "search/root_tables.h"
#include "search/search_state.h"
#include "search/time_check.h"
#include "search/workers.h"
#include "tablebase/tablebase.h"

// Aspiration windows.
static constexpr int ATTEMPTS = 20;       // windows tried for one line
static constexpr int WINDOW_OPEN = 8000;  // a bound beyond it opens its side
static constexpr int FIRST_MARGIN = 25;   // centipawns, plus a sixteenth of the score
static constexpr int SHALLOW_DEPTH = 7;   // wider below it: MARGIN_PER_DEPTH for each ply short of it
static constexpr int MARGIN_PER_DEPTH = 10;

// The root move loop.
static constexpr int REDUCTION_DEPTH = 4;        // least depth of reductions,
static constexpr int REDUCTION_MOVES = 3;        // least number of moves searched before,
static constexpr int LOST_MATE_BOUND = -9499;    // and not with only worse scores so far
static constexpr float FULL_ROOT_RATE = 2000;    // above this node rate depth 1 searches all moves with full windows
static constexpr float PERIODIC_SECONDS = 3.5f;  // from here on iterations print a line at their start

// Ends of the deepening loop.
static constexpr int LAST_GAME_PLY = 883;  // game_ply + depth stays within the game stack
static constexpr int TB_DEPTH = 99;        // printed for an answer from the tablebases

// Parallel search.
static constexpr int SKIP_DEPTH = 5;         // deeper iterations are skipped by workers,
static constexpr int SKIP_THREADS = 11;      // where more threads are at that depth already;
static constexpr int SKIP_TWO_THREADS = 36;  // two iterations with that many
static constexpr int NOISE = 15;             // order scores are lowered by 0..14

// Step 1. Clears what the last search left in the thread's tables and evaluates the root.
static void reset_thread(ThreadState *thread) {
    for (PlyRecord &record : thread->plies)
        record.hash_move = record.killer1 = record.killer2 = record.evasion_killer = 0;
    std::memset(thread->counter_move1, 0, sizeof thread->counter_move1);
    std::memset(thread->counter_move2, 0, sizeof thread->counter_move2);
    std::memset(thread->follow_move, 0, sizeof thread->follow_move);
    for (auto &row : thread->history)
        for (u32 &cell : row) cell = HISTORY_START;

    // The root's record; ply 0 is what "improving" at ply 2 compares with.
    PlyRecord *root = &thread->plies[1];
    Position *position = &thread->position;
    const int side = position->stm;
    root->node_type = NODE_PV;
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

// Step 2. Master only: mate, stalemate, and the quiescence score of the root. False if the search is over already.
static bool master_root_tests(ThreadState *thread) {
    Position *position = &thread->position;
    const bool in_check = thread->plies[1].in_check;
    published.score = thread->root_score;
    search_run.tb_wdl = TB_NO_ANSWER;
    published.static_eval = thread->root_score;
    published.quiescence_score = thread->root_score;
    // Mate and stalemate.
    if (!has_legal_move(position)) {
        publish_final(thread, 0, in_check ? 1 - MATE_SCORE : 0, 1);
        return false;
    }
    // Quiescence score; its line is the first to show.
    if (!in_check) {
        u16 line[PV_SIZE] = {};
        const int score = quiesce_moves(position, position->stm, 1, 0, -SCORE_INFINITE, SCORE_INFINITE, NODE_PV, line);
        if (!search_run.stop) published.quiescence_score = score;  // a stopped search has no score
        for (int i = 0; i <= MAX_PLY; ++i) thread->pv_line[i] = line[i];
    }
    if (search_limits.max_depth > 0) return true;
    // A depth limit of 0 wants no more than that.
    if (!in_check)
        for (int i = 0; i <= MAX_PLY; ++i) published.pv[i] = thread->pv_line[i];
    search_run.stop = 1;
    return false;
}

void take_fallback_move() {
    if (published.pv[1] || search_limits.max_depth <= 0) return;
    if (!search_run.fallback_move) {
        make_root_list(root_thread_state);
        search_run.fallback_move = first_root_move(root_thread_state);
    }
    published.pv[1] = search_run.fallback_move;
    published.pv[2] = 0;
}

// One pass over the root moves with one aspiration window.
struct Attempt {
    ThreadState *thread;
    int line, depth;  // line: index of the first entry, 0 for the best line
    int alpha, beta;  // the window, not raised by better moves
    int best;         // score of the best move; 0 if stopped
    bool is_master;
};

// A line of depth, nodes and speed, in long searches at the first move of each attempt.
static void print_periodic_line(const ThreadState *thread) {
    refresh_elapsed_time();
    if (!settings.uci_mode || search_run.elapsed <= PERIODIC_SECONDS ||
        search_run.elapsed <= search_limits.info_min_time)
        return;
    sum_thread_counters();
    if (thread->plies[1].move_count != 0) return;
    count_hashfull();
    const double seconds = search_run.elapsed, nodes = static_cast<double>(published.totals.nodes);
    print_format("info depth %d time %.0f nodes %.0f nps %.0f hashfull %.0f",
                 search_run.depth.word.load(std::memory_order_relaxed), seconds * 1000.0, nodes,
                 nodes / (seconds + 0.002), static_cast<double>(hash_table.fill) * 1000.0);
}

// Late-move reduction at the root: one ply for a quiet move after the third, from depth 4. Not in check, nor if the
// side is being mated or has no pawn or no piece (zugzwang).
static int root_reduction(const Attempt *attempt, const PlyRecord *root) {
    const Position *position = &attempt->thread->position;
    const i32 material = position->material[position->stm];
    const bool has_pawn = material & 15, has_piece = material >= 16;
    const bool reduce = attempt->depth >= REDUCTION_DEPTH && !(root->move_flags & 63) &&
                        root->move_count >= REDUCTION_MOVES && !root->in_check && attempt->best >= LOST_MATE_BOUND &&
                        has_pawn && has_piece;
    return reduce ? 1 : 0;
}

// Principal variation search of one root move: the first with the attempt's window, the others with a null-window scout
// and, if that exceeds the running alpha, the attempt's window; which begins at its own alpha, not at the running one.
// The score becomes the entry's order score.
static int search_root_move(const Attempt *attempt, MoveEntry *entry, int running_alpha, u16 *child_pv) {
    Position *position = &attempt->thread->position;
    const PlyRecord *root = &attempt->thread->plies[1];
    const int enemy = position->stm ^ 1, depth = attempt->depth;
    const bool full_window = root->move_count == 0 || (depth == 1 && search_run.target_nps > FULL_ROOT_RATE);
    const int reduction = root_reduction(attempt, root);
    bool open = full_window;
    make_move(position, entry->move);
    // Scout.
    if (!full_window) {
        entry->score = static_cast<i16>(attempt->alpha - 1);
        const int score = -search_node(position, enemy, 2, depth - reduction - 1, -running_alpha - 1, -running_alpha,
                                       NODE_CUT, child_pv);
        open = score > running_alpha && !search_run.stop;
    }
    // Full depth and window.
    if (open) {
        const int score =
            -search_node(position, enemy, 2, depth - 1, -attempt->beta, -attempt->alpha, NODE_PV, child_pv);
        entry->score = static_cast<i16>(std::max(attempt->alpha, score));
    }
    // The score orders the next attempt.
    unmake_move(position);
    return entry->score;
}

// A better root move: sets the thread's line and, for the master's first line, publishes it.
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

// Sorts the entries that the attempt reached by falling score; the others get the lowest score.
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

    // Entries before `first` are the moves of better lines.
    int running_alpha = attempt->alpha;
    MoveEntry *first = root->move_list + attempt->line, *entry = first;
    u16 child_pv[PV_SIZE];
    for (; entry->move != END_OF_LIST; ++entry) {
        // 1. The best entry not yet taken; moves that the tablebases have ruled out are skipped.
        MoveEntry *chosen = entry;
        for (MoveEntry *other = entry + 1; other->move != END_OF_LIST; ++other)
            if (other->score > chosen->score) chosen = other;
        std::swap(*chosen, *entry);
        if (!entry->move) continue;

        // 2. Its class, for reductions and extensions.
        root->current_move = entry;
        root->move_flags = classify_move(position, side, entry);

        // 3. Periodic line.
        if (attempt->is_master && attempt->line == 0) print_periodic_line(thread);

        // 4. Reduction and search.
        const int score = search_root_move(attempt, entry, running_alpha, child_pv);
        if (search_run.stop) {
            attempt->best = 0;
            return;
        }
        ++root->move_count;

        // 5. Best move, published at once.
        if (score > attempt->best) {
            running_alpha = std::max(running_alpha, score);
            take_root_move(attempt, entry->move, score, child_pv);
        }

        // 6. State of the root, for the clock and the node limits.
        thread->root_fail = attempt->best <= attempt->alpha ? ROOT_FAILS_LOW
                            : attempt->best < attempt->beta ? ROOT_IN_WINDOW
                                                            : ROOT_FAILS_HIGH;

        // 7. Beta cut-off.
        if (attempt->best >= attempt->beta) {
            ++entry;
            break;
        }
    }
    close_attempt(first, entry);
}

// Aspiration: a window around the last score (from depth 2), widened on the side that fails until the score is inside.
// The margin doubles with each failure, and so do later widenings of either side.
static void search_line(ThreadState *thread, int line, int depth, bool is_master) {
    const int score = thread->root_score;
    thread->root_fail = ROOT_IN_WINDOW;
    int margin = std::abs(score) / 16 + FIRST_MARGIN;
    if (depth < SHALLOW_DEPTH) margin += MARGIN_PER_DEPTH * (SHALLOW_DEPTH - depth);
    Attempt attempt = {thread, line, depth, -SCORE_INFINITE, SCORE_INFINITE, 0, is_master};
    if (depth >= 2) {
        attempt.alpha = score - margin;
        attempt.beta = score + margin;
    }
    for (int i = 0; i < ATTEMPTS; ++i) {
        // Near mate scores a side is open.
        if (attempt.alpha < -WINDOW_OPEN) attempt.alpha = -SCORE_INFINITE;
        if (attempt.beta > WINDOW_OPEN) attempt.beta = SCORE_INFINITE;
        search_attempt(&attempt);
        if (search_run.stop) return;

        // Inside the window: done. Else widen it.
        if (attempt.best > attempt.alpha && attempt.best < attempt.beta) return;
        if (attempt.best <= attempt.alpha) attempt.alpha = std::min(attempt.alpha - margin, attempt.best);
        if (attempt.best >= attempt.beta) attempt.beta = std::max(attempt.beta + margin, attempt.best);
        margin *= 2;
    }
}

// Workers share nothing but the hash table, so they should differ in depth and move order.
int choose_worker_depth(ThreadState *thread, int depth) {
    // Well ahead of the master: as it comes.
    if (depth > search_run.depth + 2) return depth;

    // Skip one or two iterations where many threads are.
    if (depth > SKIP_DEPTH && depth < search_limits.max_depth && search_limits.multipv == 1) {
        int there = 0;
        for (int i = 0; i < search_limits.threads; ++i)
            if (const ThreadState *other = worker_state(i)) there += other->iteration_depth >= depth;
        if (there > SKIP_THREADS) depth += there >= SKIP_TWO_THREADS ? 2 : 1;
    }
    depth = std::min<int>(depth, search_limits.max_depth);

    // Noise in the order of all moves but the first.
    u32 noise = thread->thread_rand;
    MoveEntry *entry = thread->plies[1].move_list;
    if (entry->move != END_OF_LIST) ++entry;
    for (; entry->move != END_OF_LIST; ++entry)
        entry->score = static_cast<i16>(entry->score - static_cast<int>(next_random(&noise) % NOISE));
    thread->thread_rand = noise;
    return depth;
}

// True if there is a move for the line: the tablebases may have ruled out all from its entry on.
static bool has_line(const ThreadState *thread, int line) {
    const MoveEntry *entry = thread->plies[1].move_list + line;
    while (!entry->move) ++entry;
    return entry->move != END_OF_LIST;
}

// One iteration: the best line, then with MultiPV the best among the moves that are left, and so on.
static void search_lines(ThreadState *thread, int depth, bool is_master) {
    for (int line = 0; line < search_limits.multipv; ++line) {
        if (!has_line(thread, line)) break;
        search_line(thread, line, depth, is_master);
        if (search_run.stop) break;
        if (search_limits.multipv > 1 && is_master) {
            report_iteration(0, line + 1, depth, thread->root_score, thread->pv_line);
            published.line_move[line] = thread->pv_line[1];
            published.line_score[line] = thread->root_score;
        }
    }
}

// Step 6. Iterative deepening, until the search is stopped, a mate within the depth is found, or the depth limit or the
// end of the game stack is reached.
static void deepen(ThreadState *thread, bool is_master) {
    for (int depth = 1; depth <= MAX_DEPTH; ++depth) {
        if (is_master) search_run.depth = static_cast<i16>(depth);
        else depth = choose_worker_depth(thread, depth);
        thread->iteration_depth = static_cast<i16>(depth);
        search_lines(thread, depth, is_master);

        // Account of nodes by depth.
        lock_spin(&search_lock);
        published.depth_nodes[depth] += static_cast<double>(thread->nodes);
        unlock_spin(&search_lock);

        // Ends.
        if (search_run.stop || caught_interrupt()) break;
        if (thread->root_score >= MATE_SCORE - 1 - depth || thread->root_score < depth - (MATE_SCORE - 1)) break;
        if (depth >= search_limits.max_depth || thread->game.game_ply + depth > LAST_GAME_PLY) break;
    }
}

// The order of a search thread's work. Only the master looks at tables and ends the search.
void root_search(i32 thread_index) {
    ThreadState *thread = worker_state(thread_index);
    if (!thread) return;
    const bool is_master = thread_index == 0;
    refresh_elapsed_time();
    // 1. Tables of the last search, evaluation of the root.
    reset_thread(thread);

    // 2. Mate, stalemate, quiescence score.
    if (is_master) {
        if (!master_root_tests(thread)) return;
        std::memset(published.line_move, 0, sizeof published.line_move);
    }

    // 3. Root moves.
    make_root_list(thread);

    // 4. Tablebases: they answer, or rule out moves.
    Move table_move;
    int table_score;
    if (is_master && answer_from_tables(thread, &table_move, &table_score)) {
        publish_final(thread, table_move, table_score, TB_DEPTH);
        return;
    }

    // 5. The answer of a search that is stopped before it has one.
    if (is_master) search_run.fallback_move = first_root_move(thread);

    // 6. Iterative deepening. The master's end ends the search.
    thread->completed_depth = 0;
    deepen(thread, is_master);
    if (is_master) search_run.stop = 1;
}
