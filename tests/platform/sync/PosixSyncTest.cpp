// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "sync/Clock.h"
#include "sync/Condition.h"

namespace KVT {
namespace {

TEST(PosixCondition, RemembersASignalUntilAWaitConsumesIt) {
    Mutex mutex;
    Condition condition;
    MutexLock lock(mutex);
    condition.signal();
    condition.signal();
    EXPECT_TRUE(condition.waitUntil(mutex, 0));
    EXPECT_FALSE(condition.waitUntil(mutex, 0)) << "two signals before a wait count as one";
    condition.signal();
    condition.clear();
    EXPECT_FALSE(condition.waitUntil(mutex, 0));
}

TEST(PosixCondition, EndsEveryWaitOnceItIsClosed) {
    Mutex mutex;
    Condition condition;
    MutexLock lock(mutex);
    condition.close();
    condition.clear();
    condition.wait(mutex);
    EXPECT_TRUE(condition.waitUntil(mutex, 0));
    condition.wait(mutex);
}

TEST(PosixCondition, TimesOutOnTheMonotonicClock) {
    Mutex mutex;
    Condition condition;
    MutexLock lock(mutex);
    const int64_t start = MonotonicNow();
    EXPECT_FALSE(condition.waitUntil(mutex, start + 20 * kNsPerMs));
    EXPECT_GE(MonotonicNow() - start, 20 * kNsPerMs);
}

TEST(PosixCondition, WakesAWaiterOnAnotherThread) {
    Mutex mutex;
    Condition request;
    Condition answer;
    std::thread worker([&] {
        MutexLock lock(mutex);
        request.wait(mutex);
        answer.signal();
    });
    {
        MutexLock lock(mutex);
        request.signal();
        EXPECT_TRUE(answer.waitUntil(mutex, MonotonicNow() + 10 * kNsPerS));
    }
    worker.join();
}

TEST(PosixClock, SleepsAtLeastAsLongAsAsked) {
    const int64_t start = MonotonicNow();
    SleepFor(0);
    SleepFor(-1);
    SleepFor(5 * kNsPerMs);
    EXPECT_GE(MonotonicNow() - start, 5 * kNsPerMs);
    EXPECT_GE(BootTimeNow(), MonotonicNow() - kNsPerS);
}

}  // namespace
}  // namespace KVT
