// The network of 16-bit words in the engine's arithmetic, with a look at its headroom. Compiled for the
// vector instructions of the build machine.
#include <algorithm>
#include <cstdlib>

#include "trainer.h"

constexpr int LOWEST = -32768, HIGHEST = 32767;
constexpr int ACTIVATION_SHIFT = 6;  // negative sums are divided by 64, toward zero

// One row onto the sums, each clamped to 16 bits as the engine's additions are; `low` and `high` keep the
// extremes before clamping.
static void add_row(const i16 *__restrict row, int half, i32 *__restrict sums, i32 *__restrict low,
                    i32 *__restrict high) {
    for (int j = 0; j < half; ++j) {
        const i32 sum = sums[j] + row[j];
        low[j] = std::min(low[j], sum);
        high[j] = std::max(high[j], sum);
        sums[j] = std::min(std::max(sum, LOWEST), HIGHEST);
    }
}

static void look_at_extremes(const std::vector<i32> &low, const std::vector<i32> &high, QuantisedResult *result) {
    for (std::size_t j = 0; j < low.size(); ++j) {
        result->largest_accumulator = std::max({result->largest_accumulator, -low[j], high[j]});
        if (low[j] < LOWEST || high[j] > HIGHEST) ++result->clamped;
    }
}

i32 quantised_sum(const Model &model, const std::vector<i16> &words, const Sample &sample, QuantisedResult *result) {
    const std::size_t half = static_cast<std::size_t>(model.half);
    const i16 *outputs = words.data() + static_cast<std::size_t>(model.first_rows) * half;
    const i16 *biases = outputs + 2 * OUTPUT_ROWS_STORED * half;
    std::vector<i32> sums(half), low(half), high(half);
    i64 total = 0;
    for (int other = 0; other < 2; ++other) {
        const int side = sample.stm ^ other;
        const i16 *bias = biases + static_cast<std::size_t>(side) * half;
        std::copy(bias, bias + half, sums.begin());
        low = high = sums;
        for (int i = 0; i < sample.count; ++i)
            add_row(words.data() + sample.rows[side][i] * half, model.half, sums.data(), low.data(), high.data());
        look_at_extremes(low, high, result);
        const i16 *weights = outputs + static_cast<std::size_t>(2 * sample.head + other) * half;
        for (std::size_t j = 0; j < half; ++j) {
            const i32 value = sums[j] >= 0 ? sums[j] : (sums[j] + (1 << ACTIVATION_SHIFT) - 1) >> ACTIVATION_SHIFT;
            total += static_cast<i64>(value) * weights[j];
        }
    }
    result->largest_output = std::max<i64>(result->largest_output, std::llabs(total));
    return static_cast<i32>(total);
}
