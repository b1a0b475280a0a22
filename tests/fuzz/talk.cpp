// Whole conversations, in UCI and on the console, through the main loop of the program.
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "base/settings.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "book/book_files.h"
#include "book/book_key.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "search/search_state.h"
#include "support/files.h"
#include "support/positions.h"

static constexpr std::size_t MOST_LINES = 200;
static constexpr i64 CONSOLE_NODES = 100;

static std::string first_word(const std::string &line) {
    const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
    return line.substr(start, line.find_first_of(" \r", start) - start);
}

static bool holds(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

// The main loop ends lines at zeros, carriage returns and '@' as well.
static std::vector<std::string> command_lines(std::string input) {
    for (char &c : input)
        if (c == '\0' || c == '\r' || c == '@') c = '\n';
    std::vector<std::string> lines;
    for (const std::string &line : bounded_lines(input))
        if (!line.empty() && lines.size() < MOST_LINES) lines.push_back(line);
    return lines;
}

// Puts limits in front of those that the line names: the first of each kind counts. A search on the clock gets little
// time, any other few nodes; "infinite" and "ponder" end with the input.
static std::string bounded_go(std::string line, bool throttled) {
    const std::size_t after = line.find("go") + 2;
    std::string limits;
    if (holds(line, "time") || throttled) {
        for (const char *word : {"depth", "nodes"})
            for (std::size_t at; (at = line.find(word)) != std::string::npos;) line[at] = 'x';
        limits = " wtime 30 btime 30";
        if (holds(line, "movetime") || throttled) limits += " movetime 20";
    } else {
        limits = " nodes 100 depth 4";
    }
    return line.insert(after, limits);
}

// What options and commands of the seeds name: a book with 1. e4 and 1. d4, and endgame tables.
static void write_files() {
    static bool written;
    if (written) return;
    written = true;
    const u64 key = book_key(&root_thread_state->position);
    REQUIRE(write_file("book.bin", book_bytes({{key, book_code("e2e4"), 3, 0}, {key, book_code("d2d4"), 1, 0}})));
    write_tables();
}

// ---- UCI ----

// The answers to one "position" and what follows it up to the next one.
struct Expected {
    int searches;   // "go" lines
    int questions;  // "isready" lines
    bool certain;   // no line before the last answer ends the program, so that all of them are given
};

static Expected expected_of(const std::vector<std::string> &lines) {
    Expected expected = {0, 0, true};
    for (const std::string &line : lines) {
        const std::string word = first_word(line);
        // Whether another command comes during the search depends on the speed of the machine.
        if (expected.searches && word != "isready" && word != "stop" && word != "ponderhit") expected.certain = false;
        if (word == "quit") expected.certain = false;
        expected.searches += word == "go";
        expected.questions += word == "isready";
    }
    return expected;
}

// The position that the conversation has set up is still on the board.
static void check_best_move(Position *position, const std::string &line) {
    const std::string text = line.substr(std::strlen("bestmove "));
    const std::string move = text.substr(0, text.find(' '));
    if (position_defect(position) || legal_moves(position).empty()) REQUIRE(move == "null");
    else REQUIRE(is_generated_legal_move(position, move_of(position, move)));
}

static void check_answers(Position *position, const Expected &expected, const std::string &output) {
    int best_moves = 0, ready = 0;
    bool drawn = false;
    for (const std::string &line : lines_of(output)) {
        for (const char c : line) REQUIRE(c != '\0');
        ready += line == "readyok";
        drawn |= line == "info string Draw!";
        if (!begins_with(line, "bestmove ")) continue;
        ++best_moves;
        if (settings.chess960 <= 1) check_best_move(position, line);
    }
    REQUIRE(best_moves <= expected.searches && ready <= expected.questions);
    if (!expected.certain) return;
    REQUIRE(ready == expected.questions);
    REQUIRE(best_moves == expected.searches || drawn);
}

// One run of the main loop for each "position", since it begins with the start position. Options and hash stay.
void fuzz_uci(const std::string &input) {
    Position *position = &fresh_engine()->position;
    write_files();
    const std::vector<std::string> lines = command_lines(input);
    const bool throttled = holds(input, "LimitStrength");
    for (std::size_t i = 0; i < lines.size();) {
        std::vector<std::string> part;
        do {
            const bool is_go = first_word(lines[i]) == "go";
            part.push_back(is_go ? bounded_go(lines[i], throttled) : lines[i]);
        } while (++i < lines.size() && first_word(lines[i]) != "position");
        std::string text;
        for (const std::string &line : part) text += line + "\n";
        play_conversation(text);
        check_answers(position, expected_of(part), taken_output());
        check_game(position);
        check_settings();
        if (!position->game->game_ply) check_text_is_stable(position);
    }
}

// ---- Console ----

// Node limits of three digits. "uci" leaves the console, and then "go" takes limits.
static std::string bounded_console_line(const std::string &line) {
    const std::string word = first_word(line);
    if (word == "go") return bounded_go(line, true);
    if (!holds(line, "nodes")) return line;
    std::string bounded = line;
    int digits = 0;
    for (char &c : bounded) {
        digits = std::isdigit(static_cast<unsigned char>(c)) ? digits + 1 : 0;
        if (digits > 3) c = ' ';
    }
    return bounded;
}

void fuzz_console(const std::string &input) {
    Position *position = &fresh_engine()->position;
    write_files();
    settings.uci_mode = 0;
    settings.node_limit = CONSOLE_NODES;
    settings.move_time = 0.05f;
    std::string text;
    for (const std::string &line : command_lines(input)) text += bounded_console_line(line) + "\n";
    play_conversation(text);
    const std::string output = taken_output();
    REQUIRE(holds(output, "white\n"));  // the board of the start
    check_settings();
    check_position(position, false);
}
