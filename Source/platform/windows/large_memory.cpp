// Large blocks straight from the system.
#include <windows.h>

#include "platform/large_memory.h"

void *allocate_large(u64 bytes) { return VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE); }

void free_large(void *block, u64) {
    if (block) VirtualFree(block, 0, MEM_RELEASE);
}
