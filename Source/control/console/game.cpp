// Positions, the game's moves back and forth, and games from and to files. The moves that were taken
// back stay in game_stack behind game_ply, so that they can be played again until a new move comes.
#include "control/console/game.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "board/make_move.h"
#include "board/moves.h"
#include "board/notation.h"
#include "control/output.h"
#include "control/settings.h"
#include "eval/trace.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "tools/pgn.h"
#include "tools/text_lines.h"

static constexpr const char *SUITE_FILE = "test.epd";
static constexpr const char *SAVE_FILE = "tmp.pgn";
static constexpr int SHORTEST_FEN = 11;  // characters; a shorter FEN tag stands for none
static constexpr int SHORTEST_LINE = 9;  // of a test suite that can hold a position
static constexpr int SHORTEST_TAG = 3;
static constexpr int SAVED_IN_A_LINE = 11;
static constexpr int TEXT_LINE = 511;

static Position *game_position() { return &root_thread_state->position; }

bool is_searchable_position() {
    const char *defect = position_defect(game_position());
    if (defect) print_format("info string can't search this position: %s", defect);
    return !defect;
}

void show_board() {
    if (settings.eval_debug && !position_defect(game_position()))
        trace_eval(root_thread_state, TRACE_TERMS, root_quiescence_score);
    print_board(game_position());
}

// ---- Setting up ----

static void reset_clocks() { side_clock[WHITE] = side_clock[BLACK] = settings.move_time; }

void start_new_game() {
    set_position_from_text(game_position(), STARTPOS_FEN);
    print_board(game_position());
    reset_clocks();
}

void set_board(const ConsoleWords &words) {
    set_position_from_text(game_position(), words.behind_first);
    print_board(game_position());
}

// The first line of the file with this id; false when there is none.
static bool find_suite_line(const char *id, char *line, int size) {
    char wanted[TEXT_LINE];
    std::snprintf(wanted, sizeof wanted, "id \"%s\"", id);
    std::FILE *file = std::fopen(SUITE_FILE, "r");
    if (!file) return false;
    bool found = false;
    while (!found && read_text_line(line, size, file))
        found = line[0] != ' ' && line[0] != ';' && std::strstr(line, wanted);
    std::fclose(file);
    return found;
}

void get_from_suite(const ConsoleWords &words) {
    char line[TEXT_LINE];
    if (find_suite_line(words.word[1], line, sizeof line)) {
        line[std::strcspn(line, "\n")] = '\0';
        print_line(line);
        if (std::strlen(line) >= SHORTEST_LINE) set_position_from_fen(game_position(), line);
    }
    print_board(game_position());
    clear_hash_table();
}

// ---- Back and forth ----

static void unmake_game_move() {
    unmake_move(game_position());
    root_thread_state->ply = 1;
}

// Plays the recorded move that stands at game_ply again. False when none stands there, or one of
// another game that is no move here.
static bool remake_game_move() {
    ThreadState *master = root_thread_state;
    const Move move = master->game_stack[master->game_ply].move;
    if (!move || !is_generated_legal_move(&master->position, move)) return false;
    make_move(&master->position, move);
    master->ply = 1;
    return true;
}

void step_back() {
    if (root_thread_state->game_ply <= 0) return;
    unmake_game_move();
    show_board();
}

void step_forward() {
    ThreadState *master = root_thread_state;
    const Position *position = &master->position;
    const int number = master->game_ply / 2 + 1, side = position->stm;
    const Move move = master->game_stack[master->game_ply].move;
    char text[MOVE_TEXT];
    move_to_coord(position, side, move, text);
    if (!remake_game_move()) return;
    // After the making, which tells whether there is a move; the text is that of before.
    print_format("%d%s move %s", number, side ? "..." : ".", text);
    print_board(game_position());
}

void jump_to_move(const ConsoleWords &words) {
    const int target = 2 * integer_of(words.word[1], 1, GAME_STACK_SIZE) - 2;
    while (root_thread_state->game_ply > 0) unmake_game_move();
    while (root_thread_state->game_ply < target && remake_game_move()) {}
    print_board(game_position());
}

void play_move_text(const char *text) {
    ThreadState *master = root_thread_state;
    char move_text[64];
    copy_text(move_text, text, sizeof move_text - 1);  // the parser may add one character
    Move move = 0;
    if (!text[0] || !parse_san(&master->position, move_text, &move)) {
        print_plain("invalid: %s%s\n", SQUARE_NAMES[from_of(move)], SQUARE_NAMES[to_of(move)]);
        return;
    }
    print_format("%d. move %s", master->game_ply / 2 + 1, move_text);
    make_game_move(&master->position, move);
    show_board();
}

// ---- Games in files ----

// The text of the first game with the tag in one of its header lines, in one line; false when there is
// none. `text` holds PGN_GAME_TEXT characters; lines that find no room are dropped.
static bool find_game_text(std::FILE *file, const char *tag, char *text) {
    char line[TEXT_LINE];
    std::size_t length = 0;
    bool found = false, in_headers = false, line_start = true;
    text[0] = '\0';
    while (read_text_line(line, sizeof line, file)) {
        const bool header = line_start ? line[0] == '[' : in_headers;
        if (header && !in_headers) {
            if (found) break;  // the next game begins
            length = 0;
        }
        in_headers = header;
        found |= header && std::strstr(line, tag);
        char *end = std::strchr(line, '\n');
        line_start = end != nullptr;
        if (end) *end = ' ';
        const std::size_t more = std::strlen(line);
        if (length + more >= PGN_GAME_TEXT) continue;
        std::memcpy(text + length, line, more + 1);
        length += more;
    }
    return found;
}

// Sets up and plays a parsed game up to its end or to the first move that can't be read.
static void play_game(const PgnGame *game) {
    Position *position = game_position();
    set_position_from_text(position, std::strlen(game->fen) >= SHORTEST_FEN ? game->fen : STARTPOS_FEN);
    for (int i = 0; i < game->move_count; ++i) {
        char text[MOVE_TEXT];
        copy_text(text, game->moves[i], sizeof text);
        Move move;
        if (!parse_san(position, text, &move)) {
            char fen[FEN_SIZE];
            position_to_fen(position, fen, 0);
            print_format("can't parse move %d. %s in game #%d  %s", i / 2 + 1, text, game->game_number, fen);
            return;
        }
        make_game_move(position, move);
    }
}

void load_game(const ConsoleWords &words) {
    const char *name = words.word[1], *tag = words.word[2];
    print_plain("loading %s, tag %s\n", name, tag);
    std::FILE *file = nullptr;
    if (std::strstr(name, ".pgn") && std::strlen(tag) >= SHORTEST_TAG) file = std::fopen(name, "r");
    if (file) {
        static char text[PGN_GAME_TEXT];
        static PgnGame game;
        game = PgnGame{};
        if (find_game_text(file, tag, text)) {
            pgn_parse_game(&game, text);
            play_game(&game);
        }
        std::fclose(file);
        print_plain("read %d games\n\n", game.game_number);
    }
    print_board(game_position());
    reset_clocks();
}

// The record is for other programs to pick over, not a full PGN game: neither numbers nor a result.
void save_game() {
    ThreadState *master = root_thread_state;
    std::FILE *file = std::fopen(SAVE_FILE, "a");
    if (!file) return;
    const int moves = master->game_ply;
    while (master->game_ply > 0) unmake_game_move();
    std::fputs("[Event \"Unknown\"]\n", file);
    while (master->game_ply < moves) {
        const Move move = master->game_stack[master->game_ply].move;
        char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
        move_forms(&master->position, move, coord, san, by_file, by_rank);
        make_move(&master->position, move);
        std::fprintf(file, master->game_ply % SAVED_IN_A_LINE ? "%s " : "%s \n", san);
    }
    master->ply = 1;
    std::fputs("\n\n", file);
    std::fclose(file);
}
