// Threads and the mutex over the Windows calls.
#include "platform/threads.h"

#include <new>

#include <windows.h>

// The search recurses deeply with large frames; the default of a Windows program is one megabyte.
// Reserved, not committed: only the pages that are touched cost memory.
constexpr SIZE_T STACK_BYTES = SIZE_T{16} << 20;

// What a new thread is to do; made by start_thread, freed by the new thread.
struct ThreadStart {
    void (*body)(int *);
    int *argument;
};

static DWORD WINAPI thread_entry(LPVOID start_address) {
    ThreadStart *start = static_cast<ThreadStart *>(start_address);
    const ThreadStart copy = *start;
    delete start;
    copy.body(copy.argument);
    return 0;
}

static HANDLE thread_handle(const Thread *thread) { return reinterpret_cast<HANDLE>(thread->handle); }

bool start_thread(Thread *thread, void (*body)(int *), int *argument) {
    thread->handle = 0;
    ThreadStart *start = new (std::nothrow) ThreadStart{body, argument};
    if (!start) return false;
    const HANDLE handle =
        CreateThread(nullptr, STACK_BYTES, thread_entry, start, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!handle) {
        delete start;
        return false;
    }
    thread->handle = reinterpret_cast<u64>(handle);
    return true;
}

bool join_thread(Thread *thread) {
    if (thread->handle == 0) return false;
    const bool joined = WaitForSingleObject(thread_handle(thread), INFINITE) == WAIT_OBJECT_0;
    CloseHandle(thread_handle(thread));
    thread->handle = 0;
    return joined;
}

bool detach_thread(Thread *thread) {
    if (thread->handle == 0) return false;
    const bool detached = CloseHandle(thread_handle(thread)) != 0;
    thread->handle = 0;
    return detached;
}

int create_mutex(Mutex *mutex) {
    mutex->handle = CreateMutexA(nullptr, FALSE, nullptr);
    return mutex->handle ? 0 : static_cast<int>(GetLastError());
}

void destroy_mutex(Mutex *mutex) {
    if (mutex->handle) CloseHandle(static_cast<HANDLE>(mutex->handle));
    mutex->handle = nullptr;
}

void lock_mutex(Mutex *mutex) { WaitForSingleObject(static_cast<HANDLE>(mutex->handle), INFINITE); }

void unlock_mutex(Mutex *mutex) { ReleaseMutex(static_cast<HANDLE>(mutex->handle)); }
