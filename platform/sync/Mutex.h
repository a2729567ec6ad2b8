// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/thread_annotations.h>
#include <pthread.h>

namespace KVT {

/**
 * A non-recursive mutex, known to the compiler's thread-safety analysis.
 *
 * Which implementation it has (POSIX or virtual time) is decided when a program is linked; the
 * layout is the same for both. May be used before main() and from any thread.
 */
class CAPABILITY("mutex") Mutex {
  public:
    constexpr Mutex() = default;
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE();
    void unlock() RELEASE();

  private:
    friend class Condition;

    pthread_mutex_t mNative = PTHREAD_MUTEX_INITIALIZER;
};

/** Holds a Mutex for the length of a scope. */
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lock(); }
    ~MutexLock() RELEASE() { mMutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mMutex;
};

}  // namespace KVT
