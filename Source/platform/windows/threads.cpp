// Threads and the mutex over the Windows calls.
#include "platform/threads.h"

#include <new>

#include <windows.h>

#include "platform/processor_groups.h"

// The search recurses deeply with large frames; the default of a Windows program is one megabyte.
// Reserved, not committed: only the pages that are touched cost memory.
constexpr SIZE_T STACK_BYTES = SIZE_T{16} << 20;

constexpr int MAX_GROUPS = 32;

// The running threads of each processor group, guarded by `group_lock`.
static SRWLOCK group_lock = SRWLOCK_INIT;
static int running_threads[MAX_GROUPS];

// What a new thread is to do; made by start_thread, freed by the new thread.
struct ThreadStart {
    void (*body)(int *);
    int *argument;
    int group;
};

// A program starts in one group, and its threads would stay there.
static int group_count() {
    const int groups = GetActiveProcessorGroupCount();
    return groups < MAX_GROUPS ? groups : MAX_GROUPS;
}

static int enter_group() {
    int processors[MAX_GROUPS];
    const int groups = group_count();
    for (int group = 0; group < groups; ++group)
        processors[group] = static_cast<int>(GetActiveProcessorCount(static_cast<WORD>(group)));
    AcquireSRWLockExclusive(&group_lock);
    const int group = choose_processor_group(processors, running_threads, groups);
    ++running_threads[group];
    ReleaseSRWLockExclusive(&group_lock);
    return group;
}

static void leave_group(int group) {
    AcquireSRWLockExclusive(&group_lock);
    --running_threads[group];
    ReleaseSRWLockExclusive(&group_lock);
}

// Moves the calling thread to all processors of the group. With one group nothing is changed, so that an affinity that
// the user chose is kept.
static void run_in_group(int group) {
    if (group_count() <= 1) return;
    const DWORD processors = GetActiveProcessorCount(static_cast<WORD>(group));
    GROUP_AFFINITY affinity{};
    affinity.Group = static_cast<WORD>(group);
    affinity.Mask = processors >= 64 ? ~KAFFINITY{0} : (KAFFINITY{1} << processors) - 1;
    SetThreadGroupAffinity(GetCurrentThread(), &affinity, nullptr);
}

static DWORD WINAPI thread_entry(LPVOID start_address) {
    ThreadStart *start = static_cast<ThreadStart *>(start_address);
    const ThreadStart copy = *start;
    delete start;
    run_in_group(copy.group);
    copy.body(copy.argument);
    leave_group(copy.group);
    return 0;
}

static HANDLE thread_handle(const Thread *thread) { return reinterpret_cast<HANDLE>(thread->handle); }

bool start_thread(Thread *thread, void (*body)(int *), int *argument) {
    thread->handle = 0;
    ThreadStart *start = new (std::nothrow) ThreadStart{body, argument, 0};
    if (!start) return false;
    start->group = enter_group();
    const HANDLE handle =
        CreateThread(nullptr, STACK_BYTES, thread_entry, start, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!handle) {
        leave_group(start->group);
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
