// Interrupts as POSIX signals.
#include "platform/interrupt.h"

#include <csignal>

static Relaxed<u8> *words[2];
static std::atomic<int> caught;
static_assert(std::atomic<u8>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler may only touch lock-free words");

static void note_interrupt(int number) {
    caught.store(number, std::memory_order_relaxed);
    for (Relaxed<u8> *word : words) *word = 1;
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

// An interrupt that the parent told this process to ignore stays ignored ("nohup", a job in the
// background of a shell without job control).
static void catch_signal(int number) {
    struct sigaction old {};
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = note_interrupt;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

void catch_interrupts(Relaxed<u8> *first, Relaxed<u8> *second) {
    words[0] = first;
    words[1] = second;
    catch_signal(SIGINT);
    catch_signal(SIGTERM);
}

int caught_interrupt() { return caught.load(std::memory_order_relaxed); }
