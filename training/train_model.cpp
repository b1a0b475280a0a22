// Creating, loading, quantising and writing the network.
#include "train_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "engine_start.h"
#include "eval/network/file.h"
#include "platform/large_memory.h"
#include "train_data.h"
#include "train_sample.h"

constexpr NetworkFields STANDARD_FIELDS = {770, 1500, 3000, 400, 2, 5};
constexpr int WORD_SCALE = 128;       // weight scales below it mean bytes in the file
constexpr float RANDOM_FIRST = 0.1f;  // bounds of random weights
constexpr float RANDOM_OUTPUT = 0.05f;

static u64 array_bytes(const Model &model) { return model.floats * sizeof(float); }

bool create_model(Model *model, const NetworkFields &fields, int half) {
    *model = {};
    model->fields = fields;
    model->half = half;
    model->tiles = (half + TILE - 1) / TILE;
    model->first_rows = ROWS_PER_BUCKET * fields.king_buckets;
    model->floats = tile_floats(*model) * static_cast<u64>(model->tiles);
    for (float **array : {&model->weights, &model->gradient, &model->moment1, &model->moment2}) {
        *array = static_cast<float *>(allocate_large(array_bytes(*model)));
        if (*array) continue;
        std::printf("not enough memory for the network\n");
        free_model(model);
        return false;
    }
    return true;
}

void free_model(Model *model) {
    for (float *array : {model->weights, model->gradient, model->moment1, model->moment2})
        if (array) free_large(array, array_bytes(*model));
    *model = {};
}

u64 file_weight_count(const Model &model) {
    const u64 hidden = 2 * static_cast<u64>(model.half);
    return static_cast<u64>(model.first_rows) * static_cast<u64>(model.half) + (OUTPUT_ROWS_STORED + 1) * hidden;
}

u64 weight_place(const Model &model, u64 index) {
    const u64 half = static_cast<u64>(model.half);
    u64 row = index / half;  // the file's rows: first layer, outputs by head and side, biases
    const u64 node = index % half;
    const u64 first = static_cast<u64>(model.first_rows);
    constexpr u64 OUTPUTS = 2 * OUTPUT_ROWS_STORED;
    if (row >= first + OUTPUTS) row = first + (row - first - OUTPUTS);
    else if (row >= first) row += 2;
    return node / TILE * tile_floats(model) + row * TILE + node % TILE;
}

bool load_model(Model *model, const std::string &source) {
    if (!load_named_network(source.c_str())) return false;
    const NetworkFields fields = {static_cast<i16>(network.id),           static_cast<i16>(network.activation_scale),
                                  static_cast<i16>(network.weight_scale), static_cast<i16>(network.output_scale),
                                  static_cast<i16>(network.king_buckets), static_cast<i16>(network.output_count)};
    if (!create_model(model, fields, network.hidden_size / 2)) return false;
    const u64 count = file_weight_count(*model);
    for (u64 i = 0; i < count; ++i)
        model->weights[weight_place(*model, i)] =
            static_cast<float>(network.weights[i]) / static_cast<float>(network.activation_scale);
    model->one_bias =
        std::equal(network.hidden_biases, network.hidden_biases + model->half, network.hidden_biases + model->half);
    return true;
}

// Uniform in -bound..bound.
static float random_weight(u64 seed, u64 index, float bound) {
    const double unit = static_cast<double>(mix_bits(seed ^ mix_bits(index)) >> 11) / static_cast<double>(u64{1} << 53);
    return bound * static_cast<float>(2.0 * unit - 1.0);
}

bool random_model(Model *model, int half, u64 seed) {
    if (!create_model(model, STANDARD_FIELDS, half)) return false;
    model->one_bias = true;
    const u64 first = static_cast<u64>(model->first_rows) * static_cast<u64>(half);
    const u64 outputs = 2 * static_cast<u64>(model->fields.output_count) * static_cast<u64>(half);
    for (u64 i = 0; i < first + outputs; ++i)
        model->weights[weight_place(*model, i)] = random_weight(seed, i, i < first ? RANDOM_FIRST : RANDOM_OUTPUT);
    return true;
}

// With one bias for both perspectives the black row is never touched; the file gets the white one twice.
std::vector<i16> quantised_weights(const Model &model) {
    constexpr float LOWEST = std::numeric_limits<i16>::min(), HIGHEST = std::numeric_limits<i16>::max();
    const u64 count = file_weight_count(model);
    const u64 half = static_cast<u64>(model.half);
    std::vector<i16> words(count);
    for (u64 i = 0; i < count; ++i) {
        const bool black_bias = i >= count - half;
        const u64 source = black_bias && model.one_bias ? i - half : i;
        const float value =
            model.weights[weight_place(model, source)] * static_cast<float>(model.fields.activation_scale);
        words[i] = static_cast<i16>(std::lrint(std::clamp(value, LOWEST, HIGHEST)));
    }
    return words;
}

bool write_network(const Model &model, const std::string &path) {
    constexpr i16 FLAGS = 1;
    const NetworkFields &fields = model.fields;
    const i16 word_scale = fields.weight_scale < WORD_SCALE ? STANDARD_FIELDS.weight_scale : fields.weight_scale;
    const i16 header[10] = {fields.id,
                            fields.activation_scale,
                            word_scale,
                            fields.output_scale,
                            fields.king_buckets,
                            FLAGS,
                            static_cast<i16>(2 * model.half),
                            0,
                            0,
                            fields.output_count};
    const i32 count = static_cast<i32>(file_weight_count(model));
    const std::vector<i16> words = quantised_weights(model);
    const std::string draft = path + ".new";
    std::FILE *file = std::fopen(draft.c_str(), "wb");
    bool written = file && std::fwrite(header, sizeof header, 1, file) == 1 &&
                   std::fwrite(&count, sizeof count, 1, file) == 1 &&
                   std::fwrite(words.data(), sizeof(i16), words.size(), file) == words.size();
    if (file && std::fclose(file) != 0) written = false;
    if (written && std::rename(draft.c_str(), path.c_str()) == 0) return true;
    std::printf("%s: can't be written\n", path.c_str());
    return false;
}
