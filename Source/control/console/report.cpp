// The reports. They print without the lock: no search runs meanwhile.
#include "control/console/report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/exchange.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "book/book_probe.h"
#include "control/console/game.h"
#include "eval/trace.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search_state.h"

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

// A search of depth 0 comes first: it leaves the quiescence score of the position.
void show_evaluation() {
    ThreadState *master = root_thread_state;
    if (!is_searchable_position()) return;
    if (const Move last = master->game.last_move)
        print_plain("last move was %d%s %s%s\n", (master->game.game_ply + 1) / 2, master->position.stm ? "." : "...",
                    SQUARE_NAMES[from_of(last)], SQUARE_NAMES[to_of(last)]);
    const i16 max_depth = settings.max_depth;
    settings.max_depth = 0;
    search_on_this_thread(SEARCH_BENCH);
    settings.max_depth = max_depth;
    write_search_state(0);
    trace_eval(&master->eval, master->position, TRACE_TERMS, published.quiescence_score);
}

void show_parameters() {
    if (is_searchable_position())
        trace_eval(&root_thread_state->eval, root_thread_state->position, TRACE_PARAMETERS, published.quiescence_score);
}

void show_network() {
    if (is_searchable_position()) trace_network(&root_thread_state->eval, root_thread_state->position);
}

// What the other side gains by the first step of an exchange on the square of a piece that it attacks.
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
