// Ends the program with one line if the processor lacks instructions that it was compiled for. This file is compiled
// for the oldest processor of the family, and the check runs before any other code of the program.
#include <cstdio>
#include <cstdlib>

#include "platform/processor_needs.h"

#ifdef __x86_64__

#include <cpuid.h>

static bool has_cpuid_bit(unsigned leaf, unsigned bit) {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid(leaf, &eax, &ebx, &ecx, &edx) && (ecx >> bit & 1);
}

// Priority 101 is the first that programs may use; static objects are constructed later. Nothing is called that was
// compiled for a newer processor.
__attribute__((constructor(101))) static void check_processor() {
    __builtin_cpu_init();
    u32 found = 0;
    // clang-format off
#define FIND(BIT, NAME) if (__builtin_cpu_supports(NAME)) found |= 1u << (BIT);
#define FIND_CPUID(BIT, NAME, LEAF, ECX_BIT) if (has_cpuid_bit(LEAF, ECX_BIT)) found |= 1u << (BIT);
    TARN_FOR_EACH_INSTRUCTION_SET(FIND)
    TARN_FOR_EACH_CPUID_BIT(FIND_CPUID)
    const u32 missing = NEEDED_INSTRUCTIONS & ~found;
    if (!missing) return;
    std::fputs("Tarn: this processor lacks instructions that this executable was built for:", stderr);
#define NAME_MISSING(BIT, NAME, ...) if (missing >> (BIT) & 1) std::fputs(" " NAME, stderr);
    TARN_FOR_EACH_INSTRUCTION_SET(NAME_MISSING)
    TARN_FOR_EACH_CPUID_BIT(NAME_MISSING)
    // clang-format on
    std::fputs("; a build for x86-64 runs on every processor\n", stderr);
    std::_Exit(1);
}

#endif
