// The instruction sets that the program was compiled for, as bits: a constant that the start-up check compares with
// the processor. Only sets that a processor of the family can lack are listed.
#pragma once

#include "platform/integers.h"

// Calls ITEM(bit, name, CPUID leaf, register, bit of that register). The places are those of Intel's Software
// Developer's Manual, volume 2, instruction CPUID, and for lzcnt of AMD's Programmer's Manual, volume 3.
#define TARN_FOR_EACH_INSTRUCTION_SET(ITEM) \
    ITEM(0, "sse3", 1, ECX, 0)              \
    ITEM(1, "ssse3", 1, ECX, 9)             \
    ITEM(2, "sse4.1", 1, ECX, 19)           \
    ITEM(3, "sse4.2", 1, ECX, 20)           \
    ITEM(4, "popcnt", 1, ECX, 23)           \
    ITEM(5, "avx", 1, ECX, 28)              \
    ITEM(6, "avx2", 7, EBX, 5)              \
    ITEM(7, "bmi", 7, EBX, 3)               \
    ITEM(8, "bmi2", 7, EBX, 8)              \
    ITEM(9, "lzcnt", 0x80000001, ECX, 5)    \
    ITEM(10, "fma", 1, ECX, 12)             \
    ITEM(11, "f16c", 1, ECX, 29)            \
    ITEM(12, "movbe", 1, ECX, 22)           \
    ITEM(13, "avx512f", 7, EBX, 16)         \
    ITEM(14, "avx512bw", 7, EBX, 30)        \
    ITEM(15, "avx512cd", 7, EBX, 28)        \
    ITEM(16, "avx512dq", 7, EBX, 17)        \
    ITEM(17, "avx512vl", 7, EBX, 31)        \
    ITEM(18, "avx512vnni", 7, ECX, 11)      \
    ITEM(19, "avx512vbmi", 7, ECX, 1)       \
    ITEM(20, "avx512vbmi2", 7, ECX, 6)      \
    ITEM(21, "avx512ifma", 7, EBX, 21)      \
    ITEM(22, "avx512bitalg", 7, ECX, 12)    \
    ITEM(23, "avx512vpopcntdq", 7, ECX, 14) \
    ITEM(24, "gfni", 7, ECX, 8)             \
    ITEM(25, "vpclmulqdq", 7, ECX, 10)

// Those of them whose registers the operating system has to save.
constexpr u32 NEEDS_YMM_REGISTERS = 1u << 5 | 1u << 6 | 1u << 10 | 1u << 11 | 1u << 25;
constexpr u32 NEEDS_ZMM_REGISTERS = 0x7ffu << 13;  // all of AVX-512

extern const u32 NEEDED_INSTRUCTIONS;
