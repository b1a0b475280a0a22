#include "selfplay_inner.h"

#include <cstdlib>

#include "base/settings.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "search/hash_table.h"
#include "search/search_state.h"
#include "search/start.h"
#include "search/thread_state.h"
#include "selfplay_start.h"

static constexpr int LONGEST_WALK = 6;       // plies
static constexpr int SETTLING_STEPS = 3;     // tries to reach a quiet position from the end of a walk
static constexpr int QUIET_MARGIN = 29;      // centipawns that the quiescence search may gain
static constexpr int LOPSIDED_SCORE = 1000;  // centipawns: of positions beyond it one in four is kept
static constexpr int LOPSIDED_SHARE = 4;
static constexpr int INNER_MIN_DEPTH = 4;
static constexpr int INNER_HARD_FACTOR = 3;  // hard limit of a label, in soft ones

// The master's game up to a position, to come back to.
struct GamePoint {
    Position position;
    i16 game_ply;
    u16 last_move;
    u16 next_move;
};

static GamePoint keep_game_point() {
    const ThreadState *master = root_thread_state;
    return {master->position, master->game.game_ply, master->game.last_move,
            master->game.game_stack[master->game.game_ply].move};
}
static void return_to_game_point(const GamePoint &point) {
    ThreadState *master = root_thread_state;
    master->position = point.position;
    master->game.game_ply = point.game_ply;
    master->game.last_move = point.last_move;
    master->game.game_stack[point.game_ply].move = point.next_move;
}

// The hash table's move for the master position, 0 without one.
static Move hash_move() {
    Position *position = &root_thread_state->position;
    int score, eval, depth, bound;
    Move move = 0;
    if (!hash_probe(position, &score, &eval, &depth, &move, &bound)) return 0;
    return is_generated_legal_move(position, move) ? move : Move{0};
}

// One ply: the move of the table half the time, as at nodes that a search cuts off, else any legal
// move, as at those where it tries all. False when the game is over.
static bool walk_one_ply(Random *random) {
    Move move = one_in(random, 2) ? hash_move() : Move{0};
    if (!move) move = random_legal_move(random);
    if (!move) return false;
    make_game_move(&root_thread_state->position, move);
    return true;
}

// The quiescence search alone: its score and the static one go to published.quiescence_score and
// published.static_eval, its line to published.pv.
static void search_captures_only(GameRecords *records) {
    settings.max_depth = 0;
    search_on_this_thread(SEARCH_BENCH);
    write_search_state(0);
    records->nodes += worker_state(0)->nodes;
}

// Plays captures out, and moves out of check, until the master position is quiet by its quiescence
// search. False when it isn't after a few steps, or when the game is over.
static bool settle(Random *random, GameRecords *records) {
    Position *position = &root_thread_state->position;
    for (int step = 0; step < SETTLING_STEPS; ++step) {
        if (!has_legal_move(position)) return false;
        if (is_in_check(position)) {
            if (!walk_one_ply(random)) return false;
            continue;
        }
        search_captures_only(records);
        if (published.quiescence_score <= published.static_eval + QUIET_MARGIN) return true;
        if (!published.pv[1]) return false;
        for (int i = 1; i < PV_SIZE && published.pv[i]; ++i) make_game_move(position, published.pv[i]);
    }
    return false;
}

static bool label_master_position(const SelfplayOptions &options, Random *random, SeenPositions *seen,
                                  GameRecords *records) {
    const Position *position = &root_thread_state->position;
    if (is_answered_by_rule(position) || is_game_drawn(position)) return false;
    if (std::abs(published.static_eval) > LOPSIDED_SCORE && !one_in(random, LOPSIDED_SHARE)) return false;
    if (!take_position(seen, position)) return false;
    const Labelled label =
        search_and_label(options.inner_nodes, INNER_HARD_FACTOR * options.inner_nodes, INNER_MIN_DEPTH, records);
    if (stop_requested() || !label.quiet) return false;
    records->inner.push_back(make_record(label.score, label.score));
    return true;
}

bool take_inner_position(const SelfplayOptions &options, Random *random, SeenPositions *seen, GameRecords *records) {
    const GamePoint point = keep_game_point();
    const int plies = 1 + random_below(random, LONGEST_WALK);
    bool alive = true;
    for (int i = 0; i < plies && alive; ++i) alive = walk_one_ply(random);
    const bool taken = alive && settle(random, records) && label_master_position(options, random, seen, records);
    return_to_game_point(point);
    return taken;
}
