// A library that is loaded before all others (LD_PRELOAD) and lets one allocation fail: of memory from malloc and its
// kind or from mmap, or of a thread. The environment variable TARN_FAIL_AT says which one, counted from 1; with
// TARN_FAIL_ON it and all later ones fail. Without TARN_FAIL_AT nothing fails, and the number of allocations is written
// to standard error at the end, as "allocations N".
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
}

static std::atomic<long> count;
static long fail_at = -1;  // not read yet
static bool fails_on;

static bool fails() {
    if (fail_at < 0) {
        const char *at = getenv("TARN_FAIL_AT");
        fail_at = at ? std::atol(at) : 0;
        fails_on = getenv("TARN_FAIL_ON") != nullptr;
    }
    const long number = ++count;
    if (fail_at == 0 || !(number == fail_at || (fails_on && number > fail_at))) return false;
    errno = ENOMEM;
    return true;
}

__attribute__((destructor)) static void report() {
    if (fail_at > 0) return;
    char text[64];
    const int length = std::snprintf(text, sizeof text, "allocations %ld\n", count.load());
    if (write(STDERR_FILENO, text, static_cast<std::size_t>(length)) < 0) return;
}

extern "C" {
void *malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }

void *calloc(std::size_t number, std::size_t size) { return fails() ? nullptr : __libc_calloc(number, size); }

void *realloc(void *block, std::size_t size) { return fails() ? nullptr : __libc_realloc(block, size); }

void *mmap(void *address, std::size_t size, int protection, int flags, int file, off_t offset) {
    using Function = void *(*)(void *, std::size_t, int, int, int, off_t);
    static const Function original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "mmap"));
    return fails() ? MAP_FAILED : original(address, size, protection, flags, file, offset);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
    using Function = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const Function original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_create"));
    return fails() ? EAGAIN : original(thread, attributes, body, argument);
}
}
