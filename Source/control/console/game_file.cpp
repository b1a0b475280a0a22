// Positions from a test suite, games from and to PGN files.
#include "control/console/game_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "control/console/game.h"
#include "formats/pgn.h"
#include "formats/text_file.h"
#include "search/hash_table.h"

static constexpr const char *SUITE_FILE = "test.epd";
static constexpr const char *SAVE_FILE = "tmp.pgn";
static constexpr int SHORTEST_FEN = 11;  // characters; a shorter FEN tag means the start position
static constexpr int SHORTEST_LINE = 9;  // of a test suite that can hold a position
static constexpr int SHORTEST_TAG = 3;
static constexpr int SAVED_IN_A_LINE = 11;
static constexpr int TEXT_LINE = 511;

static Position *game_position() { return &root_thread_state->position; }

static void print_open_error(const char *name) { print_format("can't open %s: %s", name, std::strerror(errno)); }

// ---- Test suite ----

// Finds the first line of the file with this id. Returns false and prints the reason if there is none.
static bool find_suite_line(const char *id, char *line, int size) {
    if (!id[0]) {
        print_format("get needs the id of a position in %s", SUITE_FILE);
        return false;
    }
    char wanted[TEXT_LINE];
    std::snprintf(wanted, sizeof wanted, "id \"%s\"", id);
    std::FILE *file = std::fopen(SUITE_FILE, "rb");
    if (!file) {
        print_open_error(SUITE_FILE);
        return false;
    }
    bool found = false;
    while (!found && read_text_line(line, size, file))
        found = line[0] != ' ' && line[0] != ';' && std::strstr(line, wanted);
    std::fclose(file);
    if (!found) print_format("no position of %s has %s", SUITE_FILE, wanted);
    return found;
}

void get_from_suite(const ConsoleWords &words) {
    char line[TEXT_LINE];
    if (find_suite_line(words.word[1], line, sizeof line)) {
        line[std::strcspn(line, "\n")] = '\0';
        print_line(line);
        if (std::strlen(line) >= SHORTEST_LINE) set_position_from_fen(game_position(), line);
        else print_line("this line is too short for a position");
    }
    print_board(game_position());
    clear_hash_table();
}

// ---- Loading ----

// The parts of a game that are used: the FEN tag and the moves. Comments and variations are dropped as they
// are read, so their length does not count.
struct LoadedText {
    char text[PGN_GAME_TEXT];
    std::size_t length;
    int variations;     // open parentheses
    bool in_comment;    // between braces
    bool line_comment;  // after a semicolon
    bool cut;           // the text did not fit
};

static void clear_text(LoadedText *game) {
    game->text[0] = '\0';
    game->length = 0;
    game->variations = 0;
    game->in_comment = game->line_comment = game->cut = false;
}

static void append_character(LoadedText *game, char c) {
    if (game->length + 1 >= sizeof game->text) {
        game->cut = true;
        return;
    }
    game->text[game->length++] = c;
    game->text[game->length] = '\0';
}

static void append_text(LoadedText *game, const char *text) {
    while (*text) append_character(game, *text++);
}

// Adds one piece of movetext. The dot of a move number and the marks "!" and "?" become blanks, which
// separates the move.
static void append_moves(LoadedText *game, const char *line) {
    for (; *line; ++line) {
        const char c = *line;
        if (c == '\n') {
            game->line_comment = false;
            if (!game->in_comment) append_character(game, ' ');
        } else if (game->line_comment) {
            continue;
        } else if (game->in_comment) {
            game->in_comment = c != '}';
        } else if (c == '{') {
            game->in_comment = true;
            append_character(game, ' ');
        } else if (c == ';') {
            game->line_comment = true;
        } else if (c == '(') {
            ++game->variations;
        } else if (c == ')') {
            if (game->variations) --game->variations;
        } else if (!game->variations) {
            append_character(game, std::strchr(".!?", c) ? ' ' : c);
        }
    }
}

// Reads the first game with the tag in one of its header lines; false if there is none.
static bool find_game_text(std::FILE *file, const char *tag, LoadedText *game) {
    char line[TEXT_LINE];
    bool found = false, in_headers = false, line_start = true;
    clear_text(game);
    while (read_text_line(line, sizeof line, file)) {
        // A clock annotation may begin a line inside a comment; an Event tag always begins a game.
        const bool begins_header = line[0] == '[' && (!game->in_comment || !std::strncmp(line, "[Event ", 7));
        const bool header = line_start ? begins_header : in_headers;
        if (header && !in_headers) {
            if (found) break;  // the next game begins
            clear_text(game);
        }
        in_headers = header;
        found |= header && std::strstr(line, tag);
        if (header && line_start && !std::strncmp(line, "[FEN ", 5)) append_text(game, line);
        if (!header) append_moves(game, line);
        line_start = std::strchr(line, '\n') != nullptr;
    }
    return found;
}

// Sets up and plays a parsed game up to its end or to the first unreadable move.
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

static void read_game_file(std::FILE *file, const char *name, const char *tag) {
    static LoadedText gathered;
    static PgnGame game;
    game = PgnGame{};
    const bool found = find_game_text(file, tag, &gathered);
    if (found) {
        pgn_parse_game(&game, gathered.text);
        play_game(&game);
        if (gathered.cut || game.move_count == PGN_MOVES)
            print_format("the game is long: its first %d half-moves were read", game.move_count);
    }
    print_plain("read %d games\n\n", game.game_number);
    if (!found) print_format("no game of %s has '%s' in its header lines", name, tag);
}

void load_game(const ConsoleWords &words) {
    const char *name = words.word[1], *tag = words.word[2];
    print_plain("loading %s, tag %s\n", name, tag);
    if (!std::strstr(name, ".pgn")) {
        print_line("load needs the name of a .pgn file and a text from the game's header lines");
    } else if (std::strlen(tag) < SHORTEST_TAG) {
        print_format("load needs a text of at least %d characters from the game's header lines", SHORTEST_TAG);
    } else if (std::FILE *file = std::fopen(name, "rb")) {
        read_game_file(file, name, tag);
        std::fclose(file);
    } else {
        print_open_error(name);
    }
    print_board(game_position());
    reset_clocks();
}

// ---- Saving ----

// The text that `load` reads back as this move: castling in capital letters, otherwise the shortest
// unambiguous form.
static void saved_text(Position *position, Move move, char *out) {
    char coord[MOVE_TEXT], san[MOVE_TEXT], by_file[MOVE_TEXT], by_rank[MOVE_TEXT];
    move_forms(position, move, coord, san, by_file, by_rank);
    const bool castling = type_of(position->board[from_of(move)]) == KING && flags_of(move);
    const char *forms[] = {castling ? by_file : san, by_file, by_rank, coord};
    for (const char *form : forms) {
        char copy[MOVE_TEXT + 1];
        copy_text(copy, form, sizeof copy);
        Move read;
        copy_text(out, form, MOVE_TEXT);
        if (count_moves_with_text(position, copy, &read) == 1 && read == move) return;
    }
}

static void write_game(std::FILE *file) {
    ThreadState *master = root_thread_state;
    Position *position = &master->position;
    const int moves = master->game.game_ply;
    while (master->game.game_ply > 0) unmake_game_move();
    std::fputs("[Event \"Unknown\"]\n", file);
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    if (std::strcmp(fen, STARTPOS_FEN) != 0 || position->fifty)
        std::fprintf(file, "[SetUp \"1\"]\n[FEN \"%s %d 1\"]\n", fen, position->fifty);
    while (master->game.game_ply < moves) {
        const Move move = master->game.game_stack[master->game.game_ply].move;
        char text[MOVE_TEXT];
        saved_text(position, move, text);
        make_move(position, move);
        std::fprintf(file, master->game.game_ply % SAVED_IN_A_LINE ? "%s " : "%s \n", text);
    }
    master->game.ply = 1;
    std::fputs("\n\n", file);
}

// Writes neither move numbers nor a result: a plain move list, not a complete PGN game.
void save_game(const ConsoleWords &words) {
    if (words.word[1][0]) print_format("save takes no file name: the game goes to %s", SAVE_FILE);
    std::FILE *file = std::fopen(SAVE_FILE, "a");
    if (!file) {
        print_open_error(SAVE_FILE);
        return;
    }
    write_game(file);
    const bool failed = std::ferror(file) != 0;
    if (std::fclose(file) != 0 || failed) print_format("error writing %s", SAVE_FILE);
}
