// tarn-selfplay: makes training records by games of the engine against itself.
//
// The search keeps its state in globals, so each job is a process of its own: this one loads the
// network, forks the workers, and then only watches them. Workers share nothing but the counters
// below and the two output files, to which they append whole games.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "engine_start.h"
#include "platform/clock.h"
#include "selfplay_files.h"
#include "selfplay_game.h"
#include "selfplay_options.h"
#include "selfplay_start.h"

// In memory that all processes of the run share.
struct SharedCounters {
    std::atomic<u64> next_game;
    std::atomic<u64> results[3];  // games finished, by GameResult
    std::atomic<u64> game_records, inner_records;
    std::atomic<u64> nodes, searches;
};

struct Run {
    SelfplayOptions options;
    RunState state;
    std::vector<std::string> openings;
    SharedCounters *counters;
    std::string inner_output;
    i64 records_before;  // in both files together, when the run began
    std::vector<pid_t> workers;
};

extern "C" void handle_stop_signal(int) { request_stop(); }

static void catch_stop_signals() {
    struct sigaction action = {};
    action.sa_handler = handle_stop_signal;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

static double now_seconds() {
    const ClockReading now = read_clock();
    return static_cast<double>(now.seconds) + static_cast<double>(now.nanoseconds) * 1e-9;
}

static void count_game(const GameRecords &records, SharedCounters *counters) {
    ++counters->results[static_cast<int>(records.result)];
    counters->game_records += records.game.size();
    counters->inner_records += records.inner.size();
}

// Plays games until told to stop. The exit status of the worker.
static int run_worker(const Run &run, int parent) {
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDOUT_FILENO);
    const int game_file = open_records(run.options.output), inner_file = open_records(run.inner_output);
    SeenPositions seen;
    if (game_file < 0 || inner_file < 0 || !start_selfplay_worker(parent, &seen)) return 1;
    GameRecords records;
    while (!stop_requested()) {
        Random random =
            make_random(static_cast<u64>(run.options.seed), static_cast<u64>(run.state.run), run.counters->next_game++);
        const bool played = play_selfplay_game(run.options, run.openings, &random, &seen, &records);
        run.counters->nodes += records.nodes;
        run.counters->searches += records.searches;
        if (!played) continue;
        if (!append_records(game_file, run.options.output, records.game) ||
            !append_records(inner_file, run.inner_output, records.inner))
            return 1;
        count_game(records, run.counters);
    }
    return 0;
}

static bool start_workers(Run *run) {
    const int parent = getpid();
    for (int i = 0; i < run->options.jobs; ++i) {
        const pid_t child = fork();
        if (child == 0) _exit(run_worker(*run, parent));
        if (child < 0) {
            std::perror("can't start a worker");
            return false;
        }
        run->workers.push_back(child);
    }
    return true;
}

// Takes the exit statuses of workers that have ended; waits for them with `flags` 0. True when all of
// them ended well.
static bool reap_workers(Run *run, int flags) {
    bool good = true;
    for (pid_t &worker : run->workers) {
        int status = 0;
        if (!worker) continue;
        pid_t ended;
        do ended = waitpid(worker, &status, flags);
        while (ended < 0 && errno == EINTR);
        if (ended == 0) continue;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) good = false;
        worker = 0;
    }
    return good;
}

static i64 run_records(const Run &run) {
    return static_cast<i64>(run.counters->game_records + run.counters->inner_records);
}

static void print_progress(const Run &run, double seconds, double rate) {
    const SharedCounters &counters = *run.counters;
    const u64 white = counters.results[2], drawn = counters.results[1], black = counters.results[0];
    std::fprintf(stderr,
                 "%.0f s: %llu games (+%llu =%llu -%llu), %llu game and %llu inner positions, %.0f/s now, %.0f/s "
                 "on average, %lld in the files\n",
                 seconds, static_cast<unsigned long long>(white) + drawn + black,
                 static_cast<unsigned long long>(white), static_cast<unsigned long long>(drawn),
                 static_cast<unsigned long long>(black), static_cast<unsigned long long>(counters.game_records),
                 static_cast<unsigned long long>(counters.inner_records), rate,
                 static_cast<double>(run_records(run)) / seconds,
                 static_cast<long long>(run.records_before) + static_cast<long long>(run_records(run)));
}

// The last line: what the searches cost.
static void print_cost(const Run &run) {
    const double nodes = static_cast<double>(run.counters->nodes),
                 searches = static_cast<double>(run.counters->searches);
    const double records = static_cast<double>(run_records(run));
    if (searches > 0.0 && records > 0.0)
        std::fprintf(stderr, "%.0f searches, %.0f nodes per search, %.0f per position\n", searches, nodes / searches,
                     nodes / records);
}

// True when the files hold as many positions as were asked for.
static bool is_complete(const Run &run) {
    return run.options.positions && run.records_before + run_records(run) >= run.options.positions;
}

// Watches the workers until the run is over: stopped, complete, out of time, or a worker failed.
static bool watch_workers(Run *run, double start) {
    constexpr timespec PAUSE = {0, 100000000};
    double last_report = start;
    i64 last_records = 0;
    while (!stop_requested()) {
        nanosleep(&PAUSE, nullptr);
        const double now = now_seconds();
        if (!reap_workers(run, WNOHANG)) return false;
        const i64 records = run_records(*run);
        if (is_complete(*run)) return true;
        if (run->options.seconds && now - start >= static_cast<double>(run->options.seconds)) return true;
        if (now - last_report < run->options.report) continue;
        print_progress(*run, now - start, static_cast<double>(records - last_records) / (now - last_report));
        last_report = now;
        last_records = records;
    }
    return true;
}

// Opens, repairs and counts the outputs and takes the run number. False after a line on standard error.
static bool prepare_files(Run *run) {
    if (!begin_run(run->options.output, &run->state)) return false;
    run->inner_output = inner_path(run->options.output);
    const int game_file = open_records(run->options.output), inner_file = open_records(run->inner_output);
    if (game_file < 0 || inner_file < 0) return false;
    run->records_before = count_records(game_file) + count_records(inner_file);
    close(game_file);
    close(inner_file);
    return true;
}

static bool prepare_run(Run *run) {
    SelfplayOptions &options = run->options;
    if (options.jobs == 0) options.jobs = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
    if (!start_engine_library(options.network.c_str(), options.use_network)) return false;
    if (!options.openings.empty()) {
        run->openings = read_openings(options.openings.c_str());
        if (run->openings.empty()) {
            std::fprintf(stderr, "no usable start positions in %s\n", options.openings.c_str());
            return false;
        }
    }
    void *block = mmap(nullptr, sizeof(SharedCounters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
        std::perror("no shared memory");
        return false;
    }
    run->counters = new (block) SharedCounters{};
    return prepare_files(run);
}

int main(int argc, char **argv) {
    Run run;
    switch (read_selfplay_options(argc, argv, &run.options)) {
        case OptionsResult::HELP: print_selfplay_help(); return 0;
        case OptionsResult::FAULT: return 1;
        case OptionsResult::RUN: break;
    }
    dup2(STDERR_FILENO, STDOUT_FILENO);  // what the engine has to say about its network
    if (!prepare_run(&run)) return 1;
    std::fprintf(stderr, "run %lld of %s, seed %lld, %d jobs, %lld positions in the files\n",
                 static_cast<long long>(run.state.run), run.options.output.c_str(),
                 static_cast<long long>(run.options.seed), run.options.jobs,
                 static_cast<long long>(run.records_before));
    catch_stop_signals();
    const double start = now_seconds();
    // A worker could finish a game before it is told to stop, so a complete run starts none.
    bool good = is_complete(run) || (start_workers(&run) && watch_workers(&run, start));
    for (const pid_t worker : run.workers)
        if (worker) kill(worker, SIGTERM);
    good = reap_workers(&run, 0) && good;
    print_progress(run, now_seconds() - start, 0.0);
    print_cost(run);
    if (!good) std::fputs("a worker failed\n", stderr);
    return good ? 0 : 1;
}
