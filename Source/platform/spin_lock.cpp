// The spin lock: the same on every system, since giving up a time slice is all it asks of one.
#include "platform/clock.h"
#include "platform/threads.h"

// Looks at a held lock so many times before it gives up the time slice: a line of output is written
// in microseconds, so that the holder is usually about to leave.
static constexpr int SPINS_BEFORE_YIELD = 64;

int create_spin_lock(SpinLock *lock) {
    lock->taken.store(0, std::memory_order_release);
    return 0;
}

void destroy_spin_lock(SpinLock *) {}

// Tells the processor that this is a waiting loop.
static inline void relax_processor() {
#ifdef __x86_64__
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

void lock_spin(SpinLock *lock) {
    int looks = 0;
    while (lock->taken.exchange(1, std::memory_order_acquire) != 0) {
        while (lock->taken.load(std::memory_order_relaxed) != 0) {
            if (++looks % SPINS_BEFORE_YIELD == 0) sleep_milliseconds(0);
            else relax_processor();
        }
    }
}

void unlock_spin(SpinLock *lock) { lock->taken.store(0, std::memory_order_release); }
