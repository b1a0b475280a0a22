// The console: short commands, one table row each. Anything else is read as moves. During a search only
// `quit` and `.` are obeyed.
#include "control/console/console.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "control/console/edit.h"
#include "control/console/game.h"
#include "control/console/game_file.h"
#include "control/console/play.h"
#include "control/console/report.h"
#include "control/console/set.h"
#include "control/console/words.h"
#include "control/driver_state.h"
#include "control/perft.h"
#include "search/hash_table.h"
#include "search/pruning_tables.h"
#include "search/search_state.h"
#include "search/thread_state.h"

static constexpr float ANALYSIS_SECONDS = 100000.0f;  // move_time of `go` without a limit
static constexpr i16 FIXED_TIME = 1;                  // time_mode

static u64 tag_key;  // the position marked by `tag`

void start_console() {
    remember_start_settings();
    print_board(&root_thread_state->position);
}

// ---- Searches: the driver sees SEARCH_GO on its next pass ----

static void play_own_move(const ConsoleWords &) {
    settings.own_book = 1;
    driver.auto_reply = 1;
    write_search_state(SEARCH_GO);
}

// A depth that is not a number is refused: read as 0 it would apply to later searches too.
static void analyse(const ConsoleWords &words) {
    i64 depth = MAX_DEPTH;
    const bool has_depth = words.word[1][0] != '\0';
    if (has_depth && !read_whole_number(words.word[1], 0, MAX_DEPTH, &depth)) {
        print_format("%s takes a depth, 1 to %d, or nothing: then it searches until \".\"", words.word[0], MAX_DEPTH);
        return;
    }
    settings.own_book = 0;
    settings.move_time = ANALYSIS_SECONDS;
    settings.max_depth = static_cast<i16>(depth);
    settings.time_mode = FIXED_TIME;
    if (hash_table.mode < HASH_KEPT) clear_hash_table();
    write_search_state(SEARCH_GO);
}

static void play_both_sides(const ConsoleWords &) {
    settings.ponder = 0;
    driver.self_play = 1;
    write_search_state(SEARCH_GO);
}

// `.` ends the search and self-play. A search that has been requested but not started is cancelled.
static void stop_thinking() {
    driver.self_play = 0;
    search_run.stop = 1;
    if (read_search_state() == SEARCH_GO) write_search_state(0);
}

// ---- The rest ----

static void count_paths(const ConsoleWords &words) {
    if (!is_searchable_position()) return;
    static KeptRecords kept;
    keep_records(&kept);
    run_perft(integer_in_range(words.word[1], INT_MIN, INT_MAX));
    restore_records(&kept);
}

static void mark_position(const ConsoleWords &words) {
    if (words.word[1][0]) print_line("tag takes no value: it marks the position on the board");
    else tag_key = root_thread_state->position.key;
}

static void print_help();

static void store_trace(const ConsoleWords &words) {
    settings.trace = static_cast<u8>(integer_in_range(words.word[1], 0, UINT8_MAX));
}

// ---- The table ----

struct CommandRow {
    const char *word;
    const char *arguments;
    const char *help;
    void (*run)(const ConsoleWords &words);
};

// clang-format off
static const CommandRow COMMANDS[] = {
    {"help", "", "this list", [](const ConsoleWords &) { print_help(); }},
    {"?", "", "the same", [](const ConsoleWords &) { print_help(); }},
    {"quit", "", "end the program", [](const ConsoleWords &) { driver.quit = 1; }},
    {".", "", "end a search, or the program's game against itself", [](const ConsoleWords &) {}},
    {"new", "", "start position, both clocks at the time of \"set level\"",
     [](const ConsoleWords &) { start_new_game(); }},
    {"fen", "TEXT", "set up a position", set_board},
    {"mv", "", "the program makes a move, and from then on after each \"mv\" or \"go\"", play_own_move},
    {"go", "[DEPTH]", "analyse to a depth, or until \".\"", analyse},
    {"an", "[DEPTH]", "the same", analyse},
    {"bd", "", "print the board", [](const ConsoleWords &) { show_board(); }},
    {"self", "", "the program plays against itself", play_both_sides},
    {"get", "ID", "the position of test.epd with this id", get_from_suite},
    {"pv", "", "the line that the hash table holds from here", [](const ConsoleWords &) { show_hash_line(); }},
    {"trace", "N", "store a number", store_trace},
    {"ev", "", "the score by terms", [](const ConsoleWords &) { show_evaluation(); }},
    {"ev2", "", "the network's score by hidden nodes", [](const ConsoleWords &) { show_network(); }},
    {"sp", "", "the score by terms and all evaluation parameters", [](const ConsoleWords &) { show_parameters(); }},
    {"lmr", "", "the tables of reductions and margins", [](const ConsoleWords &) { print_pruning_tables(); }},
    {"undo", "", "take a move back", [](const ConsoleWords &) { step_back(); }},
    {"[", "", "the same", [](const ConsoleWords &) { step_back(); }},
    {"]", "", "make it again", [](const ConsoleWords &) { step_forward(); }},
    {"load", "FILE TAG", "the first game of a .pgn file with TAG in its header lines", load_game},
    {"save", "", "append the game to tmp.pgn", save_game},
    {"jump", "N", "go to the position before move N", jump_to_move},
    {"edit", "", "edit the board", [](const ConsoleWords &) { edit_board(); }},
    {"book", "", "the moves of both books", [](const ConsoleWords &) { show_book_moves(); }},
    {"tag", "", "mark the position", mark_position},
    {"perft", "N", "count the move paths of N plies", count_paths},
    {"swap", "", "what an exchange wins on each attacked square", [](const ConsoleWords &) { show_exchanges(); }},
    {"reverse", "", "exchange the colours", [](const ConsoleWords &) { reverse_board(); }},
    {"set", "WORD VALUE", "change a setting; \"set\" alone lists them", set_word},
    {"move", "TEXT", "make moves", [](const ConsoleWords &words) { play_moves(words.after_first); }},
};
// clang-format on

static void print_help() {
    for (const CommandRow &row : COMMANDS) {
        char command[32];
        std::snprintf(command, sizeof command, "%s %s", row.word, row.arguments);
        print_format("%-16s %s", command, row.help);
    }
    print_format("%-16s %s", "uci", "leave the console for the UCI protocol");
    print_format("%-16s %s", "e4 e7e5 2. Nf3", "anything else is read as moves");
}

void console_command(const char *line) {
    ConsoleWords words;
    split_words(line, &words);
    const char *command = words.word[0];
    if (!command[0]) return;
    if (read_search_state() != 0) {
        if (!std::strcmp(command, "quit")) driver.quit = 1;
        if (!std::strcmp(command, ".")) stop_thinking();
        return;
    }
    for (const CommandRow &row : COMMANDS)
        if (!std::strcmp(command, row.word)) {
            row.run(words);
            return;
        }
    play_moves(words.line);
}
