// Random numbers for the training programs: one 64-bit state, the same sequence on every machine.
#pragma once

#include "platform/integers.h"

struct Random {
    u64 state;
};

// SplitMix64 (Steele, Lea and Flood, "Fast splittable pseudorandom number generators", 2014).
inline u64 next_random(Random *random) {
    u64 z = random->state += 0x9E3779B97F4A7C15ULL;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

// 0 to count - 1; count is 1 to 2^31.
inline int random_below(Random *random, int count) {
    return static_cast<int>((next_random(random) >> 32) * static_cast<u64>(count) >> 32);
}

inline bool one_in(Random *random, int count) { return random_below(random, count) == 0; }
inline bool percent_chance(Random *random, int percent) { return random_below(random, 100) < percent; }

// A generator whose sequence depends on all three numbers.
inline Random make_random(u64 seed, u64 run, u64 game) {
    Random random = {seed};
    random.state = next_random(&random) ^ run;
    random.state = next_random(&random) ^ game;
    return random;
}
