// Publishing and printing the master's results.
#include "search/report.h"

#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/notation.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/time_check.h"
#include "search/workers.h"

static constexpr int CONSOLE_MOVES = 8;  // a console line while the search runs, and its folding
static constexpr int CONSOLE_MOVES_FINAL = 32;
static constexpr int LINE_LIMIT = 76;  // pv_from_hash goes no deeper

void publish_best(ThreadState *thread) {
    if (thread->pv_line[1] != published.pv[1]) published.change_depth = thread->completed_depth;
    published.depth = thread->completed_depth;
    published.score = thread->root_score;
    for (int i = 0; i <= MAX_PLY; ++i) published.pv[i] = thread->pv_line[i];
    published.iteration_score[published.depth] = published.score;
    published.iteration_move[published.depth] = published.pv[1];
    if (published.depth >= 2 && search_limits.multipv == 1)
        report_iteration(thread->thread_id, 0, published.depth, published.score, published.pv);
}

void report_iteration(int thread_number, int line_number, int depth, int score, const Relaxed<u16> *pv) {
    refresh_elapsed_time();
    sum_thread_counters();
    if (!search_run.stop && search_limits.info_min_time > search_run.elapsed) return;
    if (search_limits.info_min_time == INFO_NEVER || depth == 0 || pv[1] == 0) return;
    hash_table.fill = 0.0f;
    if (depth > 6) count_hashfull();
    report_line(thread_number, line_number, depth, score, pv);
}

// The moves of a line, at most `limit`; with `folded`, eight a line with the next ones indented.
static void line_text(const Relaxed<u16> *pv, int limit, bool folded, char *out, std::size_t size) {
    const Position *position = &root_thread_state->position;
    std::size_t length = 0;
    out[0] = '\0';
    for (int i = 1; i <= limit && pv[i]; ++i) {
        char move[MOVE_TEXT];
        move_to_text(position, search_run.root_side ^ ((i - 1) & 1), pv[i], move);
        const char *gap = i == 1                                   ? ""
                          : folded && (i - 1) % CONSOLE_MOVES == 0 ? "\n                              "
                                                                   : " ";
        const int written = std::snprintf(out + length, size - length, "%s%s", gap, move);
        if (written < 0 || length + static_cast<std::size_t>(written) >= size) return;
        length += static_cast<std::size_t>(written);
    }
}

// UCI text of a score: 9900 and more mates, -9901 and less is mated; moves, not plies.
static void score_text(int score, char *out, std::size_t size) {
    if (score > 9899) std::snprintf(out, size, "mate %d", (MATE_SCORE - score) / 2);
    else if (score < -9900) std::snprintf(out, size, "mate -%d", (score + SCORE_INFINITE) / 2);
    else std::snprintf(out, size, "cp %d", score);
}

// One line in the form of the mode: a front end reads it, or a person.
void report_line(int thread_number, int line_number, int depth, int score, const Relaxed<u16> *pv) {
    char moves[1024];
    const double seconds = search_run.elapsed, nodes = static_cast<double>(published.totals.nodes);
    // UCI. The rate is left out in the first milliseconds, when it means nothing.
    if (settings.uci_mode) {
        line_text(pv, MAX_PLY, false, moves, sizeof moves);
        const double counted = seconds + 0.002, rate = counted > 0.02 ? nodes / counted : 0.0;
        char multipv[24] = "", value[24];
        if (search_limits.multipv > 1) std::snprintf(multipv, sizeof multipv, "multipv %d ", line_number);
        score_text(score, value, sizeof value);
        print_format(
            "info %s%sdepth %d seldepth %d score %s time %.0f nodes %.0f nps %.0f tbhits %.0f hashfull %.0f pv %s",
            multipv, "", depth, published.totals.seldepth.word.load(std::memory_order_relaxed), value, seconds * 1000.0,
            nodes, rate, static_cast<double>(published.totals.tb_hits), static_cast<double>(hash_table.fill) * 1000.0,
            moves);
        return;
    }
    // Console.
    line_text(pv, search_run.stop ? CONSOLE_MOVES_FINAL : CONSOLE_MOVES, true, moves, sizeof moves);
    print_format("%02d] %02d%c %5.1f %7.0fK %5d  %s%s", thread_number, depth, line_number ? '.' : ' ', seconds,
                 nodes / 1000.0, score, moves, thread_number == 0 && line_number == search_limits.multipv ? "\n" : "");
}

void pv_from_hash(Position *position, int index, Relaxed<u16> *pv) {
    Move move = pv[index];
    if (!move) {
        pv[index + 1] = 0;
        int score, eval, depth, bound;
        if (!hash_probe(position, &score, &eval, &depth, &move, &bound) || !move) return;
        // Only the second return of a position ends the line, wherever the first lies.
        if (is_game_drawn(position)) return;
    }
    if (!is_move_legal(position, position->stm, move)) return;
    pv[index] = move;
    if (index + 1 > LINE_LIMIT) return;
    make_move(position, move);
    pv_from_hash(position, index + 1, pv);
    unmake_move(position);
}
