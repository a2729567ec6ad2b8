// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "sync/Clock.h"
#include "sync/Condition.h"
#include "sync/Mutex.h"
#include "sync/Worker.h"
#include "sync/posix/PosixTime.h"
#include "sync/virtual/Scheduler.h"

// A participant takes a mutex from the scheduler first and then for real, which never blocks on
// another participant: it excludes the threads that do not take part, and it is what
// ThreadSanitizer sees.

namespace KVT {

using virtualtime::kNever;
using virtualtime::Scheduler;

Mutex::~Mutex() {
    pthread_mutex_destroy(&mNative);
}

void Mutex::lock() {
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->Acquire(this);
    }
    pthread_mutex_lock(&mNative);
}

void Mutex::unlock() {
    pthread_mutex_unlock(&mNative);
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Release(this);
    }
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
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Signal(this);
    }
}

void Condition::wait(Mutex& mutex) {
    (void)waitUntil(mutex, kNever);
}

bool Condition::waitUntil(Mutex& mutex, int64_t deadlineNs) {
    Scheduler* scheduler = Scheduler::OfThisThread();
    if (scheduler != nullptr) {
        while (!mPending) {
            scheduler->BeginWait(this, &mutex, deadlineNs);
            pthread_mutex_unlock(&mutex.mNative);
            scheduler->FinishWait();
            scheduler->Acquire(&mutex);
            pthread_mutex_lock(&mutex.mNative);
            if (scheduler->Now() >= deadlineNs) {
                break;
            }
        }
    } else if (deadlineNs == kNever) {
        posix::Wait(mNative, mutex.mNative, mPending);
    } else {
        const int64_t remainingNs = deadlineNs - MonotonicNow();
        posix::WaitUntil(mNative, mutex.mNative, mPending,
                         posix::ReadClock(CLOCK_MONOTONIC) + remainingNs);
    }
    return std::exchange(mPending, mClosed);
}

int64_t MonotonicNow() {
    Scheduler* scheduler = Scheduler::Active();
    return scheduler != nullptr ? scheduler->Now() : posix::ReadClock(CLOCK_MONOTONIC);
}

int64_t BootTimeNow() {
    Scheduler* scheduler = Scheduler::Active();
    return scheduler != nullptr ? scheduler->BootTime() : posix::ReadClock(CLOCK_BOOTTIME);
}

void SleepFor(int64_t ns) {
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->Sleep(ns);
    } else {
        posix::Sleep(ns);
    }
}

void WorkerScope::Announce(const char* name) {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Announce(name);
    }
}

void WorkerScope::Withdraw(const char* name) {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Withdraw(name);
    }
}

void WorkerScope::AwaitEnd(const char* name) {
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->AwaitEnd(name);
    }
}

WorkerScope::WorkerScope(const char* name) {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Arrive(name);
    }
}

WorkerScope::~WorkerScope() {
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->Leave();
    }
}

OutsideScope::OutsideScope() {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->GoOutside();
    }
}

OutsideScope::~OutsideScope() {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->ComeBack();
    }
}

}  // namespace KVT
