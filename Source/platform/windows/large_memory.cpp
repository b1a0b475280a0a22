// Large blocks straight from the system.
#include "platform/large_memory.h"

#include <windows.h>

static constexpr u64 SMALL = u64{64} << 20;  // bytes; never worth asking for

// The system counts the paging file as memory. A hash table that is paged is of no use, so a block may not be larger
// than the free physical memory.
static bool fits_physical_memory(u64 bytes) {
    MEMORYSTATUSEX status;
    status.dwLength = sizeof status;
    return !GlobalMemoryStatusEx(&status) || bytes <= status.ullAvailPhys;
}

void *allocate_large(u64 bytes) {
    if (bytes > SMALL && !fits_physical_memory(bytes)) return nullptr;
    return VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
}

void free_large(void *block, u64) {
    if (block) VirtualFree(block, 0, MEM_RELEASE);
}
