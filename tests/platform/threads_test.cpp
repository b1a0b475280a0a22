// Threads, locks and the clock.
#include <atomic>

#include "gtest/gtest.h"
#include "platform/clock.h"
#include "platform/threads.h"

static SpinLock counter_lock;
static Mutex counter_mutex;
static int plain_counter;  // guarded by one of the two

static void count_under_spin_lock(int *rounds) {
    for (int i = 0; i < *rounds; i++) {
        lock_spin(&counter_lock);
        plain_counter++;
        unlock_spin(&counter_lock);
    }
}

static void count_under_mutex(int *rounds) {
    for (int i = 0; i < *rounds; i++) {
        lock_mutex(&counter_mutex);
        plain_counter++;
        unlock_mutex(&counter_mutex);
    }
}

static void run_four(void (*body)(int *), int rounds) {
    Thread threads[4];
    for (Thread &thread : threads) {
        ASSERT_TRUE(start_thread(&thread, body, &rounds));
        ASSERT_NE(thread.handle, 0u);
    }
    for (Thread &thread : threads) {
        EXPECT_TRUE(join_thread(&thread));
        EXPECT_EQ(thread.handle, 0u);
        EXPECT_FALSE(join_thread(&thread)) << "joined once already";
    }
}

TEST(Threads, SpinLockLosesNoCount) {
    ASSERT_EQ(create_spin_lock(&counter_lock), 0);
    plain_counter = 0;
    run_four(count_under_spin_lock, 20000);
    EXPECT_EQ(plain_counter, 80000);
    destroy_spin_lock(&counter_lock);
}

TEST(Threads, MutexLosesNoCount) {
    ASSERT_EQ(create_mutex(&counter_mutex), 0);
    plain_counter = 0;
    run_four(count_under_mutex, 20000);
    EXPECT_EQ(plain_counter, 80000);
    destroy_mutex(&counter_mutex);
    EXPECT_EQ(counter_mutex.handle, nullptr);
    destroy_mutex(&counter_mutex);  // once more is harmless
}

static std::atomic<int> detached_ran;

static void set_flag(int *value) { detached_ran.store(*value); }

TEST(Threads, DetachedThreadRunsOn) {
    static int value = 7;
    Thread thread;
    ASSERT_TRUE(start_thread(&thread, set_flag, &value));
    EXPECT_TRUE(detach_thread(&thread));
    EXPECT_FALSE(detach_thread(&thread));
    for (int i = 0; i < 5000 && detached_ran.load() == 0; i++) sleep_milliseconds(1);
    EXPECT_EQ(detached_ran.load(), 7);
}

// Touches 6 MB of stack, which a search of full depth may take.
static void use_stack(int *sum) {
    volatile char frame[6 << 20];
    for (std::size_t i = 0; i < sizeof frame; i += 4096) frame[i] = 1;
    *sum = frame[0] + frame[4096];
}

TEST(Threads, StackIsLarge) {
    int sum = 0;
    Thread thread;
    ASSERT_TRUE(start_thread(&thread, use_stack, &sum));
    ASSERT_TRUE(join_thread(&thread));
    EXPECT_EQ(sum, 2);
}

TEST(Clock, GoesForwardWhileSleeping) {
    const ClockReading reading = read_clock();
    EXPECT_GE(reading.nanoseconds, 0);
    EXPECT_LT(reading.nanoseconds, 1000000000);
    const double start = clock_seconds();
    sleep_milliseconds(20);
    const double slept = clock_seconds() - start;
    EXPECT_GE(slept, 0.019);
    EXPECT_LT(slept, 5.0);
    sleep_milliseconds(0);
    sleep_milliseconds(-5);  // as 0
    EXPECT_LT(clock_seconds() - start, 5.0);
    EXPECT_GT(calendar_seconds(), 1600000000u);
}
