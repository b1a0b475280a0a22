// Relaxed<T>: one aligned word that several threads read and write without a lock. It reads and
// assigns like a plain T; every access is an atomic load or store of relaxed order, which costs
// what a plain move costs. `+=` is a load, an addition and a store: it is meant for words with one
// writer (a thread's own counters), and loses counts where two threads add.
#pragma once

#include <atomic>

template <typename T>
struct Relaxed {
    std::atomic<T> word{};

    Relaxed() = default;
    Relaxed(T value) : word(value) {}
    Relaxed(const Relaxed &other) : word(other.word.load(std::memory_order_relaxed)) {}

    operator T() const { return word.load(std::memory_order_relaxed); }
    T operator=(T value) {
        word.store(value, std::memory_order_relaxed);
        return value;
    }
    Relaxed &operator=(const Relaxed &other) {
        word.store(other.word.load(std::memory_order_relaxed), std::memory_order_relaxed);
        return *this;
    }
    T operator+=(T value) {
        const T sum = static_cast<T>(word.load(std::memory_order_relaxed) + value);
        word.store(sum, std::memory_order_relaxed);
        return sum;
    }
};
