// Threads and the mutex over pthread.
#include "platform/threads.h"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <new>

#include <pthread.h>

// The search recurses deeply with large frames, and the default stack differs between systems (some
// give a new thread half a megabyte). Only the pages that are touched cost memory.
constexpr std::size_t STACK_BYTES = std::size_t{16} << 20;

// What a new thread is to do; made by start_thread, freed by the new thread.
struct ThreadStart {
    void (*body)(int *);
    int *argument;
};

// A number on some systems, a pointer on others.
static_assert(sizeof(pthread_t) == sizeof(u64), "Thread::handle holds a pthread_t");

static void *thread_entry(void *start_address) {
    ThreadStart *start = static_cast<ThreadStart *>(start_address);
    const ThreadStart copy = *start;
    delete start;
    copy.body(copy.argument);
    return nullptr;
}

bool start_thread(Thread *thread, void (*body)(int *), int *argument) {
    thread->handle = 0;
    ThreadStart *start = new (std::nothrow) ThreadStart{body, argument};
    if (!start) return false;

    pthread_attr_t attributes;
    pthread_t handle{};
    bool started = false;
    if (pthread_attr_init(&attributes) == 0) {
        started = pthread_attr_setstacksize(&attributes, STACK_BYTES) == 0 &&
                  pthread_create(&handle, &attributes, thread_entry, start) == 0;
        pthread_attr_destroy(&attributes);
    }
    if (!started) {
        delete start;
        return false;
    }
    thread->handle = std::bit_cast<u64>(handle);
    return true;
}

bool join_thread(Thread *thread) {
    if (thread->handle == 0) return false;
    const bool joined = pthread_join(std::bit_cast<pthread_t>(thread->handle), nullptr) == 0;
    thread->handle = 0;
    return joined;
}

bool detach_thread(Thread *thread) {
    if (thread->handle == 0) return false;
    const bool detached = pthread_detach(std::bit_cast<pthread_t>(thread->handle)) == 0;
    thread->handle = 0;
    return detached;
}

int create_mutex(Mutex *mutex) {
    mutex->handle = nullptr;
    pthread_mutex_t *made = new (std::nothrow) pthread_mutex_t;
    if (!made) return ENOMEM;
    const int error = pthread_mutex_init(made, nullptr);
    if (error != 0) {
        delete made;
        return error;
    }
    mutex->handle = made;
    return 0;
}

void destroy_mutex(Mutex *mutex) {
    pthread_mutex_t *made = static_cast<pthread_mutex_t *>(mutex->handle);
    if (!made) return;
    pthread_mutex_destroy(made);
    delete made;
    mutex->handle = nullptr;
}

void lock_mutex(Mutex *mutex) { pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex->handle)); }

void unlock_mutex(Mutex *mutex) { pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex->handle)); }
