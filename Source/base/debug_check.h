// Checks that debug builds alone make. They cost time at every node; a build with NDEBUG contains none of them.
#pragma once

// True where NDEBUG is not defined. A check is written as `if constexpr (DEBUG_CHECKS) ...`.
#ifdef NDEBUG
constexpr bool DEBUG_CHECKS = false;
#else
constexpr bool DEBUG_CHECKS = true;
#endif

// Ends the program by std::abort after the line "check failed in WHERE: FAULT: DETAIL" on standard error.
[[noreturn]] void end_on_fault(const char *where, const char *fault, const char *detail);
