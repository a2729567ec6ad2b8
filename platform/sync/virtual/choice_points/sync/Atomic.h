// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "sync/Clock.h"

namespace KVT {

/**
 * In place of the ordinary Atomic where schedules are searched: every access is a point at which
 * the turn may pass to another thread, like that of a lock.
 */
template <typename T>
class Atomic {
  public:
    constexpr Atomic(T value) : mValue(value) {}
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    T load(std::memory_order order = std::memory_order_seq_cst) const { return here().load(order); }
    void store(T value, std::memory_order order = std::memory_order_seq_cst) {
        here().store(value, order);
    }
    operator T() const { return load(); }
    T operator=(T value) { return here() = value; }
    T operator++() { return ++here(); }
    T operator--() { return --here(); }

  private:
    const std::atomic<T>& here() const {
        SleepFor(0);
        return mValue;
    }
    std::atomic<T>& here() {
        SleepFor(0);
        return mValue;
    }

    std::atomic<T> mValue;
};

}  // namespace KVT
