// Threads, phases and the order of one step.
#include "trainer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "platform/large_memory.h"

static u64 hidden_bytes(const Model &model) { return static_cast<u64>(model.tiles) * CHUNK * 2 * TILE * sizeof(float); }

void merge_loss(LossSum *into, const LossSum &from) {
    for (int head = 0; head < HEADS; ++head) {
        into->error[head] += from.error[head];
        into->count[head] += from.count[head];
    }
}

double mean_loss(const LossSum &sum) {
    double error = 0;
    u64 count = 0;
    for (int head = 0; head < HEADS; ++head) {
        error += sum.error[head];
        count += sum.count[head];
    }
    return count ? error / static_cast<double>(count) : 0.0;
}

double mean_loss(const LossSum &sum, int head) {
    return sum.count[head] ? sum.error[head] / static_cast<double>(sum.count[head]) : 0.0;
}

static void decode_item(Trainer *trainer, int item) {
    const std::size_t first = static_cast<std::size_t>(item) * DECODE_ITEM;
    const std::size_t last = std::min(trainer->items.size(), first + DECODE_ITEM);
    const NetworkFields &fields = trainer->model.fields;
    for (std::size_t i = first; i < last; ++i)
        fill_sample(trainer->items[i], trainer->targets, fields.king_buckets, fields.output_count != HEADS,
                    &trainer->samples[i]);
}

static void tile_item(Trainer *trainer, int tile) {
    const Model &model = trainer->model;
    float *hidden = trainer->hidden + static_cast<std::size_t>(tile) * CHUNK * 2 * TILE;
    if (trainer->backward_count)
        backward_tile(model, tile, &trainer->samples[trainer->backward_first], trainer->backward_count,
                      trainer->row_users[trainer->backward_first / CHUNK], hidden, trainer->slopes.data());
    if (trainer->forward_count)
        forward_tile(model, tile, &trainer->samples[trainer->forward_first], trainer->forward_count, hidden,
                     &trainer->outputs[static_cast<std::size_t>(tile) * CHUNK]);
}

static void list_item(Trainer *trainer, int chunk) {
    const int first = chunk * CHUNK;
    const int count = std::min<int>(CHUNK, static_cast<int>(trainer->samples.size()) - first);
    list_row_users(trainer->model, &trainer->samples[first], count, &trainer->row_users[chunk]);
}

static float probability(const Trainer *trainer, float output) {
    return 1.0f / (1.0f + std::exp(-trainer->output_slope * output));
}

static void add_error(LossSum *loss, int head, double error) {
    loss->error[head] += error * error;
    ++loss->count[head];
}

static void quantise_item(Trainer *trainer, int item) {
    const std::size_t first = static_cast<std::size_t>(item) * QUANTISE_ITEM;
    const std::size_t last = std::min(trainer->samples.size(), first + QUANTISE_ITEM);
    const NetworkFields &fields = trainer->model.fields;
    const double scale = static_cast<double>(fields.activation_scale) * fields.activation_scale;
    QuantisedResult &result = trainer->quantised[item];
    result = {};
    for (std::size_t i = first; i < last; ++i) {
        const Sample &sample = trainer->samples[i];
        if (!sample.count) continue;
        const double output = quantised_sum(trainer->model, *trainer->words, sample, &result) / scale;
        const double difference = std::abs(output - trainer->float_outputs[i]) * fields.output_scale;
        result.rounding_sum += difference;
        result.rounding_max = std::max(result.rounding_max, difference);
        ++result.count;
        add_error(&result.loss, sample.head, probability(trainer, static_cast<float>(output)) - sample.target);
    }
}

// Takes items of the phase until none is left.
static void work(Trainer *trainer) {
    for (int item; (item = trainer->next_item.fetch_add(1)) < trainer->phase_items;) {
        switch (trainer->phase) {
            case Phase::DECODE: decode_item(trainer, item); break;
            case Phase::LIST: list_item(trainer, item); break;
            case Phase::TILES: tile_item(trainer, item); break;
            case Phase::ADAM: adam_tile(trainer->model, item, trainer->step); break;
            case Phase::QUANTISE: quantise_item(trainer, item); break;
            case Phase::STOP: break;
        }
    }
}

static void helper_thread(Trainer *trainer) {
    for (u32 seen = 0;;) {
        trainer->round.wait(seen);
        seen = trainer->round.load();
        if (trainer->phase == Phase::STOP) return;
        work(trainer);
        if (trainer->working.fetch_sub(1) == 1) trainer->working.notify_one();
    }
}

// Runs the phase on all threads; returns when all its items are done.
static void run_phase(Trainer *trainer, Phase phase, std::size_t items) {
    trainer->phase = phase;
    trainer->phase_items = static_cast<int>(items);
    trainer->next_item = 0;
    trainer->working = static_cast<int>(trainer->threads.size());
    ++trainer->round;
    trainer->round.notify_all();
    work(trainer);
    for (int left; (left = trainer->working.load()) != 0;) trainer->working.wait(left);
}

bool start_trainer(Trainer *trainer, int threads, float score_share) {
    const Model &model = trainer->model;
    fill_target_table(&trainer->targets, score_share);
    trainer->output_slope = static_cast<float>(SCORE_SLOPE * model.fields.output_scale);
    trainer->hidden = static_cast<float *>(allocate_large(hidden_bytes(model)));
    if (!trainer->hidden) {
        std::printf("not enough memory for the hidden layer\n");
        return false;
    }
    trainer->outputs.assign(static_cast<std::size_t>(model.tiles) * CHUNK, 0.0f);
    trainer->slopes.assign(CHUNK, 0.0f);
    trainer->round = 0;
    for (int i = 1; i < threads; ++i) trainer->threads.emplace_back(helper_thread, trainer);
    return true;
}

void stop_trainer(Trainer *trainer) {
    trainer->phase = Phase::STOP;
    ++trainer->round;
    trainer->round.notify_all();
    for (std::thread &thread : trainer->threads) thread.join();
    trainer->threads.clear();
    free_large(trainer->hidden, hidden_bytes(trainer->model));
    trainer->hidden = nullptr;
}

void decode_items(Trainer *trainer) {
    trainer->samples.resize(trainer->items.size());
    run_phase(trainer, Phase::DECODE, (trainer->items.size() + DECODE_ITEM - 1) / DECODE_ITEM);
}

// The network's output for sample `i` of the forward chunk: the tiles' shares, always in the same order.
static float chunk_output(const Trainer *trainer, int i) {
    float output = 0;
    for (int tile = 0; tile < trainer->model.tiles; ++tile)
        output += trainer->outputs[static_cast<std::size_t>(tile) * CHUNK + static_cast<std::size_t>(i)];
    return output;
}

// Runs the next chunk forward, and the last one backward unless `backward_count` is 0.
static void run_chunk(Trainer *trainer, int first) {
    trainer->forward_first = first;
    trainer->forward_count = std::min<int>(CHUNK, static_cast<int>(trainer->samples.size()) - first);
    run_phase(trainer, Phase::TILES, static_cast<std::size_t>(trainer->model.tiles));
}

// Errors of the chunk that has just gone forward, and the slopes for its way back.
static void finish_chunk(Trainer *trainer, float slope_scale, LossSum *loss) {
    for (int i = 0; i < trainer->forward_count; ++i) {
        const Sample &sample = trainer->samples[trainer->forward_first + i];
        trainer->slopes[i] = 0.0f;
        if (!sample.count) continue;
        const float chance = probability(trainer, chunk_output(trainer, i));
        const float error = chance - sample.target;
        trainer->slopes[i] = slope_scale * error * chance * (1.0f - chance);
        add_error(loss, sample.head, error);
    }
    trainer->backward_first = trainer->forward_first;
    trainer->backward_count = trainer->forward_count;
}

LossSum add_gradient(Trainer *trainer) {
    LossSum loss = {};
    const int count = static_cast<int>(trainer->samples.size());
    if (!count) return loss;
    const float slope_scale = 2.0f * trainer->output_slope / static_cast<float>(count);
    trainer->backward_count = 0;
    const std::size_t chunks = (trainer->samples.size() + CHUNK - 1) / CHUNK;
    trainer->row_users.resize(chunks);
    run_phase(trainer, Phase::LIST, chunks);
    for (int first = 0; first < count; first += CHUNK) {
        run_chunk(trainer, first);
        finish_chunk(trainer, slope_scale, &loss);
    }
    run_chunk(trainer, count);  // nothing is left to go forward
    trainer->backward_count = 0;
    return loss;
}

void adam_step(Trainer *trainer, double learning_rate, u64 number, float first_limit, float output_limit) {
    const double steps = static_cast<double>(number);
    const double correction1 = 1.0 - std::pow(static_cast<double>(ADAM_BETA1), steps);
    const double correction2 = std::sqrt(1.0 - std::pow(static_cast<double>(ADAM_BETA2), steps));
    trainer->step = {static_cast<float>(learning_rate * correction2 / correction1),
                     static_cast<float>(ADAM_EPSILON * correction2), first_limit, output_limit};
    run_phase(trainer, Phase::ADAM, static_cast<std::size_t>(trainer->model.tiles));
}

static void merge_quantised(QuantisedResult *into, const QuantisedResult &from) {
    merge_loss(&into->loss, from.loss);
    into->largest_accumulator = std::max(into->largest_accumulator, from.largest_accumulator);
    into->largest_output = std::max(into->largest_output, from.largest_output);
    into->clamped += from.clamped;
    into->rounding_sum += from.rounding_sum;
    into->rounding_max = std::max(into->rounding_max, from.rounding_max);
    into->count += from.count;
}

// Keeps every `one_in`-th sample with its output and runs the quantised network on these.
static void measure_quantised(Trainer *trainer, int one_in, QuantisedResult *result) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < trainer->samples.size(); i += static_cast<std::size_t>(one_in), ++kept) {
        trainer->samples[kept] = trainer->samples[i];
        trainer->float_outputs[kept] = trainer->float_outputs[i];
    }
    trainer->samples.resize(kept);
    const std::vector<i16> words = quantised_weights(trainer->model);
    const std::size_t items = (kept + QUANTISE_ITEM - 1) / QUANTISE_ITEM;
    trainer->words = &words;
    trainer->quantised.resize(items);
    run_phase(trainer, Phase::QUANTISE, items);
    for (const QuantisedResult &part : trainer->quantised) merge_quantised(result, part);
    trainer->words = nullptr;
}

HeldOutResult measure(Trainer *trainer, const std::vector<DataItem> &items, int quantised_one_in) {
    HeldOutResult result = {};
    trainer->items = items;
    decode_items(trainer);
    trainer->backward_count = 0;
    trainer->float_outputs.resize(items.size());
    for (int first = 0; first < static_cast<int>(items.size()); first += CHUNK) {
        run_chunk(trainer, first);
        for (int i = 0; i < trainer->forward_count; ++i) {
            const Sample &sample = trainer->samples[first + i];
            const float output = trainer->float_outputs[first + i] = chunk_output(trainer, i);
            if (sample.count) add_error(&result.loss, sample.head, probability(trainer, output) - sample.target);
        }
    }
    measure_quantised(trainer, quantised_one_in, &result.quantised);
    return result;
}
