// Training positions by search: self-play games, and existing positions searched again.
#include "tools/training_games.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/output.h"
#include "base/progress.h"
#include "base/random.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "control/driver_state.h"
#include "formats/epd.h"
#include "formats/output_file.h"
#include "formats/text_file.h"
#include "formats/training_record.h"
#include "platform/file_offset.h"
#include "search/hash_table.h"
#include "search/node_rate.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/thread_state.h"

static const char START_POSITIONS_FILE[] = "mybook_2mv.epd";
constexpr int START_POSITIONS = 199001;  // lines of the file that are used, at most
constexpr int GAME_SEARCH_DEPTH = 7;
constexpr int QUIET_MARGIN = 29;   // the root's quiescence search may gain this much, centipawns
constexpr int DECIDED_SUM = 2001;  // a game whose score sum exceeds this is over
constexpr int WON_SCORE = 401;     // an unfinished game at this score or beyond counts as won

static bool in_check(const Position *position) {
    return is_square_attacked(position, position->king_sq[position->stm], position->stm ^ 1);
}

static void set_result(TrainingGame *game, int winner, float winner_share) {
    game->result[winner] = winner_share;
    game->result[winner ^ 1] = 1.0f - winner_share;
}

// Stalemate counts as lost: the loop only tests for moves, and existing data were made that way.
void play_training_game(TrainingGame *game) {
    Position *position = &root_thread_state->position;
    game->plies = game->written = 0;
    set_result(game, 0, 0.5f);
    root_thread_state->game.game_ply = 0;
    int average = 0;  // of the absolute scores; recent ones weigh most
    for (int ply = 0; ply < TRAINING_PLIES; ++ply) {
        const int mover = ply & 1;
        if (is_game_drawn(position)) return;
        if (!has_legal_move(position)) {
            set_result(game, mover ^ 1, 1.0f);
            return;
        }
        search_on_this_thread(SEARCH_BENCH);
        write_search_state(0);
        if (driver.quit) return;
        const Move move = published.pv[1];
        const int score = published.score;
        const int sum = std::abs(score) + average;
        average = sum / 2;
        // Shuffling games end at once if dead level, later with a small edge too.
        const bool stop = position->fifty > 13 && (sum <= 5 || (sum < 102 && position->fifty > 49));

        game->lines[ply][0] = '\0';
        game->plies = ply + 1;
        if (published.depth > 1 && !position->board[to_of(move)] && !in_check(position) &&
            published.static_eval + QUIET_MARGIN >= published.quiescence_score) {
            char fen[FEN_SIZE];
            position_to_fen(position, fen, 0);
            std::snprintf(game->lines[ply], PLY_TEXT, "%s ce %d;", fen, score);
            ++game->written;
        }
        if (move) make_game_move(position, move);
        if (!move || sum > DECIDED_SUM || stop || root_thread_state->game.game_ply > TRAINING_LAST_PLY ||
            !(position->material[WHITE] + position->material[BLACK])) {
            if (score >= WON_SCORE) set_result(game, mover, 1.0f);
            else if (score <= -WON_SCORE) set_result(game, mover, 0.0f);
            return;
        }
    }
}

static std::vector<std::string> read_start_positions(std::FILE *in) {
    std::vector<std::string> lines;
    static LineReader reader;
    start_lines(&reader, in);
    while (lines.size() < START_POSITIONS && next_line(&reader)) lines.push_back(reader.line);
    return lines;
}

// Draws random lines until one can be played; false after many failures.
static bool draw_start_position(const std::vector<std::string> &lines) {
    Position *position = &root_thread_state->position;
    const std::size_t draws = 1000 + 10 * lines.size();
    for (std::size_t i = 0; i < draws && !lines.empty(); ++i) {
        u32 &random = root_thread_state->thread_rand;
        next_random(&random);
        EpdLine epd;
        split_epd_line(lines[random % lines.size()].c_str(), &epd);
        set_position_from_fen(position, epd.fen);
        if (!position_defect(position)) return true;
    }
    return false;
}

static void write_game(const TrainingGame &game, std::FILE *out) {
    for (int ply = 0; ply < game.plies; ++ply)
        if (game.lines[ply][0])
            std::fprintf(out, "%s gr %0.1f;\n", game.lines[ply], static_cast<double>(game.result[ply & 1]));
}

// Plays until enough positions are written. False without start positions. A game cut short by an
// interrupt is not written.
static bool play_games(const std::vector<std::string> &start_positions, OutputFile *out) {
    static TrainingGame game;
    i64 written = 0;
    std::size_t barren = 0;  // consecutive games without a position
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(settings.train_count));
    bool usable = true, writable = true;
    while (usable && writable && written < settings.train_count) {
        usable = draw_start_position(start_positions) && barren <= start_positions.size() + 1000;
        if (!usable) break;
        clear_hash_table();
        play_training_game(&game);
        if (driver.quit) break;
        write_game(game, out->stream);
        // Whole games reach the disk one by one; a full disk ends the tool.
        writable = keep_output(out);
        written += game.written;
        barren = game.written ? 0 : barren + 1;
        show_progress(&progress, static_cast<double>(written), written);
        if (writable) print_plain(game.plies > 1 ? "." : "?");
    }
    end_progress(&progress);
    if (!usable) std::fprintf(stderr, "no usable start positions in %s\n", START_POSITIONS_FILE);
    return usable;
}

bool generate_training_games() {
    std::FILE *in = open_input(START_POSITIONS_FILE);
    if (!in) return false;
    OutputFile out;
    if (!open_output(&out, settings.data_file, OUTPUT_TEXT, START_POSITIONS_FILE)) {
        std::fclose(in);
        return false;
    }
    const std::vector<std::string> start_positions = read_start_positions(in);
    const bool read = close_input(in, START_POSITIONS_FILE);
    settings.multipv = 1;
    settings.max_depth = GAME_SEARCH_DEPTH;
    const bool played = play_games(start_positions, &out);
    const bool complete = played && !driver.quit;
    return close_output(&out, complete ? OUTPUT_COMPLETE : OUTPUT_INTERRUPTED) && played && read;
}

constexpr int SHORT_SEARCH_DEPTH = 2;
constexpr float EVEN_RESULT = 0.5f;
constexpr int LEVEL_SCORE = 20;        // evaluation and score of a level position, centipawns
constexpr int TABLE_WIN_SCORE = 9000;  // score of a root that the endgame tables decide

// True if a position is worth keeping: score (as probability p) and game result must not contradict each
// other, and positions that are level in every respect are skipped.
static bool is_consistent(double p, float result, int score) {
    if (p < 0.1) return result < EVEN_RESULT;
    if (!(result > EVEN_RESULT) && p > 0.9) return false;
    const bool level = std::abs(published.static_eval) <= LEVEL_SCORE && std::abs(score) <= LEVEL_SCORE;
    return !(level && result == EVEN_RESULT);
}

// Converts one line: moves the master position to the quiet end of a short search's PV and scores it
// there. Returns true and the text to write, or false if the line is skipped.
static bool convert_line(const char *line, char *out, std::size_t size) {
    if (is_remark(line)) return false;
    EpdLine epd;
    split_epd_line(line, &epd);
    Position *position = &root_thread_state->position;
    set_position_from_fen(position, epd.fen);
    if (position_defect(position)) return false;
    int ce = integer_in_range(epd.ce, -INT_MAX, INT_MAX);
    float result = epd.gr[0] ? static_cast<float>(decimal_of(epd.gr)) : EVEN_RESULT;
    if (in_check(position)) return false;

    const i16 depth = settings.max_depth;
    settings.max_depth = SHORT_SEARCH_DEPTH;
    search_on_this_thread(SEARCH_BENCH);
    settings.max_depth = depth;
    for (int i = 1; i < PV_SIZE && published.pv[i]; ++i) {
        make_game_move(position, published.pv[i]);
        result = 1.0f - result;
        ce = -ce;
    }
    if (in_check(position) || driver.quit) return false;

    search_on_this_thread(SEARCH_BENCH);
    if (driver.quit) return false;
    if (search_run.tb_wdl == TB_WIN) published.score = TABLE_WIN_SCORE;
    else if (search_run.tb_wdl == TB_LOSS) published.score = -TABLE_WIN_SCORE;
    else if (search_run.tb_wdl == TB_DRAW) published.score = 0;
    const int score = published.score;
    const float p = score_to_win_prob(score);
    if (!epd.ce[0]) ce = score;
    if (!epd.gr[0]) result = p;
    if (position->board[to_of(published.pv[1])]) return false;
    if (!is_consistent(static_cast<double>(p), result, score)) return false;

    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    if (epd.gr[0])
        std::snprintf(out, size, "%s ce %d; sc %d; gr %0.1f;\n", fen, ce, score, static_cast<double>(result));
    else std::snprintf(out, size, "%s sc %d;\n", fen, score);
    return true;
}

// Converts the lines of the input up to its end, an interrupt, or a full disk.
static void convert_lines(std::FILE *in, OutputFile *out) {
    static LineReader reader;
    start_lines(&reader, in);
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(stream_size(in)));
    char text[FEN_SIZE + 400];
    i64 lines = 0;
    bool writable = true;
    while (!driver.quit && writable && next_line(&reader)) {
        show_progress(&progress, static_cast<double>(reader.bytes), lines++);
        if (!convert_line(reader.line.c_str(), text, sizeof text)) continue;
        std::fputs(text, out->stream);
        writable = keep_output(out);  // each search took time
    }
    end_progress(&progress);
}

bool convert_training_epd() {
    if (!has_extension(settings.in_file, ".epd") || !has_extension(settings.out_file, ".epd")) return false;
    print_plain("infile= %s, outfile= %s\n", settings.in_file, settings.out_file);
    std::FILE *in = open_input(settings.in_file);
    if (!in) return false;
    OutputFile out;
    if (!open_output(&out, settings.out_file, OUTPUT_TEXT, settings.in_file)) {
        std::fclose(in);
        return false;
    }
    settings.info_min_time = INFO_NEVER;
    if (settings.max_depth <= SHORT_SEARCH_DEPTH) hash_table.mode = HASH_OFF;
    calibration.nps = 1e7f;
    calibration.elo = 4000.0f;
    convert_lines(in, &out);
    print_plain("\n");
    const bool read = close_input(in, settings.in_file);
    return close_output(&out, driver.quit ? OUTPUT_INTERRUPTED : OUTPUT_COMPLETE) && read;
}
