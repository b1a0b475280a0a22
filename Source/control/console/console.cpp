// The console: a person's short commands. A word that is no command is taken as a move.
//
//   command        during a search   what it does
//   quit           acts              ends the program
//   .              acts              ends the search
//   new, fen, get, load, edit, reverse      positions and games
//   mv, go, an, self                        searches, run by the game driver
//   undo [ ] jump, move                     walking through the game
//   bd, pv, ev, ev2, sp, lmr, swap, book    reports
//   save, set, perft                        the rest
//   trace, tag                              stored, and read by nothing
#include "control/console/console.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "board/thread_state.h"
#include "control/console/edit.h"
#include "control/console/game.h"
#include "control/console/report.h"
#include "control/console/set.h"
#include "control/console/words.h"
#include "control/game_driver.h"
#include "control/output.h"
#include "control/perft.h"
#include "control/settings.h"
#include "search/hash_table.h"
#include "search/pruning_tables.h"
#include "search/search_state.h"

static constexpr float ANALYSIS_SECONDS = 100000.0f;  // move_time of `go`: no end of its own

static u64 tag_key;  // the position marked by `tag`

int integer_of(const char *text, int low, int high) {
    return static_cast<int>(std::clamp<long long>(std::strtoll(text, nullptr, 10), low, high));
}

double number_of(const char *text, double low, double high) {
    const double number = std::strtod(text, nullptr);
    return std::isnan(number) ? low : std::clamp(number, low, high);
}

// ---- Searches: the driver sees SEARCH_GO on its next pass ----

static void play_own_move(const ConsoleWords &) {
    settings.own_book = 1;
    auto_reply = 1;
    write_search_state(SEARCH_GO);
}

static void analyse(const ConsoleWords &words) {
    settings.own_book = 0;
    settings.move_time = ANALYSIS_SECONDS;
    settings.max_depth = words.word[1][0] ? static_cast<i16>(integer_of(words.word[1], 0, MAX_DEPTH)) : MAX_DEPTH;
    settings.time_mode = 1;
    if (hash_enabled < 2) clear_hash_table();
    write_search_state(SEARCH_GO);
}

static void play_both_sides(const ConsoleWords &) {
    settings.ponder = 0;
    self_play = 1;
    write_search_state(SEARCH_GO);
}

// ---- The table ----

struct CommandRow {
    const char *word;
    void (*run)(const ConsoleWords &words);
};

// In the order of testing.
// clang-format off
static const CommandRow COMMANDS[] = {
    {"quit", [](const ConsoleWords &) { settings.quit_flag = 1; }},
    {".", [](const ConsoleWords &) {}},  // only a search can be stopped
    {"new", [](const ConsoleWords &) { start_new_game(); }},
    {"fen", set_board},
    {"mv", play_own_move},
    {"go", analyse},
    {"an", analyse},
    {"bd", [](const ConsoleWords &) { show_board(); }},
    {"self", play_both_sides},
    {"get", get_from_suite},
    {"pv", [](const ConsoleWords &) { show_hash_line(); }},
    {"trace", [](const ConsoleWords &words) {
         settings.trace = static_cast<u8>(integer_of(words.word[1], 0, UINT8_MAX));
     }},
    {"ev", [](const ConsoleWords &) { show_evaluation(); }},
    {"ev2", [](const ConsoleWords &) { show_network(); }},
    {"sp", [](const ConsoleWords &) { show_parameters(); }},
    {"lmr", [](const ConsoleWords &) { print_pruning_tables(); }},
    {"undo", [](const ConsoleWords &) { step_back(); }},
    {"[", [](const ConsoleWords &) { step_back(); }},
    {"]", [](const ConsoleWords &) { step_forward(); }},
    {"load", load_game},
    {"save", [](const ConsoleWords &) { save_game(); }},
    {"jump", jump_to_move},
    {"edit", [](const ConsoleWords &) { edit_board(); }},
    {"book", [](const ConsoleWords &) { show_book_moves(); }},
    {"tag", [](const ConsoleWords &) { tag_key = root_thread_state->position.key; }},
    {"perft", [](const ConsoleWords &words) {
         if (is_searchable_position()) run_perft(integer_of(words.word[1], INT_MIN, INT_MAX));
     }},
    {"swap", [](const ConsoleWords &) { show_exchanges(); }},
    {"reverse", [](const ConsoleWords &) { reverse_board(); }},
    {"set", set_word},
    {"move", [](const ConsoleWords &words) { play_move_text(words.word[1]); }},
};
// clang-format on

// Cuts the text in place at its blanks.
static void split_words(char *text, ConsoleWords *words) {
    int count = 0;
    for (char *at = text; count < CONSOLE_WORDS; ++count) {
        at += std::strspn(at, " ");
        words->word[count] = at;  // the end of the text where no word is left
        at += std::strcspn(at, " ");
        if (*at) *at++ = '\0';
    }
}

void console_command(char *line) {
    constexpr int LONGEST_COMMAND = 1024;  // characters that are cut into words; FEN text is taken whole
    char text[LONGEST_COMMAND];
    copy_text(text, line, sizeof text);
    ConsoleWords words;
    split_words(text, &words);
    const char *behind = line + std::strspn(line, " ");
    behind += std::strcspn(behind, " ");
    words.behind_first = behind + std::strspn(behind, " ");

    const char *command = words.word[0];
    if (!command[0]) return;
    if (read_search_state() != 0) {
        if (!std::strcmp(command, "quit")) settings.quit_flag = 1;
        if (!std::strcmp(command, ".")) stop_search = 1;
        return;
    }
    for (const CommandRow &row : COMMANDS)
        if (!std::strcmp(command, row.word)) {
            row.run(words);
            return;
        }
    play_move_text(command);
}
