// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "sync/Clock.h"
#include "sync/Condition.h"

namespace KVT {
namespace {

class PosixCondition : public testing::Test {
  protected:
    Mutex mMutex;
    Condition mCondition;
};

TEST_F(PosixCondition, RemembersASignalUntilAWaitConsumesIt) {
    MutexLock lock(mMutex);
    mCondition.signal();
    mCondition.signal();
    EXPECT_TRUE(mCondition.waitUntil(mMutex, 0));
    EXPECT_FALSE(mCondition.waitUntil(mMutex, 0)) << "two signals before a wait count as one";
    mCondition.signal();
    mCondition.wait(mMutex);
    EXPECT_FALSE(mCondition.waitUntil(mMutex, 0));
    mCondition.signal();
    mCondition.clear();
    EXPECT_FALSE(mCondition.waitUntil(mMutex, 0));
}

TEST_F(PosixCondition, EndsEveryWaitOnceItIsClosed) {
    MutexLock lock(mMutex);
    mCondition.close();
    mCondition.clear();
    mCondition.wait(mMutex);
    EXPECT_TRUE(mCondition.waitUntil(mMutex, 0));
    mCondition.wait(mMutex);
}

TEST_F(PosixCondition, TimesOutOnTheMonotonicClock) {
    MutexLock lock(mMutex);
    const int64_t start = MonotonicNow();
    EXPECT_FALSE(mCondition.waitUntil(mMutex, start + 20 * kNsPerMs));
    EXPECT_GE(MonotonicNow() - start, 20 * kNsPerMs);
}

TEST_F(PosixCondition, WakesAWaiterOnAnotherThread) {
    Condition answer;
    std::thread worker([&] {
        MutexLock lock(mMutex);
        mCondition.wait(mMutex);
        answer.signal();
    });
    {
        MutexLock lock(mMutex);
        EXPECT_FALSE(answer.waitUntil(mMutex, MonotonicNow() + 20 * kNsPerMs));
        mCondition.signal();
        EXPECT_TRUE(answer.waitUntil(mMutex, MonotonicNow() + 10 * kNsPerS));
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
