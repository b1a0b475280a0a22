// The inner loops. A row of a tile is a few vector registers; the sums of one perspective stay in
// registers while the rows of all men are added.
#include "train_kernels.h"

#include <algorithm>
#include <cmath>

#ifdef __AVX512F__
constexpr int VECTOR_BYTES = 64;
#else
constexpr int VECTOR_BYTES = 32;
#endif
typedef float Vector __attribute__((vector_size(VECTOR_BYTES), may_alias));

constexpr int LANES = VECTOR_BYTES / static_cast<int>(sizeof(float));
constexpr int ROW_VECTORS = TILE / LANES;
static_assert(TILE % LANES == 0);

static inline const Vector *row_at(const float *tile, int row) {
    return reinterpret_cast<const Vector *>(tile + static_cast<std::size_t>(row) * TILE);
}

static inline Vector *row_at(float *tile, int row) {
    return reinterpret_cast<Vector *>(tile + static_cast<std::size_t>(row) * TILE);
}

static inline Vector activated(Vector sum) {
    const Vector small = sum * NEGATIVE_SLOPE;
    return sum > small ? sum : small;
}

static inline float total(Vector sums) {
    float sum = 0;
    for (int lane = 0; lane < LANES; ++lane) sum += sums[lane];
    return sum;
}

// One perspective: bias plus rows, kept in `hidden`. Returns activated sums times output weights.
static inline Vector forward_half(const float *tile, const u16 *rows, int count, const Vector *bias,
                                  const Vector *weights, Vector *hidden) {
    Vector sums[ROW_VECTORS];
    for (int v = 0; v < ROW_VECTORS; ++v) sums[v] = bias[v];
    for (int i = 0; i < count; ++i) {
        const Vector *row = row_at(tile, rows[i]);
        for (int v = 0; v < ROW_VECTORS; ++v) sums[v] += row[v];
    }
    Vector output = {};
    for (int v = 0; v < ROW_VECTORS; ++v) {
        hidden[v] = sums[v];
        output += activated(sums[v]) * weights[v];
    }
    return output;
}

void forward_tile(const Model &model, int tile, const Sample *samples, int count, float *hidden, float *outputs) {
    const float *weights = model.weights + tile_floats(model) * static_cast<u64>(tile);
    for (int i = 0; i < count; ++i) {
        const Sample &sample = samples[i];
        Vector output = {};
        for (int other = 0; other < 2; ++other) {
            const int side = sample.stm ^ other;
            output +=
                forward_half(weights, sample.rows[side], sample.count, row_at(weights, bias_row(model, side)),
                             row_at(weights, output_row(model, sample.head, other)), row_at(hidden, 2 * i + other));
        }
        outputs[i] = total(output);
    }
}

void list_row_users(const Model &model, const Sample *samples, int count, RowUsers *list) {
    // Counting sort: numbers of users first, then their places.
    std::vector<int> &first = list->first;
    first.assign(static_cast<std::size_t>(model.first_rows) + 2, 0);
    for (int i = 0; i < count; ++i)
        for (const u16 *rows : samples[i].rows)
            for (int man = 0; man < samples[i].count; ++man) ++first[rows[man] + 2];
    for (std::size_t row = 2; row < first.size(); ++row) first[row] += first[row - 1];
    list->users.resize(static_cast<std::size_t>(first.back()));
    for (int i = 0; i < count; ++i)
        for (int other = 0; other < 2; ++other) {
            const u16 *rows = samples[i].rows[samples[i].stm ^ other];
            for (int man = 0; man < samples[i].count; ++man)
                list->users[first[rows[man] + 1]++] = static_cast<u16>(2 * i + other);
        }
    first.pop_back();
}

// One perspective: gradient of its output row and its bias. Turns `hidden` into the gradient of the sums.
static inline void backward_half(float slope, Vector *hidden, const Vector *weights, Vector *bias_gradient,
                                 Vector *output_gradient) {
    for (int v = 0; v < ROW_VECTORS; ++v) {
        const Vector sum = hidden[v];
        output_gradient[v] += slope * activated(sum);
        const Vector through = slope * weights[v];
        const Vector change = sum >= 0.0f ? through : through * NEGATIVE_SLOPE;
        bias_gradient[v] += change;
        hidden[v] = change;
    }
}

// Adds the changes of all users of each row: the row stays in registers meanwhile.
static void add_changes(const Model &model, const RowUsers &row_users, const float *changes, float *gradient) {
    const u16 *users = row_users.users.data();
    for (int row = 0; row < model.first_rows; ++row) {
        const int first = row_users.first[row], last = row_users.first[row + 1];
        if (first == last) continue;
        Vector *stored = row_at(gradient, row);
        Vector sums[ROW_VECTORS];
        for (int v = 0; v < ROW_VECTORS; ++v) sums[v] = stored[v];
        for (int i = first; i < last; ++i) {
            const Vector *change = row_at(changes, users[i]);
            for (int v = 0; v < ROW_VECTORS; ++v) sums[v] += change[v];
        }
        for (int v = 0; v < ROW_VECTORS; ++v) stored[v] = sums[v];
    }
}

void backward_tile(const Model &model, int tile, const Sample *samples, int count, const RowUsers &row_users,
                   float *hidden, const float *slopes) {
    const u64 offset = tile_floats(model) * static_cast<u64>(tile);
    const float *weights = model.weights + offset;
    float *gradient = model.gradient + offset;
    for (int i = 0; i < count; ++i) {
        const Sample &sample = samples[i];
        if (!sample.count) continue;
        for (int other = 0; other < 2; ++other) {
            const int out = output_row(model, sample.head, other);
            backward_half(slopes[i], row_at(hidden, 2 * i + other), row_at(weights, out),
                          row_at(gradient, bias_row(model, sample.stm ^ other)), row_at(gradient, out));
        }
    }
    add_changes(model, row_users, hidden, gradient);
}

// Plain loop over `count` floats; the compiler makes vectors of it.
static void adam_range(const Model &model, u64 first, u64 count, float limit, const AdamStep &step) {
    float *__restrict weights = model.weights + first;
    float *__restrict gradient = model.gradient + first;
    float *__restrict moment1 = model.moment1 + first;
    float *__restrict moment2 = model.moment2 + first;
    for (u64 i = 0; i < count; ++i) {
        const float slope = gradient[i];
        const float mean = ADAM_BETA1 * moment1[i] + (1.0f - ADAM_BETA1) * slope;
        const float square = ADAM_BETA2 * moment2[i] + (1.0f - ADAM_BETA2) * slope * slope;
        const float moved = weights[i] - step.rate * mean / (std::sqrt(square) + step.epsilon);
        weights[i] = std::min(std::max(moved, -limit), limit);
        moment1[i] = mean;
        moment2[i] = square;
        gradient[i] = 0.0f;
    }
}

void adam_tile(const Model &model, int tile, const AdamStep &step) {
    const u64 first = tile_floats(model) * static_cast<u64>(tile);
    const u64 inputs = static_cast<u64>(model.first_rows + 2) * TILE;
    adam_range(model, first, inputs, step.first_limit, step);
    adam_range(model, first + inputs, tile_floats(model) - inputs, step.output_limit, step);
}
