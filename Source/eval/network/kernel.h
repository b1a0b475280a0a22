// Chooses the vector operations for the instruction set that the program is built for (TARN_ARCH). Each kernel
// has the same interface and gives the same numbers. Without one, TARN_VECTORS is not defined and the portable
// loop of rows.cpp does all the work.
#pragma once

#if defined(TARN_PORTABLE)
// Asked for: no vectors.
#elif defined(__AVX512BW__)
#define TARN_VECTORS
#include "eval/network/kernel_avx512.h"
#elif defined(__AVX2__)
#define TARN_VECTORS
#include "eval/network/kernel_avx2.h"
#elif defined(__SSE2__)
#define TARN_VECTORS
#include "eval/network/kernel_sse2.h"
#elif defined(__ARM_NEON)
#define TARN_VECTORS
#include "eval/network/kernel_neon.h"
#endif
