// Positions, and the game's moves back and forth. Moves that were taken back stay in game_stack after
// game_ply, so they can be replayed until a new move is made.
#include "control/console/game.h"

#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/notation.h"
#include "eval/trace.h"
#include "search/search_state.h"

static Position *game_position() { return &root_thread_state->position; }

bool is_searchable_position() {
    const char *defect = position_defect(game_position());
    if (defect) print_format("info string can't search this position: %s", defect);
    return !defect;
}

void show_board() {
    if (settings.eval_debug && !position_defect(game_position()))
        trace_eval(&root_thread_state->eval, root_thread_state->position, TRACE_TERMS, published.quiescence_score);
    print_board(game_position());
}

// ---- The end of a game ----

// True if neither side can ever mate: bare kings, one minor piece, or bishops on squares of one colour.
static bool is_material_insufficient(const Position *position) {
    const auto both = [position](int type) {
        return position->pieces[piece_code(WHITE, type)] | position->pieces[piece_code(BLACK, type)];
    };
    if (both(PAWN) | both(ROOK) | both(QUEEN)) return false;
    const Bitboard knights = both(KNIGHT), bishops = both(BISHOP);
    if (popcount(knights | bishops) <= 1) return true;
    return !knights && (!(bishops & COLOUR_OF_A1) || !(bishops & COLOUR_OF_H1));
}

void announce_game_end() {
    Position *position = game_position();
    if (position_defect(position)) return;
    const int side = position->stm;
    if (!has_legal_move(position)) {
        if (is_square_attacked(position, position->king_sq[side], side ^ 1))
            print_format("Checkmate: %s wins.", side == WHITE ? "Black" : "White");
        else print_line("Stalemate: draw.");
    } else if (position->fifty >= 100) {
        print_line("Draw by the fifty-move rule.");
    } else if (is_game_drawn(position)) {
        print_line("Draw by threefold repetition.");
    } else if (is_material_insufficient(position)) {
        print_line("Draw: neither side can mate.");
    }
}

// ---- Setting up ----

void reset_clocks() { game_clock.remaining[WHITE] = game_clock.remaining[BLACK] = settings.move_time; }

void start_new_game() {
    set_position_from_text(game_position(), STARTPOS_FEN);
    print_board(game_position());
    reset_clocks();
}

void set_board(const ConsoleWords &words) {
    set_position_from_text(game_position(), words.after_first);
    print_board(game_position());
}

// ---- Back and forth ----

void keep_records(KeptRecords *kept) {
    std::memcpy(kept->records, root_thread_state->game.game_stack, sizeof kept->records);
}

void restore_records(const KeptRecords *kept) {
    std::memcpy(root_thread_state->game.game_stack, kept->records, sizeof kept->records);
}

void unmake_game_move() {
    unmake_move(game_position());
    root_thread_state->game.ply = 1;
}

// Replays the recorded move at game_ply. False if there is none, if it is not legal here (it belongs to
// another game), or at the end of the stack.
static bool remake_game_move() {
    ThreadState *master = root_thread_state;
    if (master->game.game_ply >= GAME_STACK_LIMIT) return false;
    const Move move = master->game.game_stack[master->game.game_ply].move;
    if (!move || position_defect(&master->position) || !is_generated_legal_move(&master->position, move)) return false;
    make_move(&master->position, move);
    master->game.ply = 1;
    return true;
}

void step_back() {
    if (root_thread_state->game.game_ply <= 0) return;
    unmake_game_move();
    show_board();
}

void step_forward() {
    ThreadState *master = root_thread_state;
    const Position *position = &master->position;
    const int number = master->game.game_ply / 2 + 1, side = position->stm;
    const Move move = master->game.game_stack[master->game.game_ply].move;
    char text[MOVE_TEXT];
    move_to_coord(position, side, move, text);  // before the move is made; it may turn out not to be legal
    if (!remake_game_move()) return;
    print_format("%d%s move %s", number, side ? "..." : ".", text);
    print_board(game_position());
    announce_game_end();
}

void jump_to_move(const ConsoleWords &words) {
    const int target = 2 * integer_in_range(words.word[1], 1, GAME_STACK_SIZE) - 2;
    while (root_thread_state->game.game_ply > 0) unmake_game_move();
    while (root_thread_state->game.game_ply < target && remake_game_move()) {}
    print_board(game_position());
}
