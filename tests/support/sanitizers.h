// Which sanitizer the tests were built with. GCC defines macros, clang answers a question.
#pragma once

#include "gtest/gtest.h"

#if defined(__has_feature)
#define TARN_HAS_FEATURE(name) __has_feature(name)
#else
#define TARN_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || TARN_HAS_FEATURE(address_sanitizer)
constexpr bool ADDRESS_SANITIZER = true;
#else
constexpr bool ADDRESS_SANITIZER = false;
#endif
#if defined(__SANITIZE_THREAD__) || TARN_HAS_FEATURE(thread_sanitizer)
constexpr bool THREAD_SANITIZER = true;
#else
constexpr bool THREAD_SANITIZER = false;
#endif
constexpr bool UNDER_SANITIZER = ADDRESS_SANITIZER || THREAD_SANITIZER;

#define SKIP_MEMORY_LIMIT_UNDER_SANITIZERS() \
    if (UNDER_SANITIZER) GTEST_SKIP() << "sanitizers need more address space than any limit leaves"

// For long tests of code that runs in one thread.
#define SKIP_UNDER_THREAD_SANITIZER() \
    if (THREAD_SANITIZER) GTEST_SKIP() << "long, and has one thread: nothing for the thread sanitizer to find"

// For long tests of what shorter ones run as well.
#define SKIP_UNDER_SANITIZERS() \
    if (UNDER_SANITIZER) GTEST_SKIP() << "long, and shorter tests run the same code"
