// Vector operations of the inner loop (rows.cpp) with 128-bit registers (SSE2, part of every x86-64 processor).
#pragma once

#include <emmintrin.h>

#include "eval/network/activation.h"

using WordVector = __m128i;  // signed 16-bit words
using SumVector = __m128i;   // 32-bit sums, which wrap
constexpr int LANES = 8;     // words in a vector
constexpr int TILE = 8;      // vectors of a full tile: half of the registers

inline WordVector load_words(const i16 *words) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(words)); }
inline void store_words(i16 *words, WordVector vector) { _mm_storeu_si128(reinterpret_cast<__m128i *>(words), vector); }
inline WordVector add_words(WordVector a, WordVector b) { return _mm_adds_epi16(a, b); }
inline WordVector subtract_words(WordVector a, WordVector b) { return _mm_subs_epi16(a, b); }

// For x >= 0 the shifted value is never above x, below zero never under it: the larger one is right in
// both cases. Saturation keeps the rounding from wrapping where the result isn't used.
inline WordVector activate_words(WordVector x) {
    const __m128i rounded = _mm_adds_epi16(x, _mm_set1_epi16(SLOPE_ROUND));
    return _mm_max_epi16(x, _mm_srai_epi16(rounded, SLOPE_SHIFT));
}

inline SumVector no_sums() { return _mm_setzero_si128(); }
inline SumVector add_sums(SumVector a, SumVector b) { return _mm_add_epi32(a, b); }
// The pairwise multiply-and-add can't overflow: an activated value is -512 or more.
inline SumVector add_products(SumVector sums, WordVector active, WordVector weights) {
    return _mm_add_epi32(sums, _mm_madd_epi16(active, weights));
}

inline u32 total(SumVector sums) {
    __m128i sum = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2)));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<u32>(_mm_cvtsi128_si32(sum));
}
