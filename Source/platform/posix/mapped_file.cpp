// Read-only mapping of whole files by mmap().
#include "platform/mapped_file.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

const char DIRECTORY_SEPARATOR = '/';

// What the signal handler looks up: the views that exist. An entry is free without a start.
struct View {
    std::atomic<std::uintptr_t> start;
    std::atomic<u64> size;  // bytes
    std::atomic<bool> lost;
};
constexpr int MAX_VIEWS = 4096;  // more than there are tables of up to seven men on one machine
static View views[MAX_VIEWS];
static std::uintptr_t page_size;
static_assert(std::atomic<std::uintptr_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler may only touch lock-free words");

// A page that the system can't supply is replaced by zeros, and the read goes on. Any other access ends the process
// as it would without this handler. mmap() is a plain system call and safe here.
static void replace_lost_page(int number, siginfo_t *info, void *) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const int kept_errno = errno;
    const bool by_access = info->si_code == BUS_ADRERR;
    for (View &view : views) {
        const std::uintptr_t start = view.start.load(std::memory_order_relaxed);
        if (!by_access || !start || address < start || address - start >= view.size.load(std::memory_order_relaxed))
            continue;
        view.lost.store(true, std::memory_order_relaxed);
        void *page = reinterpret_cast<void *>(address & ~(page_size - 1));
        if (mmap(page, page_size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED) break;
        errno = kept_errno;
        return;
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}

static void catch_lost_pages() {
    if (page_size) return;
    page_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    struct sigaction action {};
    action.sa_sigaction = replace_lost_page;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, nullptr);
}

// Null if all entries are in use.
static View *register_view(const void *start, u64 size) {
    catch_lost_pages();
    for (View &view : views) {
        if (view.start.load(std::memory_order_relaxed)) continue;
        view.size.store(size, std::memory_order_relaxed);
        view.lost.store(false, std::memory_order_relaxed);
        view.start.store(reinterpret_cast<std::uintptr_t>(start), std::memory_order_release);
        return &view;
    }
    return nullptr;
}

FileHandle open_read_only(const char *path) {
    // Non-blocking, as opening a named pipe would otherwise wait for its writer.
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return {-1};
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return {-1};
    }
    return {descriptor};
}

bool file_size(FileHandle file, u64 *size) {
    struct stat status {};
    if (file.handle < 0 || fstat(static_cast<int>(file.handle), &status) != 0) return false;
    *size = static_cast<u64>(status.st_size);
    return true;
}

void close_file(FileHandle file) {
    if (file.handle >= 0) close(static_cast<int>(file.handle));
}

// There is no mapping object apart from the view here: a file that cannot be mapped at all (no
// size, or nothing in it) answers MAP_NO_MAPPING, a refused mmap() answers MAP_NO_VIEW.
MapResult map_file(FileHandle file, MappedFile *mapped, unsigned long *error) {
    *mapped = {nullptr, 0, nullptr};
    u64 size = 0;
    if (!file_size(file, &size)) {
        *error = static_cast<unsigned long>(errno);
        return MAP_NO_MAPPING;
    }
    if (size == 0) {
        *error = EINVAL;
        return MAP_NO_MAPPING;
    }
    void *view = mmap(nullptr, size, PROT_READ, MAP_SHARED, static_cast<int>(file.handle), 0);
    if (view == MAP_FAILED) {
        *error = static_cast<unsigned long>(errno);
        return MAP_NO_VIEW;
    }
    // Probes jump about in a table: reading ahead would only push other pages out.
    madvise(view, size, MADV_RANDOM);
    *mapped = {static_cast<const u8 *>(view), size, register_view(view, size)};
    return MAP_OK;
}

// The handler leaves its note before it puts zeros there, so a reader that has seen zeros finds the note. The barrier
// keeps the compiler from asking first. (ThreadSanitizer does not know fences between threads.)
bool lost_pages(const MappedFile &mapped) {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const View *view = static_cast<const View *>(mapped.mapping);
    return view && view->lost.load(std::memory_order_acquire);
}

bool unmap_file(MappedFile *mapped, unsigned long *error) {
    if (!mapped->data) return true;
    if (munmap(const_cast<u8 *>(mapped->data), mapped->size) != 0) {
        *error = static_cast<unsigned long>(errno);
        return false;
    }
    if (View *view = static_cast<View *>(mapped->mapping)) view->start.store(0, std::memory_order_relaxed);
    *mapped = {nullptr, 0, nullptr};
    return true;
}
