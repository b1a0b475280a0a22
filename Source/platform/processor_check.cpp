// Ends the program with one line if the processor lacks instructions that it was compiled for. This file is compiled
// for the oldest processor of the family, and the check runs before any other code of the program.
#include <cstdio>
#include <cstdlib>

#include "platform/processor_needs.h"

#ifdef __x86_64__

#include <cpuid.h>

enum CpuidRegister { EAX, EBX, ECX, EDX };

// The bit of the processor's answer to CPUID; false where it does not know the leaf.
static bool has_cpuid_bit(unsigned leaf, CpuidRegister place, int bit) {
    unsigned answer[4] = {};
    if (!__get_cpuid_count(leaf, 0, &answer[EAX], &answer[EBX], &answer[ECX], &answer[EDX])) return false;
    return answer[place] >> bit & 1;
}

// The kinds of registers that the operating system saves: register XCR0.
static u32 saved_registers() {
    constexpr int OSXSAVE = 27;  // bit of ECX in leaf 1: XCR0 can be read
    if (!has_cpuid_bit(1, ECX, OSXSAVE)) return 0;
    u32 low = 0, high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

// The instruction sets that processor and system have, in the bits of NEEDED_INSTRUCTIONS.
static u32 available_instructions() {
    constexpr u32 YMM = 0x06;  // bits of XCR0
    u32 found = 0;
#define FIND(BIT, NAME, LEAF, REGISTER, REGISTER_BIT) \
    if (has_cpuid_bit(LEAF, REGISTER, REGISTER_BIT)) found |= 1u << (BIT);
    TARN_FOR_EACH_INSTRUCTION_SET(FIND)
    const u32 saved = saved_registers();
    if ((saved & YMM) != YMM) found &= ~(NEEDS_YMM_REGISTERS | NEEDS_ZMM_REGISTERS);
    // macOS begins to save the ZMM registers of a thread when it first uses them. The build says whether this is macOS.
    constexpr u32 ZMM = 0xe0;
    if (!TARN_ZMM_SAVED_ON_USE && (saved & ZMM) != ZMM) found &= ~NEEDS_ZMM_REGISTERS;
    return found;
}

// Priority 101 is the first that programs may use; static objects are constructed later. Nothing is called that was
// compiled for a newer processor.
__attribute__((constructor(101))) static void check_processor() {
    const u32 missing = NEEDED_INSTRUCTIONS & ~available_instructions();
    if (!missing) return;
    std::fputs("Tarn: this processor lacks instructions that this executable was built for:", stderr);
#define NAME_MISSING(BIT, NAME, ...) \
    if (missing >> (BIT)&1) std::fputs(" " NAME, stderr);
    TARN_FOR_EACH_INSTRUCTION_SET(NAME_MISSING)
    std::fputs("; a build for x86-64 runs on every processor\n", stderr);
    std::_Exit(1);
}

#endif
