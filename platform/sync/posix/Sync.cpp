// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "sync/Clock.h"
#include "sync/Condition.h"
#include "sync/Mutex.h"
#include "sync/Worker.h"
#include "sync/posix/PosixTime.h"

namespace KVT {

Mutex::~Mutex() {
    pthread_mutex_destroy(&mNative);
}

void Mutex::lock() {
    pthread_mutex_lock(&mNative);
}

void Mutex::unlock() {
    pthread_mutex_unlock(&mNative);
}

Condition::Condition() {
    posix::InitMonotonic(mNative);
}

Condition::~Condition() {
    pthread_cond_destroy(&mNative);
}

void Condition::signal() {
    mPending = true;
    pthread_cond_signal(&mNative);
}

void Condition::wait(Mutex& mutex) {
    posix::Wait(mNative, mutex.mNative, mPending);
    mPending = mClosed;
}

bool Condition::waitUntil(Mutex& mutex, int64_t deadlineNs) {
    posix::WaitUntil(mNative, mutex.mNative, mPending, deadlineNs);
    return std::exchange(mPending, mClosed);
}

int64_t MonotonicNow() {
    return posix::ReadClock(CLOCK_MONOTONIC);
}

int64_t BootTimeNow() {
    return posix::ReadClock(CLOCK_BOOTTIME);
}

void SleepFor(int64_t ns) {
    posix::Sleep(ns);
}

void WorkerScope::Announce(const char*) {}
void WorkerScope::Withdraw(const char*) {}
void WorkerScope::AwaitEnd(const char*) {}
WorkerScope::WorkerScope(const char*) {}
WorkerScope::~WorkerScope() = default;
OutsideScope::OutsideScope() = default;
OutsideScope::~OutsideScope() = default;

}  // namespace KVT
