// Running a test suite.
#include "tools/epd_suite.h"

#include <cctype>
#include <climits>
#include <cmath>
#include <cstring>

#include "base/output.h"
#include "base/progress.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "control/driver_state.h"
#include "control/run_search.h"
#include "formats/epd.h"
#include "formats/output_file.h"
#include "formats/text_file.h"
#include "platform/file_offset.h"
#include "platform/replace_file.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/thread_state.h"

static const char DEFAULT_OUTPUT[] = "analysis.epd";
static const char EXPANSION_FILE[] = "tmp_0.epd";
constexpr int EXPANSION_MARGIN = 100;  // centipawns below the first line
constexpr std::size_t SHORTEST_LINE = 10;
constexpr float DEFAULT_BRANCHING = 2.0f;

// The next piece of *rest between separators, copied with room for the move parser, which can lengthen
// a text by one character; false at the end.
constexpr std::size_t PIECE_TEXT = EPD_FIELD + 2;
static bool next_piece(const char **rest, const char *separators, char *piece) {
    const char *start = *rest + std::strspn(*rest, separators);
    const std::size_t length = std::strcspn(start, separators);
    *rest = start + length;
    if (!length) return false;
    copy_text(piece, start, length + 1 < PIECE_TEXT ? length + 1 : PIECE_TEXT);
    return true;
}

static bool is_move_text(char *text, Move move) {
    Move read;
    return parse_san(&root_thread_state->position, text, &read) && read == move;
}

// The '=' that divides a move from its points. The one of a promotion is followed by a letter.
static char *points_mark(char *piece) {
    for (char *at = std::strchr(piece, '='); at; at = std::strchr(at + 1, '='))
        if (!std::isalpha(static_cast<unsigned char>(at[1]))) return at;
    return nullptr;
}

// Points by move, from the list's pieces "move=points"; the highest is the maximum for the position.
static void count_points(const char *list, Move answer, SuiteTotals *totals) {
    if (!std::strchr(list, '=')) return;
    int best = 0;
    char piece[PIECE_TEXT];
    while (next_piece(&list, ", \"\n", piece)) {
        char *equals = points_mark(piece);
        if (!equals) continue;
        const int points = integer_in_range(equals + 1, -INT_MAX, INT_MAX);
        if (points > best) best = points;
        *equals = '\0';
        if (is_move_text(piece, answer)) totals->points += points;
    }
    totals->best_points += best;
}

void judge_answer(const char *bm, const char *am, const char *c0, SuiteTotals *totals) {
    const Move answer = published.pv[1];
    char piece[PIECE_TEXT];
    if (*bm) {
        // A good move that the list names twice counts twice.
        while (next_piece(&bm, " ,;\"\n", piece)) totals->correct += is_move_text(piece, answer);
    } else if (*am) {
        Move bad;
        copy_text(piece, am, sizeof piece);
        totals->correct += parse_san(&root_thread_state->position, piece, &bad) && bad != answer;
    }
    if (*c0) count_points(c0, answer, totals);
}

// Nodes grow by this factor from depth to depth: fourth root over four depths.
static float branching_factor() {
    const int depth = published.depth;
    if (depth <= 5 || depth >= DEPTH_RECORDS) return DEFAULT_BRANCHING;
    const double nodes = published.depth_nodes[depth], before = published.depth_nodes[depth - 4];
    if (nodes == 0.0 || before == 0.0) return DEFAULT_BRANCHING;
    return static_cast<float>(std::sqrt(std::sqrt(nodes / before)));
}

static void add_search(SuiteTotals *totals) {
    totals->time += search_run.elapsed;
    totals->nodes += published.totals.nodes;
    totals->depth += static_cast<float>(published.depth);
    totals->branching += branching_factor();
}

static void print_answer(Position *position) {
    char text[MOVE_TEXT];
    move_to_text(position, position->stm, published.pv[1], text);
    const double seconds = static_cast<double>(search_run.elapsed);
    const double nodes = static_cast<double>(static_cast<u64>(published.totals.nodes));
    print_plain("move= %s, time= %0.3f, score= %d, nodes= %0.0f, %0.0fK nps\n", text, seconds,
                static_cast<int>(published.score), nodes, nodes / (seconds + 0.002) * 0.001);
}

// An unfinished search has lines of two depths, and one move can start two of them.
static bool is_repeated_line(int line) {
    for (int i = 0; i < line; ++i)
        if (published.line_move[i] == published.line_move[line]) return true;
    return false;
}

// The positions after the first moves of all lines that are about as good as the first.
static void expand_position(Position *position, std::FILE *out) {
    for (int line = 0; line < settings.multipv && published.line_move[line]; ++line) {
        if (published.line_score[line] < published.line_score[0] - EXPANSION_MARGIN || is_repeated_line(line)) continue;
        char fen[FEN_SIZE];
        make_move(position, published.line_move[line]);
        position_to_fen(position, fen, 0);
        unmake_move(position);
        std::fprintf(out, "%s\n", fen);
    }
}

struct SuiteFiles {
    OutputFile results;
    OutputFile expansion;  // open with SUITE_EXPAND only
};

// Searches one line of the suite; a line that cannot be searched is skipped. A search cut short by an
// interrupt does not count. Returns false if no search could be started.
static bool run_line(std::string *line, SuiteMode mode, SuiteFiles *files, SuiteTotals *totals) {
    EpdLine epd;
    if (is_remark(line->c_str()) || std::strlen(line->c_str()) < SHORTEST_LINE) return true;
    split_epd_line(line->c_str(), &epd);
    Position *position = &root_thread_state->position;
    set_position_from_fen(position, epd.fen);
    if (position_defect(position)) return true;
    const bool talkative = settings.info_min_time != INFO_NEVER;
    if (talkative) {
        line->resize(std::strcspn(line->c_str(), "\n"));
        print_format("pos= %d", totals->positions + 1);
        print_line(line->c_str());
        print_board(position);
    }
    if (hash_table.mode != HASH_OFF) clear_hash_table();
    if (!run_search(SEARCH_BENCH, true)) return false;
    if (driver.quit) return true;
    ++totals->positions;
    add_search(totals);
    judge_answer(epd.bm, epd.am, epd.c0, totals);
    if (talkative) print_answer(position);
    if (const Move move = published.pv[1]) {
        std::fprintf(files->results.stream, "%s bm %s%s; ce %d;\n", epd.fen, SQUARE_NAMES[from_of(move)],
                     SQUARE_NAMES[to_of(move)], static_cast<int>(published.score));
        if (mode == SUITE_EXPAND) expand_position(position, files->expansion.stream);
    }
    return true;
}

static void print_totals(const SuiteTotals &totals) {
    const int n = totals.positions;
    const double nodes = static_cast<double>(totals.nodes), time = static_cast<double>(totals.time);
    print_format("%d / %d correct best moves", totals.correct, n);
    print_format("total nodes= %0.0f", nodes);
    print_format("total time= %0.2f seconds", time);
    print_format("avg depth= %0.1f", n ? static_cast<double>(totals.depth / static_cast<float>(n)) : 0.0);
    const u64 average_nodes = n ? totals.nodes / static_cast<u64>(n) : 0;  // whole nodes
    print_format("avg nodes= %0.1f", static_cast<double>(average_nodes));
    print_format("node_rate= %0.0f", nodes / (time + 0.001));
    print_format("avg bf= %0.2f", n ? static_cast<double>(totals.branching / static_cast<float>(n)) : 0.0);
    print_format("score= %lld / %lld", static_cast<long long>(totals.points),
                 static_cast<long long>(totals.best_points));
    print_line("");
}

// Searches the lines of the input up to its end, an interrupt, or a full disk. Returns false if a search could not be
// started.
static bool run_lines(std::FILE *in, SuiteMode mode, SuiteFiles *files) {
    SuiteTotals totals{};
    static LineReader reader;
    start_lines(&reader, in);
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(stream_size(in)));
    bool writable = true, searched = true;
    while (!driver.quit && writable && searched && next_line(&reader)) {
        show_progress(&progress, static_cast<double>(reader.bytes), totals.positions);
        searched = run_line(&reader.line, mode, files, &totals);
        // Searches take time: results are flushed after each.
        writable = keep_output(&files->results);
        if (mode == SUITE_EXPAND && !keep_output(&files->expansion)) writable = false;
    }
    end_progress(&progress);
    print_totals(totals);
    if (!searched) std::fputs("error starting a search\n", stderr);
    return searched;
}

// The analysis leaves an empty expansion file, but never empties one.
static bool open_suite_files(SuiteFiles *files, const char *output_path, SuiteMode mode) {
    if (!open_output(&files->results, output_path, OUTPUT_TEXT, settings.in_file)) return false;
    const bool needed = mode == SUITE_EXPAND || target_kind(EXPANSION_FILE) == TARGET_NONE;
    files->expansion.stream = nullptr;
    if (!needed || open_output(&files->expansion, EXPANSION_FILE, OUTPUT_TEXT, settings.in_file)) return true;
    close_output(&files->results, OUTPUT_DROPPED);
    return false;
}

bool run_epd_suite(const char *output_path, SuiteMode mode) {
    if (!*output_path) output_path = DEFAULT_OUTPUT;
    std::FILE *in = open_input(settings.in_file);
    if (!in) return false;
    SuiteFiles files;
    if (!open_suite_files(&files, output_path, mode)) {
        std::fclose(in);
        return false;
    }
    print_format("Analyzing %s...", settings.in_file);
    if (settings.max_depth < 4) hash_table.mode = HASH_OFF;
    calibration.nps = 1e7f;
    calibration.elo = 4000.0f;
    const bool searched = run_lines(in, mode, &files);
    const OutputEnd end = driver.quit || !searched ? OUTPUT_INTERRUPTED : OUTPUT_COMPLETE;
    const bool read = close_input(in, settings.in_file);
    // The expansion goes first: with `-o tmp_0.epd` the results stay.
    const bool expanded = close_output(&files.expansion, end);
    return close_output(&files.results, end) && expanded && read && searched;
}
