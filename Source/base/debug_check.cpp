// What a failed check does.
#include "base/debug_check.h"

#include <cstdio>
#include <cstdlib>

void end_on_fault(const char *where, const char *fault, const char *detail) {
    std::fprintf(stderr, "check failed in %s: %s: %s\n", where, fault, detail);
    std::abort();
}
