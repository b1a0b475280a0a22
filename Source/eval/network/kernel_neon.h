// Vector operations of the inner loop (rows.cpp) with 128-bit registers (NEON, part of every ARM64 processor).
#pragma once

#include <arm_neon.h>

#include "eval/network/activation.h"

using WordVector = int16x8_t;  // signed 16-bit words
using SumVector = int32x4_t;   // 32-bit sums, which wrap
constexpr int LANES = 8;       // words in a vector
constexpr int TILE = 16;       // vectors of a full tile: half of the registers

inline WordVector load_words(const i16 *words) { return vld1q_s16(words); }
inline void store_words(i16 *words, WordVector vector) { vst1q_s16(words, vector); }
inline WordVector add_words(WordVector a, WordVector b) { return vqaddq_s16(a, b); }
inline WordVector subtract_words(WordVector a, WordVector b) { return vqsubq_s16(a, b); }

// For x >= 0 the shifted value is never above x, below zero never under it: the larger one is right in
// both cases. Saturation keeps the rounding from wrapping where the result isn't used.
inline WordVector activate_words(WordVector x) {
    const int16x8_t rounded = vqaddq_s16(x, vdupq_n_s16(SLOPE_ROUND));
    return vmaxq_s16(x, vshrq_n_s16(rounded, SLOPE_SHIFT));
}

inline SumVector no_sums() { return vdupq_n_s32(0); }
inline SumVector add_sums(SumVector a, SumVector b) { return vaddq_s32(a, b); }
inline SumVector add_products(SumVector sums, WordVector active, WordVector weights) {
    return vmlal_high_s16(vmlal_s16(sums, vget_low_s16(active), vget_low_s16(weights)), active, weights);
}

inline u32 total(SumVector sums) { return static_cast<u32>(vaddvq_s32(sums)); }
