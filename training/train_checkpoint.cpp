// Writing and reading checkpoints: a header, then weights and both moments as 32-bit floats in the order
// of the network file.
#include "train_checkpoint.h"

#include <cstdio>
#include <cstring>
#include <vector>

constexpr char MAGIC[8] = {'T', 'A', 'R', 'N', 'C', 'P', '0', '1'};
constexpr int MAX_HALF = 16383;
constexpr int MAX_BUCKETS = 64;

struct CheckpointHeader {
    char magic[8];
    NetworkFields fields;
    i32 half;
    i32 one_bias;
    i32 reserved;
    RunState state;
};
static_assert(sizeof(CheckpointHeader) == 88);

// The header describes a network that can be made.
static bool header_is_sound(const CheckpointHeader &header) {
    return !std::memcmp(header.magic, MAGIC, sizeof MAGIC) && header.half > 0 && header.half <= MAX_HALF &&
           header.fields.king_buckets > 0 && header.fields.king_buckets <= MAX_BUCKETS &&
           header.fields.activation_scale > 0 && header.state.pass_place <= header.state.pass_count;
}

static bool write_array(const Model &model, const float *array, std::FILE *file) {
    std::vector<float> values(file_weight_count(model));
    for (u64 i = 0; i < values.size(); ++i) values[i] = array[weight_place(model, i)];
    return std::fwrite(values.data(), sizeof(float), values.size(), file) == values.size();
}

static bool read_array(const Model &model, float *array, std::FILE *file) {
    std::vector<float> values(file_weight_count(model));
    if (std::fread(values.data(), sizeof(float), values.size(), file) != values.size()) return false;
    for (u64 i = 0; i < values.size(); ++i) array[weight_place(model, i)] = values[i];
    return true;
}

bool write_checkpoint(const Model &model, const RunState &state, const std::string &path) {
    CheckpointHeader header = {};
    std::memcpy(header.magic, MAGIC, sizeof MAGIC);
    header.fields = model.fields;
    header.half = model.half;
    header.one_bias = model.one_bias;
    header.state = state;
    const std::string draft = path + ".new";
    std::FILE *file = std::fopen(draft.c_str(), "wb");
    bool written = file && std::fwrite(&header, sizeof header, 1, file) == 1 &&
                   write_array(model, model.weights, file) && write_array(model, model.moment1, file) &&
                   write_array(model, model.moment2, file);
    if (file && std::fclose(file) != 0) written = false;
    if (written && std::rename(draft.c_str(), path.c_str()) == 0) return true;
    std::printf("%s: can't be written\n", path.c_str());
    return false;
}

bool read_checkpoint(Model *model, RunState *state, const std::string &path) {
    CheckpointHeader header = {};
    std::FILE *file = std::fopen(path.c_str(), "rb");
    bool whole = file && std::fread(&header, sizeof header, 1, file) == 1 && header_is_sound(header) &&
                 create_model(model, header.fields, header.half);
    whole = whole && read_array(*model, model->weights, file) && read_array(*model, model->moment1, file) &&
            read_array(*model, model->moment2, file);
    if (file) std::fclose(file);
    if (!whole) {
        std::printf("%s: not a whole checkpoint\n", path.c_str());
        free_model(model);
        return false;
    }
    model->one_bias = header.one_bias != 0;
    *state = header.state;
    return true;
}
