// Large blocks by anonymous mapping; the kernel is told that large pages pay.
#include "platform/large_memory.h"

#include <sys/mman.h>

void *allocate_large(u64 bytes) {
    void *block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return nullptr;
    madvise(block, bytes, MADV_HUGEPAGE);
    return block;
}

void free_large(void *block, u64 bytes) {
    if (block) munmap(block, bytes);
}
