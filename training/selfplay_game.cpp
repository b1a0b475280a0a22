#include "selfplay_game.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <unistd.h>

#include "base/settings.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/thread_state.h"
#include "search/workers.h"
#include "selfplay_inner.h"
#include "selfplay_start.h"

static constexpr int HASH_MEGABYTES = 1;   // fits the second-level cache
static constexpr u64 SEEN_SIZE = 1 << 16;  // positions, a power of two
static constexpr int OPENING_LIMIT = 250;  // centipawns: a start beyond it is no game
static constexpr int ENDING_LIMIT = 500;   // the same for random endings
static constexpr int START_TRIES = 50;
static constexpr int RESIGN_PLIES = 4;  // plies in a row that decide a game
static constexpr int LEVEL_SCORE = 10;  // centipawns: a level position
static constexpr int LEVEL_FIFTY = 10;  // half-moves without progress before a draw is called
static constexpr int LAST_PLY = 400;    // a longer game is drawn

static volatile std::sig_atomic_t stop_flag;
static int parent_process;

void request_stop() {
    stop_flag = 1;
    search_run.stop = 1;
}
bool stop_requested() { return stop_flag != 0 || (parent_process && getppid() != parent_process); }

bool start_selfplay_worker(int parent, SeenPositions *seen) {
    parent_process = parent;
    settings.hash_mb = HASH_MEGABYTES;
    seen->keys.assign(SEEN_SIZE, 0);
    if (!allocate_hash_table() || init_thread_state(0) != 0) return false;
    // Forked workers share the network's pages, which is as slow as threads that share them.
    worker_state(0)->eval.own_rows_wanted = true;
    return true;
}

bool take_position(SeenPositions *seen, const Position *position) {
    const u64 key = position->key ^ (position->stm ? 0x9E3779B97F4A7C15ULL : 0);
    u64 &slot = seen->keys[key & (SEEN_SIZE - 1)];
    if (slot == key) return false;
    slot = key;
    return true;
}

static int cut_score(int score) { return std::clamp(score, -TRAIN_SCORE_LIMIT, TRAIN_SCORE_LIMIT); }

TrainRecord make_record(int score, int result) {
    TrainRecord record;
    pack_train_record(&root_thread_state->position, &record);
    record.ce = record.sc = static_cast<i16>(cut_score(score));
    record.gr_score = static_cast<i16>(cut_score(result));
    return record;
}

// True when the move takes a piece or promotes.
static bool changes_material(const Position *position, Move move) {
    const int type = type_of(position->board[from_of(move)]);
    if (position->board[to_of(move)] && colour_of(position->board[to_of(move)]) != position->stm) return true;
    if (type != PAWN) return false;
    return to_of(move) == position->ep_square || relative_rank(position->stm, to_of(move)) == 7;
}

Labelled search_and_label(i64 nodes, i64 max_nodes, int min_depth, GameRecords *records) {
    const Position *position = &root_thread_state->position;
    settings.soft_node_limit = nodes;
    settings.node_limit = max_nodes;
    settings.min_depth = static_cast<i16>(min_depth);
    settings.max_depth = MAX_DEPTH;
    search_on_this_thread(SEARCH_BENCH);
    write_search_state(0);
    records->nodes += worker_state(0)->nodes;
    ++records->searches;
    const Move best = published.pv[1];
    const bool quiet = best && published.depth > 1 && std::abs(published.score) < MATE_BOUND &&
                       !is_in_check(position) && !changes_material(position, best);
    return {published.score, best, quiet};
}

// Ends games that are long decided or level without progress.
struct Adjudicator {
    int decided;  // plies in a row with a winner, negative when it is Black
    int level;    // plies in a row with a level score
};

// Takes the score of one ply, for White. True with a result when the game need not go on.
static bool adjudicate(const SelfplayOptions &options, int white_score, int fifty, Adjudicator *state,
                       GameResult *result) {
    if (options.resign && white_score >= options.resign) state->decided = std::max(state->decided, 0) + 1;
    else if (options.resign && white_score <= -options.resign) state->decided = std::min(state->decided, 0) - 1;
    else state->decided = 0;
    state->level = std::abs(white_score) <= LEVEL_SCORE && fifty >= LEVEL_FIFTY ? state->level + 1 : 0;
    if (std::abs(state->decided) >= RESIGN_PLIES) {
        *result = state->decided > 0 ? GameResult::WHITE_WINS : GameResult::BLACK_WINS;
        return true;
    }
    *result = GameResult::DRAW;
    return options.draw_plies && state->level >= options.draw_plies;
}

// The rules' end of the game at the master position.
static bool is_over(GameResult *result) {
    Position *position = &root_thread_state->position;
    *result = GameResult::DRAW;
    if (!has_legal_move(position)) {
        if (is_in_check(position)) *result = position->stm ? GameResult::WHITE_WINS : GameResult::BLACK_WINS;
        return true;
    }
    return is_game_drawn(position) || is_dead_material(position);
}

// Writes the result into the game's records, from each side's view.
static void set_results(GameRecords *records) {
    for (TrainRecord &record : records->game) {
        const bool black = record.stm_castling >> 4 != 0;
        float share = 0.5f;
        if (records->result != GameResult::DRAW)
            share = (records->result == GameResult::BLACK_WINS) == black ? 1.0f : 0.0f;
        record.gr_score = static_cast<i16>(result_to_score(share));
    }
}

// Plays from the master position to the end of the game. False when stopped.
static bool play_moves(const SelfplayOptions &options, Random *random, SeenPositions *seen, GameRecords *records) {
    Position *position = &root_thread_state->position;
    Adjudicator adjudicator = {};
    for (int ply = 0; ply < LAST_PLY; ++ply) {
        if (is_over(&records->result)) return true;
        const Labelled label = search_and_label(options.nodes, options.max_nodes, options.min_depth, records);
        if (stop_requested()) return false;
        if (label.quiet && !is_answered_by_rule(position) && take_position(seen, position))
            records->game.push_back(make_record(label.score, 0));
        for (int i = 0; i < options.inner; ++i) take_inner_position(options, random, seen, records);
        if (stop_requested()) return false;
        const int white_score = position->stm ? -label.score : label.score;
        if (adjudicate(options, white_score, position->fifty, &adjudicator, &records->result)) return true;
        make_game_move(position, label.best);
    }
    records->result = GameResult::DRAW;
    return true;
}

// Sets the master position up as the start of a game that is not decided yet. The kind of start is
// drawn once and kept: most random pawn endings are decided, and would be rare otherwise. False when
// no such start was found, or stopped.
static bool find_start(const SelfplayOptions &options, const std::vector<std::string> &openings, Random *random,
                       GameRecords *records) {
    const bool ending = percent_chance(random, options.endings);
    const EndingKind kind = draw_ending_kind(random);
    // One ply more or less changes who is to move.
    const int random_plies = options.random_plies ? options.random_plies + random_below(random, 2) : 0;
    for (int i = 0; i < START_TRIES && !stop_requested(); ++i) {
        if (ending) set_random_ending(kind, random);
        else if (!set_random_opening(openings, random_plies, random)) continue;
        const Labelled label = search_and_label(options.nodes, options.max_nodes, options.min_depth, records);
        if (label.best && std::abs(label.score) <= (ending ? ENDING_LIMIT : OPENING_LIMIT)) return !stop_requested();
    }
    return false;
}

bool play_selfplay_game(const SelfplayOptions &options, const std::vector<std::string> &openings, Random *random,
                        SeenPositions *seen, GameRecords *records) {
    records->game.clear();
    records->inner.clear();
    records->nodes = records->searches = 0;
    hash_table.age = 0;
    clear_hash_table();
    if (!find_start(options, openings, random, records)) return false;
    if (!play_moves(options, random, seen, records)) {
        records->game.clear();
        records->inner.clear();
        return false;
    }
    set_results(records);
    return true;
}
