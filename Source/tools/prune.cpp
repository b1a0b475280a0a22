// Network pruning.
#include "tools/prune.h"

#include <cstdlib>
#include <initializer_list>

#include "base/output.h"
#include "base/progress.h"
#include "control/driver_state.h"
#include "eval/network/file.h"
#include "eval/network/forward.h"
#include "formats/output_file.h"
#include "search/thread_state.h"

// On the current drive; without drives, the name of a file in the working directory.
static const char PRUNE_RECORDS[] = "\\chess\\trainingdata\\bin\\nodes_10K\\20240819_n10Kd7.bin";
static const char PRUNED_FILE[] = "pruned.bin";

// Keeps single-precision sums over hundreds of millions of records meaningful.
constexpr double STAT_SCALE = 1e-6;

static float *prune_stats;  // by hidden node: sum of its absolute contributions, in units of 1e6
static i16 *prune_weights;  // the new network, in the order of its file

// Sums |hidden value * its output weight| over one half of the hidden nodes.
static void add_contributions(float *stats, const i16 *hidden, const i16 *weights, int count) {
    for (int c = 0; c < count; ++c)
        stats[c] = static_cast<float>(static_cast<double>(stats[c]) +
                                      static_cast<double>(std::abs(hidden[c] * weights[c])) * STAT_SCALE);
}

// Allocates zeroed arrays at the first usable record. Returns false and prints a message without memory.
static bool have_arrays() {
    const std::size_t nodes = static_cast<std::size_t>(network.hidden_size);
    const std::size_t weights = static_cast<std::size_t>(network.weight_count);
    if (!prune_stats) prune_stats = static_cast<float *>(std::calloc(nodes, sizeof(float)));
    if (!prune_stats) {
        print_line("alloc for stats failed");
        return false;
    }
    if (!prune_weights) prune_weights = static_cast<i16 *>(std::calloc(weights, sizeof(i16)));
    if (!prune_weights) print_line("alloc for tmpW failed");
    return prune_weights != nullptr;
}

// Adds up, over all records, how much each pair of hidden nodes moves the score.
static void collect_stats(const TrainRecord *records, i64 count) {
    ThreadState *thread = root_thread_state;
    const int half = network.hidden_size / 2;
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(count));
    for (i64 i = 0; i < count && !driver.quit; ++i) {
        show_progress(&progress, static_cast<double>(i), i);
        float target;
        if (!set_position_from_record(&records[i], &thread->position, &target)) continue;
        if (!have_arrays()) continue;
        thread->eval.eval_ply = 0;  // the sums are rebuilt for each record
        int score;
        if (!network_eval(&thread->eval, thread->position, &score)) continue;
        fill_accumulator(&thread->eval);
        const i16 *white_row, *black_row;
        network_output_rows(&thread->eval, thread->position.stm, &white_row, &black_row);
        add_contributions(prune_stats, thread->eval.accumulator, white_row, half);
        add_contributions(prune_stats + half, thread->eval.accumulator + half, black_row, half);
    }
    end_progress(&progress);
}

// Returns the strongest remaining pair, the first of equals; node 0 if none has any strength left, so its
// weights fill the remaining places.
static int take_strongest(int half) {
    int best = 0;
    float strength = 0.0f;
    for (int c = 0; c < half; ++c) {
        const float pair = (prune_stats[c] + prune_stats[half + c]) * 0.5f;
        if (pair > strength) {
            strength = pair;
            best = c;
        }
    }
    prune_stats[best] = prune_stats[half + best] = 0.0f;
    return best;
}

// Copies the weights of hidden pair `best` to place r of the new network.
static void copy_pair(int r, int best) {
    constexpr int PRUNED_SIZE = 2 * PRUNED_PAIRS;
    const int hidden = network.hidden_size, half = hidden / 2, rows = network.king_buckets * 768;
    for (int row = 0; row < rows; ++row) prune_weights[row * PRUNED_PAIRS + r] = network.first_layer[row * half + best];
    i16 *outputs = prune_weights + rows * PRUNED_PAIRS;
    for (int head = 0; head < 8; ++head) {
        outputs[head * PRUNED_SIZE + r] = network.output_rows[head * hidden + best];
        outputs[head * PRUNED_SIZE + PRUNED_PAIRS + r] = network.output_rows[head * hidden + half + best];
    }
    i16 *biases = outputs + 8 * PRUNED_SIZE;
    biases[r] = network.hidden_biases[best];
    biases[PRUNED_PAIRS + r] = network.hidden_biases[half + best];
}

// Little-endian, whatever the machine.
static void write_word(int word, std::FILE *out) {
    std::putc(word & 255, out);
    std::putc(word >> 8 & 255, out);
}

// The header in the order of the file format; the two reserved words are zero.
static bool write_network(const char *path) {
    OutputFile file;
    if (!open_output(&file, path, OUTPUT_BINARY, nullptr)) return false;
    std::FILE *out = file.stream;
    for (const int field : {network.id, network.activation_scale, network.weight_scale, network.output_scale,
                            network.king_buckets, network.flags, network.hidden_size, 0, 0, network.output_count})
        write_word(field, out);
    write_word(network.weight_count, out);
    write_word(network.weight_count >> 16, out);
    for (i32 i = 0; i < network.weight_count; ++i) write_word(prune_weights[i], out);
    return close_output(&file, OUTPUT_COMPLETE);
}

// An interrupt before all records were measured leaves no file: the selection would differ.
bool prune_to_file(const TrainRecord *records, i64 count, const char *output_path) {
    bool written = true;
    print_line("Collecting stats ...\n");
    collect_stats(records, count);
    print_line("Writing pruned net to pruned.bin ...\n");
    if (!driver.quit && network.hidden_size > 2 * PRUNED_PAIRS + 1 && prune_stats && prune_weights) {
        const int half = network.hidden_size / 2;
        for (int r = 0; r < PRUNED_PAIRS; ++r) copy_pair(r, take_strongest(half));
        network.hidden_size = 2 * PRUNED_PAIRS;
        network.weight_count = network.king_buckets * 768 * PRUNED_PAIRS + 9 * 2 * PRUNED_PAIRS;
        written = write_network(output_path);
    }
    std::free(prune_stats);
    std::free(prune_weights);
    prune_stats = nullptr;
    prune_weights = nullptr;
    return written;
}

bool prune_network() {
    TrainRecords records = {};
    const bool pruned =
        load_train_records(PRUNE_RECORDS, &records) == 0 && prune_to_file(records.block, records.count, PRUNED_FILE);
    free_train_records(&records);
    return pruned;
}
