// The network's inner loop with 256-bit instructions. A tile of sums stays in registers from the first
// row to the output product, so that each word of memory is touched once.
#include "eval/network/rows.h"

#include <immintrin.h>

constexpr int LANES = 16;                            // 16-bit words in a vector
constexpr int TILE = 8;                              // vectors of a full tile: half of the registers
constexpr int SLOPE_SHIFT = 6;                       // below zero the activation has a slope of 1/64
constexpr int SLOPE_ROUND = (1 << SLOPE_SHIFT) - 1;  // makes the shift truncate toward zero

static inline __m256i load_words(const i16 *words) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(words));
}

static inline void store_words(i16 *words, __m256i vector) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(words), vector);
}

// For x >= 0 the shifted value is never above x, below zero never under it: the larger one is right in
// both cases. Saturation keeps the rounding from wrapping where the result isn't used.
static inline __m256i activate_words(__m256i x) {
    const __m256i rounded = _mm256_adds_epi16(x, _mm256_set1_epi16(SLOPE_ROUND));
    return _mm256_max_epi16(x, _mm256_srai_epi16(rounded, SLOPE_SHIFT));
}

static inline u32 sum_of_lanes(__m256i lanes) {
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(1, 0, 3, 2)));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<u32>(_mm_cvtsi128_si32(sum));
}

// `VECTORS` vectors from word `at` on. Returns the products' sums in eight 32-bit lanes. The pairwise
// multiply-and-add can't overflow: an activated value is -512 or more.
template <int VECTORS>
static inline __m256i pass_tile(const HalfPass &pass, int at) {
    __m256i tile[VECTORS];
    for (int i = 0; i < VECTORS; ++i) tile[i] = load_words(pass.start + at + i * LANES);
    for (int step = 0; step < pass.step_count; ++step) {
        const i16 *row = pass.steps[step].row + at;
        if (pass.steps[step].subtract) {
            for (int i = 0; i < VECTORS; ++i) tile[i] = _mm256_subs_epi16(tile[i], load_words(row + i * LANES));
        } else {
            for (int i = 0; i < VECTORS; ++i) tile[i] = _mm256_adds_epi16(tile[i], load_words(row + i * LANES));
        }
    }
    __m256i sum = _mm256_setzero_si256();
    for (int i = 0; i < VECTORS; ++i) {
        store_words(pass.sums + at + i * LANES, tile[i]);
        const __m256i active = activate_words(tile[i]);
        const __m256i weights = load_words(pass.weights + at + i * LANES);
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(active, weights));
    }
    return sum;
}

u32 pass_half(const HalfPass &pass, int length) {
    __m256i sum = _mm256_setzero_si256();
    int at = 0;
    for (; at + TILE * LANES <= length; at += TILE * LANES) sum = _mm256_add_epi32(sum, pass_tile<TILE>(pass, at));
    for (; at + LANES <= length; at += LANES) sum = _mm256_add_epi32(sum, pass_tile<1>(pass, at));
    return sum_of_lanes(sum) + pass_half_portable(pass, at, length);
}

static i16 saturate(int value) { return static_cast<i16>(value < -32768 ? -32768 : value > 32767 ? 32767 : value); }

u32 pass_half_portable(const HalfPass &pass, int begin, int end) {
    u32 sum = 0;
    for (int node = begin; node < end; ++node) {
        i16 value = pass.start[node];
        for (int step = 0; step < pass.step_count; ++step) {
            const int weight = pass.steps[step].row[node];
            value = saturate(pass.steps[step].subtract ? value - weight : value + weight);
        }
        pass.sums[node] = value;
        sum += static_cast<u32>(activate(value) * pass.weights[node]);
    }
    return sum;
}
