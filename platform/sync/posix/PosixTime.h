// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

#include <cerrno>
#include <ctime>

#include "sync/Clock.h"

namespace KVT::posix {

inline timespec ToTimespec(int64_t ns) {
    return {static_cast<time_t>(ns / kNsPerS), static_cast<long>(ns % kNsPerS)};
}

inline int64_t ReadClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * kNsPerS + now.tv_nsec;
}

inline void Sleep(int64_t ns) {
    if (ns <= 0) {
        return;
    }
    timespec remaining = ToTimespec(ns);
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &remaining, &remaining) == EINTR) {
    }
}

inline void InitMonotonic(pthread_cond_t& condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

inline void Wait(pthread_cond_t& condition, pthread_mutex_t& mutex, const bool& pending) {
    while (!pending) {
        pthread_cond_wait(&condition, &mutex);
    }
}

/** Waits for `pending` until the deadline (nanoseconds of CLOCK_MONOTONIC) at most. */
inline void WaitUntil(pthread_cond_t& condition, pthread_mutex_t& mutex, const bool& pending,
                      int64_t deadlineNs) {
    const timespec deadline = ToTimespec(deadlineNs > 0 ? deadlineNs : 0);
    while (!pending) {
        if (pthread_cond_timedwait(&condition, &mutex, &deadline) == ETIMEDOUT) {
            break;
        }
    }
}

}  // namespace KVT::posix
