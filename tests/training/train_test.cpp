// The trainer: reading and splitting data, features, gradient, quantising, resuming, and the program.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>

#include "eval/network/forward.h"
#include "gtest/gtest.h"
#include "support/engine.h"
#include "support/program.h"
#include "train_run.h"

namespace {

constexpr int BLACK_BIT = 8;

void put(TrainRecord *record, int square, int code) {
    u8 &pair = record->squares[square / 2];
    pair = static_cast<u8>(square & 1 ? (pair & 15) | code << 4 : (pair & 0xF0) | code);
}

int code_at(const TrainRecord &record, int square) { return record.squares[square / 2] >> (square & 1 ? 4 : 0) & 15; }

// Kings and up to 30 other men on random squares. The score follows the material, so that there is
// something to learn.
TrainRecord random_record(Random *random) {
    TrainRecord record = {};
    record.ep = 64;
    record.stm_castling = static_cast<u8>(random_below(random, 2) << 4);
    const int white_king = random_below(random, 64);
    put(&record, white_king, KING);
    put(&record, (white_king + 1 + random_below(random, 63)) % 64, BLACK_BIT + KING);
    static const int VALUES[] = {0, 100, 300, 300, 500, 900};
    int balance = 0, left[2] = {15, 15};
    const int men = random_below(random, 31);
    for (int i = 0; i < men; ++i) {
        const int type = PAWN + random_below(random, 5), side = random_below(random, 2);
        const int square = random_below(random, 64);
        const bool edge = square < 8 || square >= 56;
        if (code_at(record, square) || (type == PAWN && edge) || !left[side]) continue;
        --left[side];
        put(&record, square, type + BLACK_BIT * side);
        balance += side ? -VALUES[type] : VALUES[type];
    }
    if (record.stm_castling) balance = -balance;
    record.sc = static_cast<i16>(std::clamp(balance, -3000, 3000));
    record.gr_score = static_cast<i16>(balance > 0 ? 2300 : balance < 0 ? -2302 : 0);
    return record;
}

std::vector<TrainRecord> random_records(int count, u64 seed) {
    Random random = {seed};
    std::vector<TrainRecord> records;
    for (int i = 0; i < count; ++i) records.push_back(random_record(&random));
    return records;
}

std::string bytes_of(const std::vector<TrainRecord> &records) {
    return std::string(reinterpret_cast<const char *>(records.data()), records.size() * sizeof(TrainRecord));
}

std::vector<DataItem> items_of(const std::vector<TrainRecord> &records, bool has_result = true) {
    std::vector<DataItem> items;
    for (const TrainRecord &record : records) items.push_back({&record, has_result});
    return items;
}

std::vector<std::string> run_trainer(const std::vector<std::string> &arguments, int *status) {
    ProgramSetup setup;
    setup.executable = TARN_TRAIN_PROGRAM;
    setup.arguments = arguments;
    Program program(setup);
    const std::vector<std::string> lines = program.rest();
    *status = program.wait_exit();
    return lines;
}

bool has_line(const std::vector<std::string> &lines, const std::string &part) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string &line) { return line.find(part) != std::string::npos; });
}

// A trainer of a random network; stopped and freed at the end of the test.
struct RandomTrainer {
    Trainer trainer = {};
    explicit RandomTrainer(int half, int threads = 1) {
        EXPECT_TRUE(random_model(&trainer.model, half, 7));
        EXPECT_TRUE(start_trainer(&trainer, threads, 0.75f));
    }
    ~RandomTrainer() {
        stop_trainer(&trainer);
        free_model(&trainer.model);
    }
};

// The network and its loss once more, in double precision and straight from the file's order of weights.
double reference_loss(const std::vector<double> &weights, int half, const std::vector<Sample> &samples,
                      double output_slope) {
    const std::size_t first = 2 * ROWS_PER_BUCKET * static_cast<std::size_t>(half);
    const double *outputs = weights.data() + first;
    const double *biases = outputs + 2 * OUTPUT_ROWS_STORED * half;
    double loss = 0;
    for (const Sample &sample : samples) {
        double output = 0;
        for (int other = 0; other < 2; ++other) {
            const int side = sample.stm ^ other;
            for (int j = 0; j < half; ++j) {
                double sum = biases[j];  // both colours have the same
                for (int i = 0; i < sample.count; ++i) sum += weights[sample.rows[side][i] * half + j];
                output += (sum >= 0 ? sum : sum / 64) * outputs[(2 * sample.head + other) * half + j];
            }
        }
        const double error = 1 / (1 + std::exp(-output_slope * output)) - sample.target;
        loss += error * error;
    }
    return loss / static_cast<double>(samples.size());
}

}  // namespace

TEST(TrainData, TheShuffleVisitsEachRecordOnce) {
    for (const u64 count : {1, 2, 3, 1000, 4097}) {
        std::vector<int> seen(count);
        for (u64 i = 0; i < count; ++i) ++seen[shuffled_index(99, i, count)];
        EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(count)) << count;
    }
    int moved = 0;
    for (u64 i = 0; i < 1000; ++i) moved += shuffled_index(1, i, 1000) != shuffled_index(2, i, 1000);
    EXPECT_GT(moved, 900);
}

TEST(TrainData, HeldOutBlocksStayHeldOutWhenFilesAreAdded) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("b.bin"), bytes_of(random_records(300 * BLOCK_RECORDS, 1))));
    DataSet before = {};
    ASSERT_TRUE(add_data_path(&before, scratch.path, true) && split_data(&before));
    EXPECT_EQ(before.training_count + before.held_out_count, 300u * BLOCK_RECORDS);
    EXPECT_EQ(before.held_out_count % BLOCK_RECORDS, 0u);
    EXPECT_GE(before.held_out_count, 1u * BLOCK_RECORDS);
    EXPECT_LE(before.held_out_count, 12u * BLOCK_RECORDS);

    ASSERT_TRUE(write_file(scratch.file("a.bin"), bytes_of(random_records(1500, 2))));
    DataSet after = {};
    ASSERT_TRUE(add_data_path(&after, scratch.path, true) && split_data(&after));
    EXPECT_EQ(after.files.size(), 2u);
    u64 found = 0;
    for (const DataBlock &old : before.held_out)
        for (const DataBlock &block : after.held_out)
            found += !std::memcmp(old.records, block.records, sizeof(TrainRecord) * BLOCK_RECORDS);
    EXPECT_EQ(found, before.held_out.size());
    // Every record is in one of the two shares, the short last block too.
    EXPECT_EQ(after.training_count + after.held_out_count, 300u * BLOCK_RECORDS + 1500u);
    EXPECT_FALSE(record_defect(*training_item(after, after.training_count - 1).record));
    close_data(&before);
    close_data(&after);
}

TEST(TrainSample, RowsAndHeadAreThoseOfTheFormat) {
    TrainRecord record = {};
    record.ep = 64;
    put(&record, 4, KING);               // white king on e1
    put(&record, 57, BLACK_BIT + KING);  // black king on b8
    put(&record, 42, BLACK_BIT + KNIGHT);
    TargetTable table;
    fill_target_table(&table, 0.75f);
    Sample sample;
    fill_sample({&record, true}, table, 2, false, &sample);
    ASSERT_EQ(sample.count, 3);
    EXPECT_EQ(sample.rows[0][0], 490);
    EXPECT_EQ(sample.rows[1][0], 85);
    EXPECT_EQ(sample.head, 3);
    EXPECT_EQ(sample.stm, 0);
    fill_sample({&record, true}, table, 2, true, &sample);
    EXPECT_EQ(sample.head, 0);
}

TEST(TrainSample, TheTargetMixesScoreAndResult) {
    TrainRecord record = random_records(1, 3)[0];
    record.sc = 100;
    record.gr_score = 2300;
    TargetTable table;
    fill_target_table(&table, 0.25f);
    Sample sample;
    fill_sample({&record, true}, table, 2, false, &sample);
    EXPECT_NEAR(sample.target, 0.25 * 0.64565631 + 0.75 * 0.99999898, 1e-5);
    fill_sample({&record, false}, table, 2, false, &sample);
    EXPECT_NEAR(sample.target, 0.64565631, 1e-6);
}

TEST(TrainSample, ADamagedRecordCountsForNothing) {
    TrainRecord record = random_records(1, 3)[0];
    TargetTable table;
    fill_target_table(&table, 0.75f);
    Sample sample;
    fill_sample({&record, true}, table, 2, false, &sample);
    EXPECT_GE(sample.count, 2);
    record.sc = 3001;
    fill_sample({&record, true}, table, 2, false, &sample);
    EXPECT_EQ(sample.count, 0);
}

TEST(TrainGradient, RowUsersAreThePerspectivesThatUseARow) {
    RandomTrainer made(64);
    Trainer &trainer = made.trainer;
    std::vector<TrainRecord> records = random_records(30, 6);
    records[7].sc = 3001;  // a damaged one has no rows
    trainer.items = items_of(records);
    decode_items(&trainer);
    const int count = static_cast<int>(trainer.samples.size());
    std::vector<std::vector<int>> expected(static_cast<std::size_t>(trainer.model.first_rows));
    for (int i = 0; i < count; ++i)
        for (int other = 0; other < 2; ++other)
            for (int man = 0; man < trainer.samples[i].count; ++man)
                expected[trainer.samples[i].rows[trainer.samples[i].stm ^ other][man]].push_back(2 * i + other);
    RowUsers list;
    for (int repeat = 0; repeat < 2; ++repeat) {  // a list is used again
        list_row_users(trainer.model, trainer.samples.data(), count, &list);
        ASSERT_EQ(list.first.size(), expected.size() + 1);
        for (std::size_t row = 0; row < expected.size(); ++row) {
            const std::vector<int> found(list.users.begin() + list.first[row],
                                         list.users.begin() + list.first[row + 1]);
            EXPECT_EQ(found, expected[row]) << row;
        }
    }
}

// Central differences of the reference loss, for weights of every kind that the samples touch. 72 nodes
// are more than a tile and no whole number of tiles; likewise the positions and a chunk.
TEST(TrainGradient, AgreesWithFiniteDifferences) {
    constexpr int HALF = 72;
    RandomTrainer made(HALF);
    Trainer &trainer = made.trainer;
    const std::vector<TrainRecord> records = random_records(CHUNK + 200, 4);
    trainer.items = items_of(records);
    decode_items(&trainer);
    const LossSum loss = add_gradient(&trainer);

    const u64 count = file_weight_count(trainer.model);
    std::vector<double> weights(count);
    for (u64 i = 0; i < count; ++i) weights[i] = trainer.model.weights[weight_place(trainer.model, i)];
    EXPECT_NEAR(mean_loss(loss), reference_loss(weights, HALF, trainer.samples, trainer.output_slope), 1e-6);

    std::vector<u64> probes;
    for (u64 i = 0; i < 40; ++i) probes.push_back(trainer.samples[i].rows[i & 1][0] * HALF + (i * 7) % HALF);
    const u64 outputs = 2 * ROWS_PER_BUCKET * HALF;
    for (u64 i = 0; i < 10 * HALF; i += 17) probes.push_back(outputs + i);
    const u64 biases = outputs + 2 * OUTPUT_ROWS_STORED * HALF;
    for (u64 i = 0; i < HALF; i += 5) probes.push_back(biases + i);
    int nonzero = 0;
    for (const u64 probe : probes) {
        constexpr double STEP = 1e-7;  // small: few sums may change their sign on the way
        const double middle = weights[probe];
        weights[probe] = middle + STEP;
        const double above = reference_loss(weights, HALF, trainer.samples, trainer.output_slope);
        weights[probe] = middle - STEP;
        const double below = reference_loss(weights, HALF, trainer.samples, trainer.output_slope);
        weights[probe] = middle;
        const double expected = (above - below) / (2 * STEP);
        const double found = trainer.model.gradient[weight_place(trainer.model, probe)];
        EXPECT_NEAR(found, expected, 2e-3 * std::abs(expected) + 2e-7) << probe;
        nonzero += std::abs(expected) > 1e-6;
    }
    EXPECT_GT(nonzero, static_cast<int>(probes.size()) / 2);
}

TEST(TrainGradient, AdamMovesAgainstTheGradientAndClips) {
    RandomTrainer made(64);
    Trainer &trainer = made.trainer;
    const std::vector<TrainRecord> records = random_records(50, 5);
    trainer.items = items_of(records);
    decode_items(&trainer);
    add_gradient(&trainer);
    const u64 place = weight_place(trainer.model, trainer.samples[0].rows[0][0] * 64u + 5);
    const float before = trainer.model.weights[place], slope = trainer.model.gradient[place];
    ASSERT_GT(std::abs(slope), 1e-6f);
    adam_step(&trainer, 0.01, 1, 1.3f, 8.0f);
    EXPECT_NEAR(trainer.model.weights[place] - before, slope > 0 ? -0.01 : 0.01, 2e-4);  // the first step is the rate
    EXPECT_EQ(trainer.model.gradient[place], 0.0f);
    add_gradient(&trainer);
    adam_step(&trainer, 0.01, 2, 0.05f, 0.01f);
    float first = 0, output = 0;
    const u64 inputs = static_cast<u64>(trainer.model.first_rows + 2) * TILE;
    for (u64 i = 0; i < trainer.model.floats; ++i)
        (i < inputs ? first : output) = std::max(i < inputs ? first : output, std::abs(trainer.model.weights[i]));
    EXPECT_FLOAT_EQ(first, 0.05f);
    EXPECT_FLOAT_EQ(output, 0.01f);
}

TEST(TrainGradient, DoesNotDependOnTheNumberOfThreads) {
    RandomTrainer one(200, 1), three(200, 3);
    const std::vector<TrainRecord> records = random_records(3000, 6);
    for (Trainer *trainer : {&one.trainer, &three.trainer}) {
        trainer->items = items_of(records);
        decode_items(trainer);
        add_gradient(trainer);
    }
    const u64 bytes = one.trainer.model.floats * sizeof(float);
    EXPECT_EQ(std::memcmp(one.trainer.model.gradient, three.trainer.model.gradient, bytes), 0);
}

TEST(TrainGradient, TrainingLowersTheLoss) {
    RandomTrainer made(64, 2);
    Trainer &trainer = made.trainer;
    const std::vector<TrainRecord> records = random_records(4000, 8), others = random_records(1000, 9);
    const double before = mean_loss(measure(&trainer, items_of(others), 1).loss);
    trainer.items = items_of(records);
    decode_items(&trainer);
    for (u64 step = 1; step <= 60; ++step) {
        add_gradient(&trainer);
        adam_step(&trainer, 2e-3, step, 1.3f, 8.0f);
    }
    const HeldOutResult after = measure(&trainer, items_of(others), 1);
    EXPECT_LT(mean_loss(after.loss), 0.3 * before);
    EXPECT_NEAR(mean_loss(after.quantised.loss), mean_loss(after.loss), 1e-3);
    EXPECT_LT(after.quantised.rounding_max, 20.0);
    EXPECT_EQ(after.quantised.clamped, 0u);
}

// The engine's evaluation of all records by the network that is loaded, against the trainer's own sums.
static void expect_engine_scores(const Model &model, const std::vector<TrainRecord> &records, QuantisedResult *seen) {
    ThreadState *thread = root_thread_state;
    const std::vector<i16> words = quantised_weights(model);
    const float scale = model.fields.activation_scale;
    TargetTable table;
    fill_target_table(&table, 0.75f);
    for (const TrainRecord &record : records) {
        Sample sample;
        fill_sample({&record, true}, table, model.fields.king_buckets, false, &sample);
        ASSERT_GE(sample.count, 2);
        float target;
        ASSERT_TRUE(set_position_from_record(&record, &thread->position, &target));
        thread->eval.eval_ply = 1;
        int score = 0;
        ASSERT_TRUE(network_eval(&thread->eval, thread->position, &score));
        const i32 sum = quantised_sum(model, words, sample, seen);
        EXPECT_EQ(static_cast<float>(sum) / (scale * scale), thread->eval.raw_net_score);
        EXPECT_EQ(sample.head, thread->eval.output_head);
        EXPECT_NEAR(std::clamp(400.0f * thread->eval.raw_net_score, -2500.0f, 2500.0f), score, 0.51f);
    }
}

TEST(TrainQuantised, TheBuiltInNetworkGivesTheEnginesScores) {
    start_engine();
    Model model;
    ASSERT_TRUE(load_model(&model, "embedded"));
    QuantisedResult seen = {};
    expect_engine_scores(model, random_records(1500, 10), &seen);
    free_model(&model);
}

// Weights so large that additions are clamped: the order of the rows is the engine's as well.
TEST(TrainQuantised, AWrittenNetworkGivesTheEnginesScoresEvenWhenSumsAreClamped) {
    const ScratchDirectory scratch;
    start_engine();
    for (const float factor : {1.0f, 120.0f}) {
        Model model, loaded;
        ASSERT_TRUE(random_model(&model, 144, 11));
        const u64 first = static_cast<u64>(model.first_rows) * 144;
        for (u64 i = 0; i < first; ++i) model.weights[weight_place(model, i)] *= factor;
        ASSERT_TRUE(write_network(model, scratch.file("n.bin")));
        ASSERT_TRUE(load_model(&loaded, scratch.file("n.bin")));
        EXPECT_EQ(quantised_weights(model), quantised_weights(loaded));
        QuantisedResult seen = {};
        expect_engine_scores(loaded, random_records(500, 12), &seen);
        EXPECT_EQ(seen.clamped > 0, factor > 1.0f);
        free_model(&model);
        free_model(&loaded);
    }
    Model model;
    EXPECT_TRUE(load_model(&model, "embedded"));  // for the tests that come after
    free_model(&model);
}

TEST(TrainQuantised, LoadingAndWritingTheBuiltInNetworkChangesNothing) {
    const ScratchDirectory scratch;
    start_engine();
    Model model;
    ASSERT_TRUE(load_model(&model, "embedded"));
    ASSERT_TRUE(write_network(model, scratch.file("n.bin")));
    free_model(&model);
    EXPECT_EQ(read_file(scratch.file("n.bin")), read_file(project_path("Source/eval/network/embedded_network.bin")));
}

// Eight batches in one run, and four, a checkpoint, four more in another with other threads.
TEST(TrainResume, GivesTheSameWeightsAsAnUninterruptedRun) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("d.bin"), bytes_of(random_records(3000, 13))));
    TrainOptions options;
    options.data = {{scratch.file("d.bin"), true}};
    options.network = "random";
    options.hidden = 160;
    options.batch = 700;  // the passes end inside batches
    options.positions = 8 * 700;
    options.warm_up = 1000;
    options.threads = 2;
    options.out = scratch.file("n.bin");
    options.checkpoint = scratch.file("n.checkpoint");

    static TrainRun whole, part, rest;
    whole.options = part.options = rest.options = options;
    rest.options.threads = 1;
    ASSERT_TRUE(start_run(&whole));
    for (int i = 0; i < 8; ++i) train_batch(&whole);
    EXPECT_EQ(share_done(whole), 1.0);
    EXPECT_GE(whole.state.pass, 1u);

    ASSERT_TRUE(start_run(&part));
    for (int i = 0; i < 4; ++i) train_batch(&part);
    ASSERT_TRUE(save_run(&part));
    ASSERT_TRUE(start_run(&rest));
    EXPECT_EQ(rest.state.visits, 2800u);
    EXPECT_EQ(learning_rate(rest), learning_rate(part));
    for (int i = 0; i < 4; ++i) train_batch(&rest);

    const u64 bytes = whole.trainer.model.floats * sizeof(float);
    EXPECT_NE(std::memcmp(whole.trainer.model.weights, part.trainer.model.weights, bytes), 0);
    EXPECT_EQ(std::memcmp(whole.trainer.model.weights, rest.trainer.model.weights, bytes), 0);
    EXPECT_EQ(std::memcmp(whole.trainer.model.moment2, rest.trainer.model.moment2, bytes), 0);
    for (TrainRun *run : {&whole, &part, &rest}) end_run(run);
}

TEST(TrainResume, ADamagedCheckpointIsRefused) {
    const ScratchDirectory scratch;
    RandomTrainer made(64);
    RunState state = {};
    state.visits = 5;
    ASSERT_TRUE(write_checkpoint(made.trainer.model, state, scratch.file("c")));
    Model model;
    RunState read = {};
    ASSERT_TRUE(read_checkpoint(&model, &read, scratch.file("c")));
    EXPECT_EQ(read.visits, 5u);
    free_model(&model);
    const std::string bytes = read_file(scratch.file("c"));
    ASSERT_TRUE(write_file(scratch.file("short"), bytes.substr(0, bytes.size() - 1)));
    EXPECT_FALSE(read_checkpoint(&model, &read, scratch.file("short")));
    ASSERT_TRUE(write_file(scratch.file("other"), "X" + bytes.substr(1)));
    EXPECT_FALSE(read_checkpoint(&model, &read, scratch.file("other")));
}

TEST(TrainProgram, DamagedRecordsAreSkippedWithALine) {
    const ScratchDirectory scratch;
    std::vector<TrainRecord> records = random_records(3000, 14);
    records[17].squares[0] = 0x77;
    records[40].sc = 3001;
    ASSERT_TRUE(write_file(scratch.file("d.bin"), bytes_of(records) + "end"));
    int status;
    const std::vector<std::string> lines =
        run_trainer({"--network", "random", "--hidden", "128", "--positions", "5000", "--batch", "1000", "--out",
                     scratch.file("n.bin"), "--threads", "1", scratch.file("d.bin")},
                    &status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(has_line(lines, "d.bin: 2 damaged records skipped (the first is record 17: an unknown piece code)"));
    EXPECT_TRUE(has_line(lines, "d.bin: the last 3 bytes are a piece of a record and are ignored"));
    EXPECT_TRUE(has_line(lines, "n.bin: 0 of "));  // positions that the engine evaluates differently
    EXPECT_TRUE(has_line(lines, "100.0 %"));
    EXPECT_EQ(read_file(scratch.file("n.bin")).size(), 24u + 2 * (2 * 128 * 384 + 9 * 128));
    EXPECT_EQ(read_file(scratch.file("n.bin.csv")).substr(0, 15), "visits,seconds,");
    EXPECT_NE(read_file(scratch.file("n.bin.svg")).find("</svg>"), std::string::npos);
}

TEST(TrainProgram, AFileThatIsNoRecordFileIsRefused) {
    const ScratchDirectory scratch;
    ASSERT_TRUE(write_file(scratch.file("d.bin"), std::string(100000, 'x')));
    int status;
    const std::vector<std::string> lines = run_trainer({"--positions", "1000", scratch.file("d.bin")}, &status);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(has_line(lines, "d.bin: refused, 2500 of 2500 records are damaged"));
}

TEST(TrainProgram, WrongCommandLinesSayWhatIsWrong) {
    int status;
    EXPECT_TRUE(has_line(run_trainer({"--positions", "10"}, &status), "no data"));
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(has_line(run_trainer({"x.bin"}, &status), "give --positions or --minutes"));
    EXPECT_TRUE(has_line(run_trainer({"--minutes", "5", "missing.bin"}, &status), "missing.bin: can't be opened"));
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(has_line(run_trainer({"--lambda", "2", "x.bin"}, &status), "--lambda: 2 is not a number from 0 to 1"));
    EXPECT_TRUE(has_line(run_trainer({"--wide", "2"}, &status), "--wide: unknown option"));
    EXPECT_TRUE(has_line(run_trainer({"--lr"}, &status), "--lr: no value"));
}

TEST(TrainProgram, StopsOnASignalAndGoesOn) {
    const ScratchDirectory scratch, made;
    ASSERT_TRUE(write_file(scratch.file("d.bin"), bytes_of(random_records(3000, 15))));
    ProgramSetup setup;
    setup.executable = TARN_TRAIN_PROGRAM;
    setup.arguments = {"--network", "random",           "--hidden",  "128", "--positions", "2G",    "--batch",   "1000",
                       "--out",     made.file("n.bin"), "--threads", "2",   "--report",    "20000", scratch.path};
    Program first(setup);
    first.wait_for("  0.0 %");
    first.wait_for("  0.0 %");
    ::kill(first.process_id(), SIGTERM);
    EXPECT_NE(first.wait_for("stopped at ").find("the same command goes on from there"), std::string::npos);
    EXPECT_EQ(first.wait_exit(), 0);

    // More data has come meanwhile.
    ASSERT_TRUE(write_file(scratch.file("e.bin"), bytes_of(random_records(2000, 16))));
    ASSERT_EQ(std::remove(made.file("n.bin").c_str()), 0);
    Program second(setup);
    EXPECT_NE(second.wait_for("2 files, ").find("records to train on"), std::string::npos);
    second.wait_for("going on from ");
    second.wait_for("  0.0 %");
    ::kill(second.process_id(), SIGINT);
    second.wait_for("stopped at ");
    EXPECT_EQ(second.wait_exit(), 0);
    EXPECT_FALSE(read_file(made.file("n.bin")).empty());
}
