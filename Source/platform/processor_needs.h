// The instruction sets that the program was compiled for, as bits: a constant that the start-up check compares with
// the processor. Only sets that a processor of the family can lack are listed.
#pragma once

#include "platform/integers.h"

// Calls ITEM(bit, name); the names are those of __builtin_cpu_supports.
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
    ITEM(10, "fma")                         \
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

// Sets that Clang's builtin does not know. Calls ITEM(bit, name, CPUID leaf, bit of ECX).
#define TARN_FOR_EACH_CPUID_BIT(ITEM) \
    ITEM(9, "lzcnt", 0x80000001, 5)   \
    ITEM(11, "f16c", 1, 29)           \
    ITEM(12, "movbe", 1, 22)

extern const u32 NEEDED_INSTRUCTIONS;
