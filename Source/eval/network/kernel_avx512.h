// Vector operations of the inner loop (rows.cpp) with 512-bit registers (AVX-512 BW; VNNI where available).
#pragma once

#include <immintrin.h>

#include "eval/network/activation.h"

using WordVector = __m512i;  // signed 16-bit words
using SumVector = __m512i;   // 32-bit sums, which wrap
constexpr int LANES = 32;    // words in a vector
constexpr int TILE = 5;      // vectors of a full tile: divides a half of 1280; few, so that tiles overlap

inline WordVector load_words(const i16 *words) { return _mm512_loadu_si512(words); }
inline void store_words(i16 *words, WordVector vector) { _mm512_storeu_si512(words, vector); }
inline WordVector add_words(WordVector a, WordVector b) { return _mm512_adds_epi16(a, b); }
inline WordVector subtract_words(WordVector a, WordVector b) { return _mm512_subs_epi16(a, b); }

// For x >= 0 the shifted value is never above x, below zero never under it: the larger one is right in
// both cases. Saturation keeps the rounding from wrapping where the result isn't used.
inline WordVector activate_words(WordVector x) {
    const __m512i rounded = _mm512_adds_epi16(x, _mm512_set1_epi16(SLOPE_ROUND));
    return _mm512_max_epi16(x, _mm512_srai_epi16(rounded, SLOPE_SHIFT));
}

inline SumVector no_sums() { return _mm512_setzero_si512(); }
inline SumVector add_sums(SumVector a, SumVector b) { return _mm512_add_epi32(a, b); }
// The pairwise multiply-and-add can't overflow: an activated value is -512 or more.
inline SumVector add_products(SumVector sums, WordVector active, WordVector weights) {
#ifdef __AVX512VNNI__
    return _mm512_dpwssd_epi32(sums, active, weights);
#else
    return _mm512_add_epi32(sums, _mm512_madd_epi16(active, weights));
#endif
}

inline u32 total(SumVector sums) {
    u32 lanes[16];  // the reduction of GCC 12's header warns of an unset value
    _mm512_storeu_si512(lanes, sums);
    u32 sum = 0;
    for (const u32 lane : lanes) sum += lane;
    return sum;
}
