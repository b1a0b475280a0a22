// UCI: executes one command line at a time.
//
//   word          during a search    what it does
//   uci           -                  UCI mode; identity and options
//   isready       acts               "readyok"
//   debug         -                  commands go to the log, for good
//   _show         -                  prints the pruning tables
//   ponderhit     acts               the ponder search becomes a timed one
//   stop          acts               ends the search
//   quit          acts               ends the program
//   setoption     ends the program   one option by name
//   ucinewgame    ends the program   clocks and hash as for a new game
//   position      ends the program   start position or FEN, then moves
//   go            ends the program   limits, then the driver searches
#include "control/uci.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "control/driver_state.h"
#include "control/input_lines.h"
#include "control/options.h"
#include "search/hash_table.h"
#include "search/pruning_tables.h"
#include "search/search_state.h"

static constexpr float ENDLESS_SECONDS = 10000000.0f;  // move_time of a search without a time limit
static constexpr i16 MOVES_PER_CONTROL = 40;           // time_mode of "movestogo"

static u8 debug_flag = 1;  // commands go to the log

// ---- setoption, ucinewgame ----

// Returns `from` advanced by `count` characters, at most to the end of the text.
static char *step_over(char *from, std::size_t count) {
    const std::size_t length = std::strlen(from);
    return from + (count < length ? count : length);
}

static void set_option_command(char *rest) {
    constexpr std::size_t NAME_SIZE = 129;
    char name[NAME_SIZE] = "";
    char *name_word = std::strstr(rest, "name");
    char *value_word = std::strstr(rest, "value");
    // Taken before the cut below, which may end the text before it.
    char *name_text = name_word ? step_over(name_word, 5) : nullptr;
    const char *value = value_word ? step_over(value_word, 6) : "";
    if (name_word && value_word > name_word) value_word[-1] = 0;
    if (name_text) copy_text(name, name_text, NAME_SIZE);
    set_option(name, value);
    default_settings = settings;
}

static void new_game() {
    settings.time_mode = 0;
    game_clock.remaining[WHITE] = game_clock.remaining[BLACK] = 60.0f;
    settings.move_time = 60.0f;
    settings.time_increment = 0.0f;
    root_thread_state->game.game_ply = 0;
    clear_hash_table();
    hash_table.age = 0;
}

// ---- position ----

// Returns the legal move from one square to another, or 0. Castling may be written as the king's target
// square or as king takes own rook; `castling` is its flag, 0 for any other move.
static Move find_legal_move(Position *position, Square from, Square to, Move castling, Move promotion) {
    const int side = position->stm;
    MoveEntry list[MOVE_LIST_SIZE];
    generate_all(position, list);
    for (const MoveEntry *entry = list; entry->move != END_OF_LIST; ++entry) {
        const Move move = entry->move;
        if (from_of(move) != from) continue;
        if (castling) {
            const Square rook = position->castle_rook[2 * side + (castling == CASTLE_QUEENSIDE)];
            if (flags_of(move) != castling || (to != to_of(move) && to != rook)) continue;
        } else if (to_of(move) != to || flags_of(move) != promotion) {
            continue;
        }
        return is_move_legal(position, side, move) ? move : static_cast<Move>(0);
    }
    return 0;
}

// Returns the legal move named by a token such as "e2e4" or "a7a8n", or 0. Further characters are
// ignored; a promotion without a letter is to a queen.
static Move read_game_move(Position *position, const char *token) {
    for (int i = 0; i < 4; ++i) {
        const char low = i & 1 ? '1' : 'a';
        if (token[i] < low || token[i] > low + 7) return 0;
    }
    const Square from = token[0] - 'a' + 8 * (token[1] - '1');
    const Square to = token[2] - 'a' + 8 * (token[3] - '1');
    const int side = position->stm, piece = position->board[from];
    Move castling = 0, promotion = 0;
    const int files = file_of(to) - file_of(from);
    if (piece == piece_code(side, KING) && relative_rank(side, from) == 0 && relative_rank(side, to) == 0 &&
        (files > 1 || files < -1 || position->board[to] == piece_code(side, ROOK)))
        castling = files > 0 ? CASTLE_KINGSIDE : CASTLE_QUEENSIDE;
    if (token[4] == 'q') promotion = PROMO_QUEEN;
    else if (token[4] == 'n') promotion = PROMO_KNIGHT;
    else if (token[4] == 'b') promotion = PROMO_BISHOP;
    else if (token[4] == 'r') promotion = PROMO_ROOK;
    else if (piece == piece_code(side, PAWN) && relative_rank(side, to) == 7) promotion = PROMO_QUEEN;
    return find_legal_move(position, from, to, castling, promotion);
}

// Plays the blank-separated moves up to the first that is not legal.
static void play_moves(Position *position, const char *text) {
    // Move generation relies on one king per side and on pawns not being on the last rank.
    const bool playable = !position_defect(position);
    for (text += std::strspn(text, " "); *text; text += std::strspn(text, " ")) {
        const int length = static_cast<int>(std::strcspn(text, " "));
        const Move move = playable ? read_game_move(position, text) : static_cast<Move>(0);
        if (!move) {
            print_format("info string move %.*s can't be played here, the list of moves ends before it",
                         length < 15 ? length : 15, text);
            return;
        }
        make_game_move(position, move);
        text += length;
    }
}

static void set_position_command(char *rest) {
    Position *position = &root_thread_state->position;
    char *moves = std::strstr(rest, "moves");
    if (moves && moves > rest) moves[-1] = 0;
    // The text after "fen " in a regular command; the offset counts from the start, not from the keyword.
    if (std::strstr(rest, "startpos")) set_position_from_text(position, STARTPOS_FEN);
    else if (std::strstr(rest, "fen")) set_position_from_fen(position, step_over(rest, 4));
    else return;
    if (!moves) return;
    play_moves(position, moves + std::strlen("moves"));
    ThreadState *master = root_thread_state;
    master->game.game_stack[master->game.game_ply].move = 0;  // where a scan for repetitions ends
}

// ---- go ----

// Reads the number after a keyword anywhere in the text, 0 if no number follows. Returns false without
// the keyword.
static bool find_number(const char *rest, const char *keyword, i64 *value) {
    const char *found = std::strstr(rest, keyword);
    if (!found) return false;
    *value = number_in_range(found + std::strlen(keyword), INT64_MIN, INT64_MAX);
    return true;
}

static float seconds_of(i64 milliseconds) { return static_cast<float>(static_cast<double>(milliseconds) * 0.001); }

// Sets a search without a time limit.
static void set_untimed() {
    settings.move_time = ENDLESS_SECONDS;
    settings.time_mode = 1;
}

// Fills the limits. A limit that "go" does not name keeps its last value: "go depth 5" also applies to
// later searches on the clock until "movestogo" or "infinite" lifts it.
static void go_command(const char *rest) {
    i64 value;
    settings.time_mode = 0;
    if (find_number(rest, "wtime", &value))
        game_clock.remaining[WHITE] = seconds_of(std::clamp<i64>(value, 0, INT64_MAX));
    if (find_number(rest, "btime", &value))
        game_clock.remaining[BLACK] = seconds_of(std::clamp<i64>(value, 0, INT64_MAX));
    const char *own_increment = root_thread_state->position.stm == WHITE ? "winc" : "binc";
    if (find_number(rest, own_increment, &value)) settings.time_increment = seconds_of(value);
    if (find_number(rest, "movestogo", &value)) {
        settings.max_depth = MAX_DEPTH;
        settings.time_mode = MOVES_PER_CONTROL;
        settings.node_limit = NO_NODE_LIMIT;
        game_clock.moves_to_go = static_cast<i16>(std::clamp<i64>(value, 0, INT16_MAX));
    }
    if (find_number(rest, "depth", &value)) {
        settings.max_depth = static_cast<i16>(std::clamp<i64>(value, 1, MAX_DEPTH));
        set_untimed();
    }
    if (find_number(rest, "nodes", &value)) {
        settings.node_limit = value;
        set_untimed();
    }
    if (find_number(rest, "movetime", &value)) {
        settings.move_time = seconds_of(value);
        settings.time_increment = 0.0f;
        settings.time_mode = 1;
    }
    driver.endless = std::strstr(rest, "infinite") != nullptr;
    if (driver.endless) {
        settings.time_increment = 0.0f;
        settings.max_depth = MAX_DEPTH;
        settings.node_limit = NO_NODE_LIMIT;
        set_untimed();
    }
    write_search_state(std::strstr(rest, "ponder") ? SEARCH_GO_PONDER : SEARCH_GO);
}

// ---- dispatch ----

static void print_identity() {
    settings.uci_mode = 1;
    driver.auto_reply = driver.self_play = 0;
    print_format("id name %s", PROGRAM_NAME);
    print_format("id author %s", PROGRAM_AUTHOR);
    print_options();
    print_line("uciok");
}

// Executes a command that is allowed during a search. Returns false for any other word.
static bool dispatch_any_time(const char *word) {
    const u16 state = read_search_state();
    if (!std::strcmp(word, "isready")) {
        print_line("readyok");
    } else if (!std::strcmp(word, "ponderhit")) {
        if (state & SEARCH_PONDER) {
            add_search_state(SEARCH_RUN);
            clear_search_state(SEARCH_PONDER);
        }
    } else if (!std::strcmp(word, "stop")) {
        if (state) stop_running_search();
    } else if (!std::strcmp(word, "quit")) {
        driver.quit = 1;
    } else {
        return false;
    }
    return true;
}

// Executes a command that needs an idle engine. During a search, one that would change the game or the
// options is an error of the front end and ends the program; others are ignored.
static void dispatch_idle(const char *word, char *rest) {
    const bool changes = !std::strcmp(word, "setoption") || !std::strcmp(word, "ucinewgame") ||
                         !std::strcmp(word, "position") || !std::strcmp(word, "go");
    if (read_search_state()) {
        if (!changes) return;
        print_format("unexpected command %s, stopping Tarn", word);
        driver.quit = 1;
        return;
    }
    if (!std::strcmp(word, "uci")) print_identity();
    else if (!std::strcmp(word, "debug")) debug_flag = 1;  // also for "debug off"
    else if (!std::strcmp(word, "_show")) print_pruning_tables();
    else if (!std::strcmp(word, "setoption")) set_option_command(rest);
    else if (!std::strcmp(word, "ucinewgame")) new_game();
    else if (!std::strcmp(word, "position")) set_position_command(rest);
    else if (!std::strcmp(word, "go")) go_command(rest);
}

void command_dispatch(char *line) {
    constexpr std::size_t WORD_SIZE = 128;
    line[std::strcspn(line, "\n")] = 0;
    if (!line[0]) return;
    if (debug_flag && log_file) {
        // The only text that goes to the log alone. Long lines are cut in the log but executed whole.
        static char logged[INPUT_LINE_SIZE + 8];
        std::snprintf(logged, sizeof logged, "CMD: %s", line);
        log_line(logged);
    }
    const char *start = line + std::strspn(line, " ");
    std::size_t length = std::strcspn(start, " \r\n");
    if (length > WORD_SIZE - 1) length = WORD_SIZE - 1;
    char word[WORD_SIZE];
    copy_text(word, start, length + 1);
    // The offset counts from the start of the line. After leading blanks it falls inside the word, which
    // does not disturb the keyword search.
    char *rest = step_over(line, length + 1);
    if (!dispatch_any_time(word)) dispatch_idle(word, rest);
}
