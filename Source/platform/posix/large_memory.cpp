// Large allocations by mmap, on large pages where madvise can ask for them.
#include "platform/large_memory.h"

#include <cstdio>
#include <limits>

#include <sys/mman.h>
#include <unistd.h>

static constexpr u64 NO_LIMIT = std::numeric_limits<u64>::max();
static constexpr u64 KILOBYTE = 1024;

// The number that `format` finds in the first lines of a file of the system, or `otherwise`.
static u64 system_number(const char *path, const char *format, u64 otherwise) {
    std::FILE *file = std::fopen(path, "r");
    if (!file) return otherwise;
    char line[128];
    unsigned long long number = 0;
    bool found = false;
    for (int lines = 0; !found && lines < 8 && std::fgets(line, sizeof line, file); ++lines)
        found = std::sscanf(line, format, &number) == 1;
    std::fclose(file);
    return found ? number : otherwise;
}

// All of the machine's memory, in use or not.
static u64 physical_memory() {
    const long pages = sysconf(_SC_PHYS_PAGES), page_bytes = sysconf(_SC_PAGESIZE);
    return pages > 0 && page_bytes > 0 ? static_cast<u64>(pages) * static_cast<u64>(page_bytes) : NO_LIMIT;
}

// A mapping costs memory only when it is touched, so the system promises more than it has, and ends the
// process when the promise is called in. Asked beforehand: what the machine can spare, and the limit of the
// control group (not what is left of it: file caches count as used there). Only Linux has these files; elsewhere
// the limit is the machine's memory.
static u64 available_memory() {
    const u64 machine = system_number("/proc/meminfo", "MemAvailable: %llu kB", NO_LIMIT);
    const u64 group = system_number("/sys/fs/cgroup/memory.max", "%llu", NO_LIMIT);
    const u64 machine_left = machine == NO_LIMIT ? physical_memory() : machine * KILOBYTE;
    return machine_left < group ? machine_left : group;
}

void *allocate_large(u64 bytes) {
    static constexpr u64 SMALL = 64 * KILOBYTE * KILOBYTE;  // never worth asking for
    if (bytes > SMALL && bytes > available_memory()) return nullptr;
    void *block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(block, bytes, MADV_HUGEPAGE);
#endif
    return block;
}

void free_large(void *block, u64 bytes) {
    if (block) munmap(block, bytes);
}
