// The instruction sets that the program was compiled for, as bits: a constant that the start-up check compares with
// the processor. Only sets that a processor of the family can lack are listed.
#pragma once

#include "platform/integers.h"

// In the order of the bits.
#define TARN_FOR_EACH_INSTRUCTION_SET(ITEM) \
    ITEM(0, "sse3")                         \
    ITEM(1, "ssse3")                        \
    ITEM(2, "sse4.1")                       \
    ITEM(3, "sse4.2")                       \
    ITEM(4, "popcnt")                       \
    ITEM(5, "avx")                          \
    ITEM(6, "avx2")                         \
    ITEM(7, "bmi")                          \
    ITEM(8, "bmi2")                         \
    ITEM(9, "lzcnt")                        \
    ITEM(10, "fma")                         \
    ITEM(11, "f16c")                        \
    ITEM(12, "movbe")                       \
    ITEM(13, "avx512f")                     \
    ITEM(14, "avx512bw")                    \
    ITEM(15, "avx512cd")                    \
    ITEM(16, "avx512dq")                    \
    ITEM(17, "avx512vl")                    \
    ITEM(18, "avx512vnni")                  \
    ITEM(19, "avx512vbmi")                  \
    ITEM(20, "avx512vbmi2")                 \
    ITEM(21, "avx512ifma")                  \
    ITEM(22, "avx512bitalg")                \
    ITEM(23, "avx512vpopcntdq")             \
    ITEM(24, "gfni")                        \
    ITEM(25, "vpclmulqdq")

extern const u32 needed_instructions;
