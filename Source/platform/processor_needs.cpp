// Compiled like the rest of the program, so that the compiler's own macros tell what it may use.
#include "platform/processor_needs.h"

const u32 NEEDED_INSTRUCTIONS = 0
#ifdef __SSE3__
                                | 1u << 0
#endif
#ifdef __SSSE3__
                                | 1u << 1
#endif
#ifdef __SSE4_1__
                                | 1u << 2
#endif
#ifdef __SSE4_2__
                                | 1u << 3
#endif
#ifdef __POPCNT__
                                | 1u << 4
#endif
#ifdef __AVX__
                                | 1u << 5
#endif
#ifdef __AVX2__
                                | 1u << 6
#endif
#ifdef __BMI__
                                | 1u << 7
#endif
#ifdef __BMI2__
                                | 1u << 8
#endif
#ifdef __LZCNT__
                                | 1u << 9
#endif
#ifdef __FMA__
                                | 1u << 10
#endif
#ifdef __F16C__
                                | 1u << 11
#endif
#ifdef __MOVBE__
                                | 1u << 12
#endif
#ifdef __AVX512F__
                                | 1u << 13
#endif
#ifdef __AVX512BW__
                                | 1u << 14
#endif
#ifdef __AVX512CD__
                                | 1u << 15
#endif
#ifdef __AVX512DQ__
                                | 1u << 16
#endif
#ifdef __AVX512VL__
                                | 1u << 17
#endif
#ifdef __AVX512VNNI__
                                | 1u << 18
#endif
#ifdef __AVX512VBMI__
                                | 1u << 19
#endif
#ifdef __AVX512VBMI2__
                                | 1u << 20
#endif
#ifdef __AVX512IFMA__
                                | 1u << 21
#endif
#ifdef __AVX512BITALG__
                                | 1u << 22
#endif
#ifdef __AVX512VPOPCNTDQ__
                                | 1u << 23
#endif
#ifdef __GFNI__
                                | 1u << 24
#endif
#ifdef __VPCLMULQDQ__
                                | 1u << 25
#endif
    ;
