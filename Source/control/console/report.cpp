// The reports. They print without the lock, since no search is running.
#include "control/console/report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/exchange.h"
#include "board/fen.h"
#include "board/notation.h"
#include "book/book_probe.h"
#include "control/console/game.h"
#include "control/driver_state.h"
#include "control/input_lines.h"
#include "eval/trace.h"
#include "platform/clock.h"
#include "search/report.h"
#include "search/search_state.h"
#include "search/start.h"

void show_hash_line() {
    if (!is_searchable_position()) return;
    Position *position = &root_thread_state->position;
    static Relaxed<u16> line[PV_SIZE];
    for (Relaxed<u16> &word : line) word = 0;
    root_thread_state->game.ply = 1;
    static KeptRecords kept;
    keep_records(&kept);
    pv_from_hash(position, 1, line);
    restore_records(&kept);
    char text[PV_SIZE * MOVE_TEXT] = "";
    char *end = text;
    for (int i = 1; i < PV_SIZE && line[i]; ++i) {
        if (i > 1) *end++ = ' ';
        move_to_text(position, position->stm ^ (~i & 1), line[i], end);
        end += std::strlen(end);
    }
    print_plain("PV: %s\n\n", text);
    print_board(position);
}

// Nodes of the depth-0 search after which it listens to input. Quiescence needs far fewer in ordinary
// positions, so a script's "ev" followed by "quit" gets the whole answer.
static constexpr u64 UNINTERRUPTED_NODES = 200000;

// A search of depth 0, which leaves the quiescence score of the position. It takes hours in positions full of
// captures, so it runs in the search thread and "." and "quit" end it. Any other line is executed afterwards.
static void search_quiescence() {
    static char line[INPUT_LINE_SIZE];
    SearchLimits limits = limits_of_settings();
    limits.max_depth = 0;
    write_search_state(SEARCH_BENCH);
    search_setup(limits);
    if (!start_master_thread()) add_search_state(SEARCH_DONE);
    bool listening = true;
    while (!(read_search_state() & SEARCH_DONE)) {
        const ThreadState *searcher = worker_state(0);
        const bool is_long = searcher && searcher->nodes >= UNINTERRUPTED_NODES;
        if (is_long && listening && poll_input_line(line, sizeof line)) {
            const bool quits = !std::strcmp(line, "quit");
            if (quits) driver.quit = 1;
            if (quits || !std::strcmp(line, ".")) search_run.stop = 1;
            else put_back_input_line(line);
            listening = false;
        }
        sleep_milliseconds(search_run.stop ? 0 : 1);
    }
    write_search_state(0);
}

// The quiescence search comes first. If it was ended, the static evaluation is printed as its score.
void show_evaluation() {
    ThreadState *master = root_thread_state;
    if (!is_searchable_position()) return;
    if (const Move last = master->game.last_move)
        print_plain("last move was %d%s %s%s\n", (master->game.game_ply + 1) / 2, master->position.stm ? "." : "...",
                    SQUARE_NAMES[from_of(last)], SQUARE_NAMES[to_of(last)]);
    search_quiescence();
    if (driver.quit) return;
    trace_eval(&master->eval, master->position, TRACE_TERMS, published.quiescence_score);
}

void show_parameters() {
    if (is_searchable_position())
        trace_eval(&root_thread_state->eval, root_thread_state->position, TRACE_PARAMETERS, published.quiescence_score);
}

void show_network() {
    if (is_searchable_position()) trace_network(&root_thread_state->eval, root_thread_state->position);
}

// What the other side gains by starting an exchange on the square of a piece that it attacks.
static int exchange_gain(const Position *position, Square square, Square attacker) {
    const int code = position->board[square], side = colour_of(code), enemy = side ^ 1;
    if (type_of(code) == KING) return KING_CAPTURE_VALUE;
    const int gain = SEE_VALUE[type_of(code)];
    const Bitboard occupancy = occupied(*position) ^ bit(attacker);
    const Square defender = attacker_of_square(position, square, side, occupancy);
    if (defender == NO_SQUARE) return gain;
    const int attacker_type = type_of(position->board[attacker]);
    int loss = KING_CAPTURE_VALUE;
    if (attacker_type != KING)
        loss = std::max(
            0, SEE_VALUE[attacker_type] - see_on_square(position, enemy, square, type_of(position->board[defender]),
                                                        occupancy ^ bit(defender)));
    return std::max(0, gain - loss);
}

void show_exchanges() {
    const Position *position = &root_thread_state->position;
    for (Square square = 0; square < 64; ++square) {
        const int code = position->board[square];
        if (!code) continue;
        const Square attacker = attacker_of_square(position, square, colour_of(code) ^ 1, occupied(*position));
        if (attacker != NO_SQUARE)
            print_plain("sq= %s, swap1= %4d\n", SQUARE_NAMES[square], exchange_gain(position, square, attacker));
    }
}

void show_book_moves() {
    Position *position = &root_thread_state->position;
    for (const char *book : {settings.book_file, settings.book2_file}) {
        book_probe(position, book);
        print_plain("\n");
    }
}
