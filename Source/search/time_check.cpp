// The clock's side of a search. All times are seconds in single precision.
#include "search/time_check.h"

#include <algorithm>
#include <cstdlib>

#include "base/settings.h"
#include "platform/clock.h"
#include "search/search_state.h"

static constexpr float MIN_TARGET = 0.005f;
static constexpr float GUARD_FACTOR = 4.0f;  // the first two iterations may take so many targets,
static constexpr float GUARD_MARGIN = 0.1f;  // and so many seconds beyond it at least,
static constexpr float GUARD_FLOOR = 0.01f;  // but not the whole clock; a nearly empty one leaves this

void refresh_elapsed_time() {
    const ClockReading now = read_clock();
    search_run.elapsed = static_cast<float>(static_cast<double>(now.seconds) - search_run.start_time +
                                            (static_cast<double>(now.nanoseconds) * 1e-9 + 0.0001));
}

// Share of the increment that may be spent: a nearly empty clock spends almost none of it.
static float increment_share() {
    const float increment = settings.time_increment, clock = game_clock.remaining[search_run.root_side];
    if (!(increment > 0.0f)) return 0.0f;
    return clock / (2.0f * increment + clock) * increment;
}

// The fraction of the remaining time that one move gets; sets game_clock.moves_to_go where it isn't told.
static float base_fraction() {
    if (settings.time_mode == 0) {
        game_clock.moves_to_go = 28;
        return 1.0f / 29.0f;
    }
    if (!settings.uci_mode) {
        // Moves left to the next control of M moves.
        const int moves = settings.time_mode, played = root_thread_state->game.game_ply;
        game_clock.moves_to_go = static_cast<i16>(moves * (played / (2 * moves) + 1) - played / 2);
    }
    return 1.0f / static_cast<float>(std::max<int>(game_clock.moves_to_go, 0) + 1);
}

// Does a worker that is as far along prefer another move by a clear margin?
static bool worker_disagrees(int margin) {
    for (int i = 1; i < settings.threads; ++i) {
        const ThreadState *worker = worker_state(i);
        if (worker && worker->completed_depth >= published.depth && worker->pv_line[1] != published.pv[1] &&
            worker->root_score >= published.score + margin)
            return true;
    }
    return false;
}

// Additions to the fraction while the search is in trouble or of two minds.
static float extra_fraction(const ThreadState *master) {
    const int size = std::abs(static_cast<int>(published.score));
    const int margin = size < 336 ? 20 : size / 16;
    const int root_fail = master->root_fail, depth = search_run.depth;
    const bool several = settings.threads > 1;
    float extra = 0.0f;
    if (root_fail == 2) extra += 0.04f;
    if (root_fail == 1) extra += 0.2f;
    if (root_fail != 1) {
        if (depth < 4) {
            if (!several) return extra;
        } else if (published.score <= published.iteration_score[depth - 1] - margin &&
                   published.score <= published.iteration_score[depth - 2] - margin) {
            extra += 0.04f;
        }
    }
    if (several && worker_disagrees(margin)) extra += 0.02f;
    if (depth >= 5 && published.change_depth >= depth - 2) extra += 0.01f;
    return extra;
}

// The first two iterations run to their end whatever the target, in an instant as a rule. In positions
// full of captures they may take minutes: this stops them. A fixed time is promised to the front end, so
// only the margin goes on top of it; a clock must not fall. Seconds.
static float guard_time(float target) {
    if (settings.time_mode == 1) return target + GUARD_MARGIN;
    const float guard = std::max(GUARD_FACTOR * target, target + GUARD_MARGIN);
    const float clock = game_clock.remaining[search_run.root_side];
    if (!(clock > 0.0f)) return guard;
    const float overhead = 0.001f * static_cast<float>(settings.move_overhead);
    return std::min(guard, std::max({clock - overhead, clock / 2.0f, GUARD_FLOOR}));
}

// There is one target and no hard limit beside it: a reason that lasts raises it, and when the
// reason goes the target may fall below the time used and stop the search at once.
void time_check() {
    refresh_elapsed_time();
    const float increment = increment_share();
    const bool clock_runs = (read_search_state() & (SEARCH_RUN | SEARCH_BENCH)) != 0;
    if (settings.time_mode == 1) {
        game_clock.moves_to_go = 1;
        search_run.target_time = settings.move_time;
        if (!clock_runs) return;
        const float limit = settings.move_time + increment;
        if (search_run.elapsed >= (search_run.depth < 2 ? guard_time(limit) : limit)) search_run.stop = 1;
        return;
    }
    float fraction = base_fraction();
    const float left = std::max(game_clock.remaining[search_run.root_side] - search_run.elapsed, 0.0f);
    if (settings.ponder) fraction *= 1.25f;
    search_run.target_time = fraction * left + increment;

    // A ponder search has a target but no stop.
    const ThreadState *master = worker_state(0);
    if (!master || !clock_runs) return;
    if (search_run.depth < 2) {
        if (search_run.elapsed >= guard_time(search_run.target_time)) search_run.stop = 1;
        return;
    }
    fraction += extra_fraction(master);
    float target = fraction * left + increment - 0.001f * static_cast<float>(settings.move_overhead);
    target = std::max(target, MIN_TARGET);
    if (search_run.tb_wdl != TB_NO_ANSWER) target *= 0.5f;
    search_run.target_time = target;
    if (search_run.elapsed >= target) search_run.stop = 1;
    if (search_run.single_reply && search_run.depth >= 6) search_run.stop = 1;
}
