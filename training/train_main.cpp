// tarn-train: trains the network on records of positions. See docs/training-network.md.
#include <csignal>
#include <cstdio>

#include "engine_start.h"
#include "platform/clock.h"
#include "train_run.h"

// Set by SIGINT and SIGTERM; the batch in hand is finished first.
static volatile std::sig_atomic_t stop_wanted;

static void stop_signal(int) { stop_wanted = 1; }

// Batches until the schedule is through or a signal comes. False when a file could not be written.
static bool train(TrainRun *run) {
    while (share_done(*run) < 1.0 && !stop_wanted) {
        train_batch(run);
        const bool last = share_done(*run) >= 1.0;
        if (!last && run->state.visits - run->last_report >= run->options.report && !report_run(run)) return false;
        const double since_save = clock_seconds() - run->save_clock;
        if (!last && since_save > 60 * run->options.save_minutes && !save_run(run)) return false;
    }
    return true;
}

static int train_to_the_end(TrainRun *run) {
    if (share_done(*run) >= 1.0) {
        std::printf("the schedule is complete; give a longer one, or --restart to begin anew\n");
        return 0;
    }
    if (run->rows.empty() && !report_run(run)) return 1;
    run->start_clock = clock_seconds() - run->state.seconds;
    if (!train(run) || !save_run(run)) return 1;
    if (stop_wanted && share_done(*run) < 1.0) {
        std::printf("stopped at %llu visits; the same command goes on from there\n",
                    static_cast<unsigned long long>(run->state.visits));
        return 0;
    }
    if (!report_run(run)) return 1;
    return check_with_engine(run) ? 0 : 1;
}

int main(int count, char **words) {
    static TrainRun run;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (!parse_train_options(count, words, &run.options)) return 1;
    if (run.options.help) {
        print_train_help();
        return 0;
    }
    std::signal(SIGINT, stop_signal);
    std::signal(SIGTERM, stop_signal);
    if (!start_engine_library("embedded", true)) return 1;
    if (!start_run(&run)) return 1;
    const int status = train_to_the_end(&run);
    end_run(&run);
    return status;
}
