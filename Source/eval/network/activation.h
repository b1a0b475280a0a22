// The activation of a hidden node, for the forward pass and its vector kernels.
#pragma once

#include "platform/integers.h"

constexpr int SLOPE_SHIFT = 6;                       // below zero the activation has a slope of 1/64
constexpr int SLOPE_ROUND = (1 << SLOPE_SHIFT) - 1;  // makes the shift truncate toward zero

// The activation: unchanged from 0 up, a 64th (truncated toward zero) below.
constexpr int activate(int sum) { return sum >= 0 ? sum : (sum + SLOPE_ROUND) >> SLOPE_SHIFT; }
