// The clock's side of a search. All times are seconds in single precision.
#include "search/time_check.h"

#include <algorithm>
#include <cstdlib>

#include "base/settings.h"
#include "platform/clock.h"
#include "search/search_state.h"

static constexpr float MIN_TARGET = 0.005f;
static constexpr float GUARD_FACTOR = 4.0f;  // the first two iterations may take this many targets,
static constexpr float GUARD_MARGIN = 0.1f;  // at least this many seconds beyond one,
static constexpr float GUARD_FLOOR = 0.01f;  // but not the whole clock; this if it is nearly empty

void refresh_elapsed_time() {
    const ClockReading now = read_clock();
    search_run.elapsed = static_cast<float>(static_cast<double>(now.seconds) - search_run.start_time +
                                            (static_cast<double>(now.nanoseconds) * 1e-9 + 0.0001));
}

// Share of the increment that may be spent: a nearly empty clock spends almost none of it.
static float increment_share() {
    const float increment = search_limits.time_increment, clock = game_clock.remaining[search_run.root_side];
    if (!(increment > 0.0f)) return 0.0f;
    return clock / (2.0f * increment + clock) * increment;
}

// The fraction of the remaining time that one move gets; sets game_clock.moves_to_go where it is not given.
static float base_fraction() {
    if (search_limits.time_mode == 0) {
        game_clock.moves_to_go = 28;
        return 1.0f / 29.0f;
    }
    if (!settings.uci_mode) {
        // Moves left to the next control of M moves.
        const int moves = search_limits.time_mode, played = root_thread_state->game.game_ply;
        game_clock.moves_to_go = static_cast<i16>(moves * (played / (2 * moves) + 1) - played / 2);
    }
    return 1.0f / static_cast<float>(std::max<int>(game_clock.moves_to_go, 0) + 1);
}

// True if a worker at the same depth or deeper prefers another move by at least `margin`.
static bool worker_disagrees(int margin) {
    for (int i = 1; i < search_limits.threads; ++i) {
        const ThreadState *worker = worker_state(i);
        if (worker && worker->completed_depth >= published.depth && worker->pv_line[1] != published.pv[1] &&
            worker->root_score >= published.score + margin)
            return true;
    }
    return false;
}

// Extra time, as a fraction: the root fails low or high, the score drops, or the best move is unstable.
static float extra_fraction(const ThreadState *master) {
    const int size = std::abs(static_cast<int>(published.score));
    const int margin = size < 336 ? 20 : size / 16;
    const RootState root_fail = master->root_fail;
    const int depth = search_run.depth;
    const bool several = search_limits.threads > 1;
    float extra = 0.0f;
    // Failing high or low.
    if (root_fail == ROOT_FAILS_HIGH) extra += 0.04f;
    if (root_fail == ROOT_FAILS_LOW) extra += 0.2f;
    // The score has dropped against both of the last iterations.
    if (root_fail != ROOT_FAILS_LOW) {
        if (depth < 4) {
            if (!several) return extra;
        } else if (published.score <= published.iteration_score[depth - 1] - margin &&
                   published.score <= published.iteration_score[depth - 2] - margin) {
            extra += 0.04f;
        }
    }
    // Unstable best move.
    if (several && worker_disagrees(margin)) extra += 0.02f;
    if (depth >= 5 && published.change_depth >= depth - 2) extra += 0.01f;
    return extra;
}

// Seconds after which even the first two iterations are stopped. They run to their end whatever the target, usually in
// an instant, but in positions full of captures they may take minutes. A fixed time is promised to the front end, so it
// is exceeded by the margin only; a clock must not fall.
static float guard_time(float target) {
    if (search_limits.time_mode == 1) return target + GUARD_MARGIN;
    const float guard = std::max(GUARD_FACTOR * target, target + GUARD_MARGIN);
    const float clock = game_clock.remaining[search_run.root_side];
    if (!(clock > 0.0f)) return guard;
    const float overhead = search_limits.move_overhead;
    return std::min(guard, std::max({clock - overhead, clock / 2.0f, GUARD_FLOOR}));
}

// There is one target and no separate hard limit. It is computed anew at every call: a reason for more time raises it
// while it lasts, and when it ends the target may be below the time used, which stops the search at once.
void time_check() {
    refresh_elapsed_time();
    const float increment = increment_share();
    const bool clock_runs = (read_search_state() & (SEARCH_RUN | SEARCH_BENCH)) != 0;
    if (search_limits.time_mode == 1) {
        game_clock.moves_to_go = 1;
        search_run.target_time = search_limits.move_time;
        if (!clock_runs) return;
        const float limit = search_limits.move_time + increment;
        if (search_run.elapsed >= (search_run.depth < 2 ? guard_time(limit) : limit)) search_run.stop = 1;
        return;
    }
    float fraction = base_fraction();
    const float left = std::max(game_clock.remaining[search_run.root_side] - search_run.elapsed, 0.0f);
    if (search_limits.ponder) fraction *= 1.25f;
    search_run.target_time = fraction * left + increment;

    // A ponder search has a target but no stop.
    const ThreadState *master = worker_state(0);
    if (!master || !clock_runs) return;
    if (search_run.depth < 2) {
        if (search_run.elapsed >= guard_time(search_run.target_time)) search_run.stop = 1;
        return;
    }
    fraction += extra_fraction(master);
    float target = fraction * left + increment - search_limits.move_overhead;
    target = std::max(target, MIN_TARGET);
    if (search_run.tb_wdl != TB_NO_ANSWER) target *= 0.5f;
    search_run.target_time = target;
    if (search_run.elapsed >= target) search_run.stop = 1;
    if (search_run.single_reply && search_run.depth >= 6) search_run.stop = 1;
}
