#include "eval/network/network_fixture.h"

#include <cstdlib>
#include <cstring>
#include <new>

bool refuse_memory;

// Aligned blocks of the test program, with room for the address that malloc gave just before them.
void *operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept {
    if (refuse_memory) return nullptr;
    const std::size_t align = static_cast<std::size_t>(alignment);
    char *block = static_cast<char *>(std::malloc(size + align + sizeof(void *)));
    if (!block) return nullptr;
    const std::size_t start = reinterpret_cast<std::size_t>(block) + sizeof(void *);
    void *result = block + sizeof(void *) + (align - start % align) % align;
    std::memcpy(static_cast<char *>(result) - sizeof(void *), &block, sizeof block);
    return result;
}
void *operator new(std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment, std::nothrow);
}
void operator delete(void *block, std::align_val_t) noexcept {
    if (!block) return;
    void *origin;
    std::memcpy(&origin, static_cast<char *>(block) - sizeof(void *), sizeof origin);
    std::free(origin);
}
void operator delete(void *block, std::size_t, std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}
