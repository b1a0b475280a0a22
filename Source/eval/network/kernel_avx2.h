// Vector operations of the inner loop (rows.cpp) with 256-bit registers (AVX2).
#pragma once

#include <immintrin.h>

#include "eval/network/activation.h"

using WordVector = __m256i;  // signed 16-bit words
using SumVector = __m256i;   // 32-bit sums, which wrap
constexpr int LANES = 16;    // words in a vector
constexpr int TILE = 8;      // vectors of a full tile: half of the registers

inline WordVector load_words(const i16 *words) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(words)); }
inline void store_words(i16 *words, WordVector vector) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(words), vector);
}
inline WordVector add_words(WordVector a, WordVector b) { return _mm256_adds_epi16(a, b); }
inline WordVector subtract_words(WordVector a, WordVector b) { return _mm256_subs_epi16(a, b); }

// For x >= 0 the shifted value is never above x, below zero never under it: the larger one is right in
// both cases. Saturation keeps the rounding from wrapping where the result isn't used.
inline WordVector activate_words(WordVector x) {
    const __m256i rounded = _mm256_adds_epi16(x, _mm256_set1_epi16(SLOPE_ROUND));
    return _mm256_max_epi16(x, _mm256_srai_epi16(rounded, SLOPE_SHIFT));
}

inline SumVector no_sums() { return _mm256_setzero_si256(); }
inline SumVector add_sums(SumVector a, SumVector b) { return _mm256_add_epi32(a, b); }
// The pairwise multiply-and-add can't overflow: an activated value is -512 or more.
inline SumVector add_products(SumVector sums, WordVector active, WordVector weights) {
    return _mm256_add_epi32(sums, _mm256_madd_epi16(active, weights));
}

inline u32 total(SumVector sums) {
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(1, 0, 3, 2)));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<u32>(_mm_cvtsi128_si32(sum));
}
