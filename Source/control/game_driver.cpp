// The main loop of normal play: waits for work, answers from the rules, the book or a search, prints the
// result and updates the clocks.
#include "control/game_driver.h"

#include <cmath>
#include <cstdio>

#include "base/output.h"
#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "book/book_probe.h"
#include "control/console/console.h"
#include "control/console/game.h"
#include "control/driver_state.h"
#include "control/input_lines.h"
#include "control/poll.h"
#include "control/run_search.h"
#include "platform/clock.h"
#include "search/hash_table.h"
#include "search/search_state.h"

static u16 book_move;  // the book's move this turn, 0 for none

// For a position that cannot be searched: prints the reason and answers without a move.
static void refuse_position(const char *defect) {
    driver.self_play = 0;
    write_search_state(0);
    print_format("info string can't search this position: %s", defect);
    if (settings.uci_mode) print_line("bestmove null");
}

// Prints no "bestmove", even in UCI mode: front ends claim the draw themselves.
static void announce_draw() {
    driver.self_play = 0;
    write_search_state(0);
    print_line("info string Draw!");
}

// True if the game is drawn by rule after the move.
static bool leads_to_draw(Position *position, Move move) {
    make_move(position, move);
    const bool drawn = is_game_drawn(position);
    unmake_move(position);
    return drawn;
}

// Looks for a book move: the first book within its depth, then the second within its own. A move that
// draws at once is dropped, and a search decides. Returns 0 without a book move.
static Move find_book_move(Position *position) {
    constexpr int LAST_BOOK_PLY = 79;
    const int game_ply = position->game->game_ply;
    if (!settings.own_book || game_ply > LAST_BOOK_PLY) return 0;
    Move move = 0;
    if (game_ply < settings.book_depth) move = book_probe(position, settings.book_file);
    if (!move && game_ply < settings.book2_depth) move = book_probe(position, settings.book2_file);
    return move && !leads_to_draw(position, move) ? move : 0;
}

// Takes the book move as the result of a finished search.
static void answer_from_book(const Position *position) {
    char text[MOVE_TEXT];
    move_to_coord(position, position->stm, book_move, text);
    print_format("%s book move is %s", settings.uci_mode ? "info string" : "", text);
    published.pv[1] = book_move;
    published.score = 0;
    search_run.elapsed = 0.0f;  // no search, so no time is deducted
    search_run.stop = 1;
    add_search_state(SEARCH_DONE);
}

// Holds the move of a ponder search that finished by itself until "ponderhit", "stop" or "quit".
static void hold_ponder_result() {
    while ((read_search_state() & (SEARCH_PONDER | SEARCH_STOP)) == SEARCH_PONDER && !driver.quit) {
        console_poll();
        pause_for_input(1);
    }
}

// Starts the turn that "go" asked for: draw, book or search. SEARCH_DONE is set if there is a result.
static void start_turn(u16 state) {
    Position *position = &root_thread_state->position;
    if (const char *defect = position_defect(position)) {
        refuse_position(defect);
        return;
    }
    if (is_game_drawn(position)) {
        announce_draw();
        return;
    }
    published.pv[1] = published.pv[2] = 0;
    published.depth = 0;
    published.score = 0;
    book_move = 0;
    if (state & SEARCH_GO_PONDER) {
        run_search(SEARCH_PONDER, true);
    } else {
        book_move = find_book_move(position);
        if (book_move) answer_from_book(position);
        else run_search(SEARCH_RUN, true);
    }
    hold_ponder_result();
}

static double percent(u64 hits, u64 probes) {
    return static_cast<double>(hits) * 100.0 / (static_cast<double>(probes) + 1.0);
}

// Console statistics of a move: result, speed, caches, diagnostic counters.
static void print_statistics(const char *best_text) {
    const double nodes = static_cast<double>(published.totals.nodes);
    const double seconds = search_run.elapsed;
    const int depth = published.depth;
    // Effective branching factor over four iterations.
    double branching = 2.0;
    if (depth > 5 && published.depth_nodes[depth] != 0.0 && published.depth_nodes[depth - 4] != 0.0)
        branching = std::pow(published.depth_nodes[depth] / published.depth_nodes[depth - 4], 0.25);
    print_format("move= %s, time= %0.3f, score= %d, nodes= %0.0f, nps= %0.0fK ebf= %0.2f", best_text, seconds,
                 static_cast<int>(published.score), nodes, nodes / (seconds + 0.002) / 1000.0, branching);

    double fill = 0.0;
    if (hash_table.entries > 2999) {
        count_hashfull();
        fill = static_cast<double>(hash_table.fill) * 100.0;
    }
    u64 pawn_hits = 0, pawn_probes = 0, eval_hits = 0, eval_probes = 0;
    int diagnostic[4] = {};
    for (int i = 0; i < settings.threads; ++i) {
        const ThreadState *worker = worker_state(i);
        if (!worker) continue;
        pawn_hits += worker->eval.pawn_hits;
        pawn_probes += worker->eval.pawn_probes;
        eval_hits += worker->eval.eval_cache_hits;
        eval_probes += worker->eval.eval_calls;
        for (int k = 0; k < 4; ++k) diagnostic[k] += worker->diagnostic_counts[k];
    }
    print_format("Hash fill= %.1f%%, Hash hits: main= %0.1f%%, pawn= %0.1f%%, eval= %0.1f%%, TB=%0.0fK", fill,
                 percent(published.totals.hash_hits, published.totals.hash_probes), percent(pawn_hits, pawn_probes),
                 percent(eval_hits, eval_probes), static_cast<double>(published.totals.tb_hits) / 1000.0);
    if (diagnostic[0] || diagnostic[1] || diagnostic[2] || diagnostic[3])
        print_format("ncnt1= %d, ncnt2= %d, ncnt3= %d, ncnt4= %d", diagnostic[0], diagnostic[1], diagnostic[2],
                     diagnostic[3]);
    print_line("");
}

// Updates the clock of the side that moved. After each control of `time_mode` moves it is set anew.
static void settle_clock(const Position *position) {
    float *clock = &game_clock.remaining[position->stm];
    *clock += settings.time_increment - search_run.elapsed;
    if (settings.time_mode > 1 && position->game->game_ply % (2 * settings.time_mode) < 2) *clock = settings.move_time;
}

// Console play: makes the best move on the board and, in self-play, starts the next search.
static void play_result(Position *position) {
    const Move move = published.pv[1];
    if (!move) {
        driver.auto_reply = driver.self_play = 0;
        return;
    }
    make_game_move(position, move);
    print_board(position);
    announce_game_end();
    if (!driver.self_play) return;
    write_search_state(SEARCH_GO);
    console_poll();  // short searches finish before they read a "."
}

// Prints the result and completes the turn.
static void finish_turn() {
    Position *position = &root_thread_state->position;
    write_search_state(0);
    char best_text[MOVE_TEXT], ponder_text[MOVE_TEXT];
    move_to_coord(position, position->stm, published.pv[1], best_text);
    move_to_coord(position, position->stm ^ 1, published.pv[2], ponder_text);
    if (settings.uci_mode) {
        // Some front ends lose an answer that arrives within a few milliseconds of their "go".
        if (search_run.elapsed < 0.006f && game_clock.remaining[position->stm] > 1.0f) sleep_milliseconds(1);
        char line[64];
        const bool with_ponder = published.pv[2] != 0;
        std::snprintf(line, sizeof line, "bestmove %s%s%s", best_text, with_ponder ? " ponder " : "",
                      with_ponder ? ponder_text : "");
        print_line(line);
    } else {
        print_statistics(best_text);
    }
    settle_clock(position);
    if (driver.auto_reply || driver.self_play) play_result(position);
}

void game_driver() {
    set_position_from_text(&root_thread_state->position, STARTPOS_FEN);
    if (!settings.uci_mode) start_console();
    driver.quit = 0;
    search_run.stop = 0;
    write_search_state(0);
    while (!driver.quit) {
        const u16 state = read_search_state();
        if (state & (SEARCH_GO | SEARCH_GO_PONDER)) start_turn(state);
        if (read_search_state() & SEARCH_DONE) finish_turn();
        if (!(read_search_state() & (SEARCH_GO | SEARCH_GO_PONDER | SEARCH_DONE | SEARCH_STOP))) {
            console_poll();
            if (driver.quit) return;
            if (read_search_state() == 0) pause_for_input(IDLE_PAUSE);
        }
    }
}
