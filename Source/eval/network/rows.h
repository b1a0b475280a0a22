// The inner loop of the network: one perspective's sums, activation and share of the output in one walk.
// Used by forward; a portable twin gives the same numbers.
#pragma once

#include "platform/integers.h"

// One row of first-layer weights to add to the sums or to take from them.
struct RowStep {
    const i16 *row;
    bool subtract;
};

// One perspective. `sums` may be the same as `start`; otherwise no two of the arrays overlap.
struct HalfPass {
    const i16 *start;      // sums to begin with: the last pass's, or the biases
    const RowStep *steps;  // applied in order, each with saturation: the order can show in the result
    int step_count;
    i16 *sums;           // out: the new sums
    const i16 *weights;  // output weights of this half
};

// Nodes 0..length - 1 of the half. Returns the sum of activated values times output weights, modulo 2^32.
u32 pass_half(const HalfPass &pass, int length);
// Nodes begin..end - 1 without vector instructions: what is left after the last whole vector, and the reference
// that the vector code is tested against.
u32 pass_half_portable(const HalfPass &pass, int begin, int end);
