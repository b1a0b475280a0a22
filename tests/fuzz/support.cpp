#include "fuzz/support.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "base/output.h"
#include "base/settings.h"
#include "board/check_position.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "book/book_probe.h"
#include "control/driver_state.h"
#include "control/game_driver.h"
#include "control/input_lines.h"
#include "platform/input.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "support/engine.h"
#include "support/files.h"
#include "support/table_writer.h"
#include "tablebase/tablebase.h"

static constexpr int HASH_MEGABYTES = 1;
static constexpr i64 HASH_ENTRIES = (HASH_MEGABYTES << 20) / static_cast<i64>(sizeof(HashEntry));
static constexpr Calibration TYPICAL_SPEED = {1e6f, 2800.0f};

static int report_descriptor = -1;  // standard error as it was; libFuzzer silences it for the program
static int output_descriptor = -1;  // the captured standard output

void fail_check(const char *file, int line, const char *condition) {
    dprintf(report_descriptor, "%s:%d: check failed: %s\n", file, line, condition);
    std::abort();
}

int keep_error_output() { return report_descriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); }

// ---- The engine ----

static void capture_output() {
    output_descriptor = memfd_create("output", MFD_CLOEXEC);
    REQUIRE(output_descriptor >= 0);
    REQUIRE(dup2(output_descriptor, STDOUT_FILENO) == STDOUT_FILENO);
}

std::string taken_output() {
    const off_t size = lseek(STDOUT_FILENO, 0, SEEK_CUR);
    REQUIRE(size >= 0);
    std::string text(static_cast<std::size_t>(size), '\0');
    REQUIRE(pread(output_descriptor, text.data(), text.size(), 0) == size);
    REQUIRE(ftruncate(output_descriptor, 0) == 0 && lseek(output_descriptor, 0, SEEK_SET) == 0);
    return text;
}

ThreadState *fresh_engine() {
    static ScratchDirectory *scratch;
    if (!scratch) {
        capture_output();
        static ScratchDirectory made;
        scratch = &made;
        std::filesystem::current_path(made.path);
    }
    const bool had_tables = settings.syzygy_path[0] != '\0';
    close_log();
    ThreadState *master = start_engine();
    settings.hash_mb = HASH_MEGABYTES;
    if (hash_table.entries != HASH_ENTRIES) allocate_hash_table();
    default_settings = settings;
    calibration = TYPICAL_SPEED;
    published = PublishedResult{};
    book_seed = book_seeded = 1;
    std::srand(1);
    master->thread_rand = 1;
    if (had_tables) tb_init();
    taken_output();
    return master;
}

// A pipe holds the whole text, so that nobody has to write while the engine reads.
void play_conversation(const std::string &text) {
    static constexpr int PIPE_SIZE = 1 << 20;
    int ends[2];
    REQUIRE(pipe2(ends, O_CLOEXEC) == 0);
    REQUIRE(fcntl(ends[1], F_SETPIPE_SZ, PIPE_SIZE) >= PIPE_SIZE);
    const std::size_t size = std::min<std::size_t>(text.size(), PIPE_SIZE);
    REQUIRE(write(ends[1], text.data(), size) == static_cast<ssize_t>(size));
    close(ends[1]);
    REQUIRE(dup2(ends[0], STDIN_FILENO) == STDIN_FILENO);
    close(ends[0]);
    restart_input();
    forget_input_lines();
    game_driver();
}

// ---- Endgame tables ----

const std::vector<std::string> &table_names() {
    static const std::vector<std::string> names = {"KRvK", "KRRvK", "KRvKR", "KPvK", "KPvKP", "KPPvK", "KRPvKR"};
    return names;
}

void write_tables() {
    if (!std::filesystem::create_directory(TABLE_DIRECTORY)) return;
    for (const std::string &name : table_names()) {
        const std::string path = std::string(TABLE_DIRECTORY) + "/" + name;
        REQUIRE(write_file(path + ".rtbw", table_bytes(constant_wdl_plan(name, 4, 0))));
        REQUIRE(write_file(path + ".rtbz", table_bytes(constant_dtz_plan(name, 0))));
    }
}

// ---- Text ----

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

bool begins_with(const std::string &text, const char *prefix) { return text.rfind(prefix, 0) == 0; }

static bool holds(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

static void replace_all(std::string *text, const char *from, const char *to) {
    const std::size_t length = std::strlen(from);
    for (std::size_t at = 0; (at = text->find(from, at)) != std::string::npos; at += length)
        text->replace(at, length, to);
}

// Of each number the first `digits` digits stay, and none is above `highest`.
static void cut_numbers(std::string *line, int digits, char highest) {
    int length = 0;
    for (char &c : *line) {
        length = std::isdigit(static_cast<unsigned char>(c)) ? length + 1 : 0;
        if (length > digits) c = ' ';
        else if (length) c = std::min(c, highest);
    }
}

std::vector<std::string> bounded_lines(const std::string &text) {
    std::vector<std::string> lines = lines_of(text);
    bool scanned = false;
    for (std::string &line : lines) {
        replace_all(&line, "NN_File", "nn_file");  // a file that can't be opened ends the program
        if (holds(line, "Hash") || holds(line, "Threads") || holds(line, "perft")) cut_numbers(&line, 1, '2');
        if (!holds(line, "SyzygyPath")) continue;
        if (scanned) replace_all(&line, "SyzygyPath", "syzygypath");
        scanned = true;
    }
    return lines;
}

// ---- Checks ----

void check_position(const Position *position, bool with_keys) {
    if (const char *fault = position_fault(position)) fail_check(__FILE__, __LINE__, fault);
    const KeyDifference difference = key_difference(position);
    if (with_keys) REQUIRE(difference.key == 0 && difference.pawn_key == 0);
}

void check_game(Position *position) {
    Game *game = position->game;
    REQUIRE(game->game_ply >= 0 && game->game_ply <= GAME_STACK_LIMIT);
    const int moves = game->game_ply;
    const Position end = *position;
    const i16 ply = game->ply;
    const u16 last_move = game->last_move;
    std::vector<u16> made;
    while (game->game_ply > 0) {
        made.push_back(game->game_stack[game->game_ply - 1].move);
        unmake_move(position);
        game->ply = 1;
    }
    while (!made.empty()) {
        REQUIRE(position_defect(position) || is_generated_legal_move(position, made.back()));
        make_move(position, made.back());
        game->ply = 1;
        made.pop_back();
    }
    game->ply = ply;
    game->last_move = last_move;
    REQUIRE(game->game_ply == moves);
    REQUIRE(end.key == position->key && end.stm == position->stm && end.castling == position->castling);
    REQUIRE(std::memcmp(end.board, position->board, sizeof end.board) == 0);
    check_position(position, true);
}

// Which of several kings castles depends on the order in which they were placed.
static bool has_several_kings(const Position *position) {
    return popcount(position->pieces[piece_code(WHITE, KING)]) > 1 ||
           popcount(position->pieces[piece_code(BLACK, KING)]) > 1;
}

void check_text_is_stable(const Position *position) {
    static ThreadState *const other = allocate_thread_state(MASTER_THREAD_ID);
    REQUIRE(other != nullptr);
    Position *copy = &other->position;
    char first[FEN_SIZE], second[FEN_SIZE];
    position_to_fen(position, first, 0);
    REQUIRE(std::strlen(first) < sizeof first);
    set_position_from_text(copy, first);
    check_position(copy, true);
    REQUIRE(std::memcmp(copy->board, position->board, sizeof copy->board) == 0);
    REQUIRE(copy->stm == position->stm);
    REQUIRE(std::min<int>(position->ep_square, NO_SQUARE) == copy->ep_square);
    if (has_several_kings(position)) return;
    position_to_fen(copy, second, 0);
    REQUIRE(std::strcmp(first, second) == 0);
    for (int right = 0; right < 4; ++right)
        if (position->castling & 1 << right) REQUIRE(copy->castle_rook[right] == position->castle_rook[right]);
}

template <std::size_t SIZE>
static void check_text(const char (&text)[SIZE]) {
    REQUIRE(std::memchr(text, 0, SIZE) != nullptr);
}

void check_settings() {
    const Settings &s = settings;
    REQUIRE(s.threads >= 0 && s.threads <= MAX_THREADS);
    REQUIRE(s.hash_mb >= 0 && s.hash_mb <= 32768);
    REQUIRE(s.multipv >= 1);
    REQUIRE(s.max_depth >= 0 && s.max_depth <= 80);
    REQUIRE(s.move_overhead >= 0 && s.move_overhead <= 1000);
    REQUIRE(s.book_variety <= 100 && s.book_depth >= 0 && s.book_depth <= 60 && s.book2_depth >= 0);
    REQUIRE(s.book2_depth <= 60 && s.syzygy_depth6 >= -5 && s.syzygy_depth6 <= 100 && s.syzygy_depth7 >= 7);
    REQUIRE(s.opponent_elo >= 0 && s.opponent_elo <= 4000);
    REQUIRE(s.contempt >= -150 && s.contempt <= 150 && s.selectivity >= 0 && s.selectivity <= 200);
    REQUIRE(!std::isnan(s.move_time) && !std::isnan(s.time_increment) && !std::isnan(s.info_min_time));
    REQUIRE(!std::isnan(search_run.target_nps));
    check_text(s.in_file), check_text(s.pgn_file), check_text(s.out_file), check_text(s.data_file);
    check_text(s.param_file), check_text(s.nn_file), check_text(s.config_path), check_text(s.book_file);
    check_text(s.book2_file), check_text(s.syzygy_path);
}
