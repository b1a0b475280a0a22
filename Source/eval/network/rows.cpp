// The network's inner loop over the vectors of the instruction set that the program is built for. A tile of
// sums stays in registers from the first row to the output product, so that each word of memory is touched
// once.
#include "eval/network/rows.h"

#include "eval/network/activation.h"
#include "eval/network/kernel.h"

#ifdef TARN_VECTORS

// `VECTORS` vectors from word `at` on. Returns the products' sums.
template <int VECTORS>
static inline SumVector pass_tile(const HalfPass &pass, int at) {
    WordVector tile[VECTORS];
    for (int i = 0; i < VECTORS; ++i) tile[i] = load_words(pass.start + at + i * LANES);
    for (int step = 0; step < pass.step_count; ++step) {
        const i16 *row = pass.steps[step].row + at;
        // The barriers keep the loads of the two branches apart: merged above the branch, they need too many registers.
        if (pass.steps[step].subtract) {
            asm volatile("" ::: "memory");
            for (int i = 0; i < VECTORS; ++i) tile[i] = subtract_words(tile[i], load_words(row + i * LANES));
        } else {
            asm volatile("" ::: "memory");
            for (int i = 0; i < VECTORS; ++i) tile[i] = add_words(tile[i], load_words(row + i * LANES));
        }
    }
    i16 *const sums = pass.sums + at;
    const i16 *const weights = pass.weights + at;
    SumVector sum = no_sums();
    for (int i = 0; i < VECTORS; ++i) {
        store_words(sums + i * LANES, tile[i]);
        sum = add_products(sum, activate_words(tile[i]), load_words(weights + i * LANES));
    }
    return sum;
}

u32 pass_half(const HalfPass &half_pass, int length) {
    const HalfPass pass = half_pass;  // a copy, which stores to the sums cannot change
    SumVector sum = no_sums();
    int at = 0;
    for (; at + TILE * LANES <= length; at += TILE * LANES) sum = add_sums(sum, pass_tile<TILE>(pass, at));
    for (; at + LANES <= length; at += LANES) sum = add_sums(sum, pass_tile<1>(pass, at));
    return total(sum) + pass_half_portable(pass, at, length);
}

#else

u32 pass_half(const HalfPass &pass, int length) { return pass_half_portable(pass, 0, length); }

#endif

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
