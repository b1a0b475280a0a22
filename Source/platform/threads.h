// Threads, spin locks and one plain mutex, over what the operating system has.
#pragma once

#include <atomic>

#include "platform/integers.h"

struct Thread {
    u64 handle;  // the operating system's own word; 0 for none
};

// Starts `body(argument)`. Returns false when no thread could be made.
bool start_thread(Thread *thread, void (*body)(int *), int *argument);
bool join_thread(Thread *thread);
bool detach_thread(Thread *thread);

struct SpinLock {
    std::atomic<u32> taken;
};

// 0, or an error code; a spin lock starts free.
int create_spin_lock(SpinLock *lock);
void destroy_spin_lock(SpinLock *lock);
void lock_spin(SpinLock *lock);
void unlock_spin(SpinLock *lock);

struct Mutex {
    void *handle;
};

int create_mutex(Mutex *mutex);  // 0, or an error code
void destroy_mutex(Mutex *mutex);
void lock_mutex(Mutex *mutex);
void unlock_mutex(Mutex *mutex);
