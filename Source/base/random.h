// The one random step of the program: a 32-bit linear congruential generator.
#pragma once

#include "platform/integers.h"

// Steps the state and returns it. The low bits repeat quickly, which its users accept.
inline u32 next_random(u32 *state) { return *state = *state * 12345 + 76543; }
