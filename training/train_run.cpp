// Start, schedule, batches, measurements and the end of a run.
#include "train_run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "eval/network/forward.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "search/thread_state.h"

constexpr u64 WARM_UP_SHARE = 10;    // the rise takes a tenth of a short schedule at most
constexpr int QUANTISED_ONE_IN = 4;  // measured positions of which one goes through the quantised network
constexpr u64 ENGINE_CHECKS = 2000;  // positions that the engine evaluates at the end

static bool open_data(TrainRun *run) {
    for (const DataPath &path : run->options.data)
        if (!add_data_path(&run->data, path.path, path.has_result)) return false;
    if (!split_data(&run->data)) return false;
    const DataSet &data = run->data;
    const u64 wanted = std::min(run->options.held_out, data.held_out_count);
    for (u64 i = 0; i < wanted; ++i) run->held_out.push_back(held_out_item(data, i * data.held_out_count / wanted));
    std::printf("%zu files, %llu records to train on, %llu held out (%llu of them measured)\n", data.files.size(),
                static_cast<unsigned long long>(data.training_count),
                static_cast<unsigned long long>(data.held_out_count), static_cast<unsigned long long>(wanted));
    return true;
}

static bool open_network(TrainRun *run) {
    const TrainOptions &options = run->options;
    Model *model = &run->trainer.model;
    if (!options.restart && file_exists(options.checkpoint.c_str())) {
        if (!read_checkpoint(model, &run->state, options.checkpoint)) return false;
        run->rows = read_report_table(options.out + ".csv", run->state.visits);
        std::printf("going on from %s: %llu visits, %.1f minutes\n", options.checkpoint.c_str(),
                    static_cast<unsigned long long>(run->state.visits), run->state.seconds / 60);
        return true;
    }
    run->state.seed = options.seed;
    if (options.network == "random") return random_model(model, options.hidden / 2, options.seed);
    return load_model(model, options.network);
}

bool start_run(TrainRun *run) {
    TrainOptions &options = run->options;
    if (!open_data(run) || !open_network(run)) return false;
    if (!start_trainer(&run->trainer, options.threads, static_cast<float>(options.score_share))) return false;
    if (options.positions) options.warm_up = std::min(options.warm_up, options.positions / WARM_UP_SHARE);
    if (run->state.pass_count != run->data.training_count) {  // new data, or the very first pass
        if (run->state.pass_count) ++run->state.pass;
        run->state.pass_place = 0;
        run->state.pass_count = run->data.training_count;
    }
    run->last_report = run->state.visits;
    run->report_clock = run->save_clock = clock_seconds();
    run->start_clock = run->report_clock - run->state.seconds;
    return true;
}

// The larger share when both lengths are given: the first limit that is reached ends the run.
double share_done(const TrainRun &run) {
    double share = 0.0;
    if (run.options.positions)
        share = static_cast<double>(run.state.visits) / static_cast<double>(run.options.positions);
    if (run.options.minutes > 0) share = std::max(share, run.state.seconds / (60 * run.options.minutes));
    return std::min(share, 1.0);
}

double learning_rate(const TrainRun &run) {
    constexpr double PI = 3.14159265358979323846;
    const TrainOptions &options = run.options;
    const double fall = 0.5 * (1.0 + std::cos(PI * share_done(run)));
    const double rate = options.last_rate + (options.rate - options.last_rate) * fall;
    if (run.state.visits >= options.warm_up) return rate;
    return rate * static_cast<double>(run.state.visits + static_cast<u64>(options.batch)) /
           static_cast<double>(options.warm_up + static_cast<u64>(options.batch));
}

// The next records of the pass; a new pass, in a new order, when it is through.
static void draw_batch(TrainRun *run) {
    RunState &state = run->state;
    u64 count = static_cast<u64>(run->options.batch);
    if (run->options.positions) count = std::min(count, run->options.positions - state.visits);
    run->trainer.items.clear();
    for (; count; --count, ++state.visits) {
        if (state.pass_place == state.pass_count) {
            ++state.pass;
            state.pass_place = 0;
        }
        const u64 key = mix_bits(state.seed ^ mix_bits(state.pass));
        const u64 index = shuffled_index(key, state.pass_place++, state.pass_count);
        run->trainer.items.push_back(training_item(run->data, index));
    }
}

void train_batch(TrainRun *run) {
    const double rate = learning_rate(*run);
    draw_batch(run);
    decode_items(&run->trainer);
    const LossSum loss = add_gradient(&run->trainer);
    merge_loss(&run->loss, loss);
    ++run->state.steps;
    adam_step(&run->trainer, rate, run->state.steps, run->options.first_limit, run->options.output_limit);
    run->state.seconds = clock_seconds() - run->start_clock;
}

// Seconds that the rest of the schedule takes at the speed so far, or -1.
static double seconds_left(const TrainRun &run, double speed) {
    double left = -1;
    if (run.options.positions && speed > 0)
        left = static_cast<double>(run.options.positions - run.state.visits) / speed;
    if (run.options.minutes > 0) {
        const double rest = std::max(0.0, 60 * run.options.minutes - run.state.seconds);
        left = left < 0 ? rest : std::min(left, rest);
    }
    return left;
}

bool report_run(TrainRun *run) {
    const double seconds = clock_seconds() - run->report_clock;
    const u64 visits = run->state.visits - run->last_report;
    ReportRow row = report_row(measure(&run->trainer, run->held_out, QUANTISED_ONE_IN));
    row.visits = run->state.visits;
    row.seconds = run->state.seconds;
    row.rate = learning_rate(*run);
    row.training_loss = mean_loss(run->loss);
    row.speed = visits && seconds > 0 ? static_cast<double>(visits) / seconds : 0.0;
    run->rows.push_back(row);
    print_report(row, share_done(*run), seconds_left(*run, row.speed));
    run->loss = {};
    run->last_report = run->state.visits;
    run->report_clock = clock_seconds();
    return write_report_table(run->rows, run->options.out + ".csv") &&
           write_loss_plot(run->rows, run->options.out + ".svg");
}

bool save_run(TrainRun *run) {
    run->save_clock = clock_seconds();
    return write_checkpoint(run->trainer.model, run->state, run->options.checkpoint) &&
           write_network(run->trainer.model, run->options.out);
}

// The engine's score of a record by the loaded network, from a clean start.
static int engine_score(const TrainRecord *record) {
    constexpr int CLEAN_PLY = 1;  // the first plies of a search use no sums of other positions
    float target;
    set_position_from_record(record, &root_thread_state->position, &target);
    root_thread_state->eval.eval_ply = CLEAN_PLY;
    int score;
    if (!network_eval(&root_thread_state->eval, root_thread_state->position, &score))
        end_process(1);  // no memory, as the line printed has said
    return score;
}

bool check_with_engine(TrainRun *run) {
    Model loaded;
    if (!load_model(&loaded, run->options.out)) return false;
    const std::vector<i16> words = quantised_weights(loaded);
    const NetworkFields &fields = loaded.fields;
    const double scale = static_cast<double>(fields.activation_scale) * fields.activation_scale;
    u64 checked = 0, different = 0;
    QuantisedResult seen = {};
    for (u64 i = 0; i < run->held_out.size() && i < ENGINE_CHECKS; ++i) {
        Sample sample;
        fill_sample(run->held_out[i], run->trainer.targets, fields.king_buckets, fields.output_count != HEADS, &sample);
        if (!sample.count) continue;
        const double score = quantised_sum(loaded, words, sample, &seen) / scale * fields.output_scale;
        const double limited = std::clamp(score, -2500.0, 2500.0);
        constexpr double ROUNDING = 0.51;  // half a centipawn, and what single precision loses
        ++checked;
        if (std::abs(limited - engine_score(run->held_out[i].record)) > ROUNDING) ++different;
    }
    free_model(&loaded);
    std::printf("%s: %llu of %llu positions evaluated by the engine differ\n", run->options.out.c_str(),
                static_cast<unsigned long long>(different), static_cast<unsigned long long>(checked));
    return different == 0;
}

void end_run(TrainRun *run) {
    stop_trainer(&run->trainer);
    free_model(&run->trainer.model);
    close_data(&run->data);
}
