// SPDX-License-Identifier: Apache-2.0
#include "sync/virtual/VirtualTime.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sync/Condition.h"
#include "sync/Worker.h"
#include "sync/virtual/Unseen.h"

namespace KVT {
namespace {

constexpr int64_t kStartNs = VirtualTime::Options{}.startNs;

class InVirtualTime : public testing::Test {
  protected:
    InVirtualTime() { VirtualTime::Enter({}); }

    /** Notes what a thread has done, and how long after the start. */
    void add(const std::string& step) {
        MutexLock lock(mTraceMutex);
        mTrace += step + "@" + std::to_string(MonotonicNow() - kStartNs) + " ";
    }
    std::string trace() {
        MutexLock lock(mTraceMutex);
        return mTrace;
    }

    /** Notes its name after each of these sleeps. */
    VirtualThread sleeper(const char* name, std::vector<int64_t> sleeps) {
        return VirtualThread(name, [this, name, sleeps = std::move(sleeps)] {
            for (const int64_t ns : sleeps) {
                SleepFor(ns);
                add(name);
            }
        });
    }

    Mutex mMutex;
    Condition mCondition;

  private:
    Mutex mTraceMutex;
    std::string mTrace GUARDED_BY(mTraceMutex);
};
using VirtualClock = InVirtualTime;
using VirtualCondition = InVirtualTime;
using VirtualWorker = InVirtualTime;

TEST_F(VirtualClock, JumpsFromDeadlineToDeadlineInTheOrderOfTheirWaits) {
    VirtualThread late = sleeper("late", {3600 * kNsPerS});
    VirtualThread a = sleeper("a", {30});
    VirtualThread b = sleeper("b", {10, 20});
    VirtualThread c = sleeper("c", {30});
    late.Join();
    SleepFor(0);
    SleepFor(-1);
    EXPECT_EQ(MonotonicNow(), kStartNs + 3600 * kNsPerS);
    EXPECT_EQ(BootTimeNow(), MonotonicNow());
    EXPECT_EQ(trace(), "b@10 a@30 c@30 b@30 late@3600000000000 ");
}

/** At the deadline the waiter is due first, but the signaller still holds the lock. */
TEST_F(VirtualCondition, CountsASignalAtTheDeadlineAsAnEvent) {
    VirtualThread signaller("signaller", [this] {
        SleepFor(5);
        MutexLock lock(mMutex);
        SleepFor(5);
        mCondition.signal();
    });
    MutexLock lock(mMutex);
    EXPECT_TRUE(mCondition.waitUntil(mMutex, kStartNs + 10));
    EXPECT_EQ(MonotonicNow(), kStartNs + 10);
}

TEST_F(VirtualWorker, TakesItsPlaceByAnnouncement) {
    WorkerScope::Announce("first");
    WorkerScope::Announce("nobody");
    WorkerScope::Announce("second");
    const auto work = [this](const char* name) {
        return [this, name] {
            WorkerScope scope(name);
            add(name);
        };
    };
    std::thread second(work("second"));
    std::thread first(work("first"));
    WorkerScope::Withdraw("nobody");
    for (const char* name : {"second", "first", "nobody"}) {
        WorkerScope::AwaitEnd(name);
    }
    EXPECT_EQ(trace(), "first@0 second@0 ");
    first.join();
    second.join();
}

TEST(VirtualOutsider, SharesLocksWithParticipants) {
    Mutex mutex;
    Condition toOutsider;
    Condition toParticipant;
    std::thread outsider([&] {
        MutexLock lock(mutex);
        toOutsider.wait(mutex);
        toParticipant.signal();
    });
    VirtualTime::Enter({});
    {
        MutexLock lock(mutex);
        toOutsider.signal();
    }
    OutsideScope outside;
    MutexLock lock(mutex);
    toParticipant.wait(mutex);
    outsider.join();
}

uint64_t DigestOfThreeThreads() {
    Mutex mutex;
    Condition condition;
    std::vector<std::unique_ptr<VirtualThread>> threads;
    for (const char* name : {"a", "b", "c"}) {
        threads.push_back(std::make_unique<VirtualThread>(name, [&] {
            for (int step = 0; step < 20; ++step) {
                MutexLock lock(mutex);
                condition.signal();
                (void)condition.waitUntil(mutex, MonotonicNow() + step % 3);
            }
        }));
    }
    threads.clear();
    return VirtualTime::Digest();
}

/** In a process of its own. */
uint64_t DigestOf(std::optional<uint64_t> seed) {
    uint64_t digest = 0;
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        VirtualTime::Enter({seed});
        digest = DigestOfThreeThreads();
        _exit(write(ends[1], &digest, sizeof(digest)) == sizeof(digest) ? 0 : 1);
    }
    close(ends[1]);
    EXPECT_EQ(read(ends[0], &digest, sizeof(digest)), static_cast<ssize_t>(sizeof(digest)));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return digest;
}

TEST(VirtualSchedule, IsRepeatableAndDiffersBySeed) {
    std::set<uint64_t> digests;
    for (uint64_t i = 0; i <= 20; ++i) {
        const auto seed = i == 0 ? std::nullopt : std::optional(i);
        const uint64_t digest = DigestOf(seed);
        EXPECT_EQ(DigestOf(seed), digest) << "seed " << i;
        digests.insert(digest);
    }
    EXPECT_EQ(digests.size(), 21u);
}

void LockUp(const std::function<void(Mutex& first, Mutex& second)>& threads) {
    VirtualTime::Enter({});
    Mutex first;
    Mutex second;
    threads(first, second);
}

TEST(VirtualDeadlockDeathTest, NamesEveryThreadAndWhatItWaitsFor) {
    const auto deadlock = [](Mutex& mutex, Mutex& other) {
        Condition condition;
        VirtualThread holder("holder", [&] {
            MutexLock lock(mutex);
            MutexLock otherLock(other);
            condition.wait(other);
        });
        VirtualThread blocked("blocked", [&] { MutexLock lock(mutex); });
        blocked.Join();
    };
    EXPECT_DEATH(LockUp(deadlock),
                 "deadlock at 1000000000000 ns: every thread waits, none has a deadline\n"
                 "  \"main\" waits for the end of \"blocked\"\n"
                 "  \"holder\" waits for condition 0x[0-9a-f]+\n"
                 "  \"blocked\" waits for mutex 0x[0-9a-f]+, held by \"holder\"\n");
}

TEST(VirtualDeadlockDeathTest, FindsThreadsThatWaitForEachOtherAsideOfASleeper) {
    const auto deadlock = [](Mutex& first, Mutex& second) {
        // Somebody with a deadline is always about, as the reporter of the panel's rate is.
        VirtualThread sleeper("sleeper", [] {
            for (int i = 0; i < 3600; ++i) {
                SleepFor(kNsPerS);
            }
        });
        const auto nested = [](Mutex& outer, Mutex& inner) {
            return [&] {
                MutexLock outerLock(outer);
                SleepFor(1);
                MutexLock innerLock(inner);
            };
        };
        VirtualThread a("a", nested(first, second));
        VirtualThread b("b", nested(second, first));
    };
    EXPECT_DEATH(LockUp(deadlock),
                 "deadlock at 1000000000001 ns: threads wait for each other\n"
                 "  \"b\" waits for mutex 0x[0-9a-f]+, held by \"a\"\n"
                 "  \"a\" waits for mutex 0x[0-9a-f]+, held by \"b\"\n");
}

TEST(VirtualDeadlockDeathTest, FindsAThreadThatJoinsUnderALockThatItNeeds) {
    const auto deadlock = [](Mutex& mutex, Mutex&) {
        VirtualThread sleeper("sleeper", [] { SleepFor(3600 * kNsPerS); });
        MutexLock lock(mutex);
        VirtualThread blocked("blocked", [&] { MutexLock again(mutex); });
        blocked.Join();
    };
    EXPECT_DEATH(LockUp(deadlock),
                 "deadlock at 1000000000000 ns: threads wait for each other\n"
                 "  \"blocked\" waits for mutex 0x[0-9a-f]+, held by \"main\"\n"
                 "  \"main\" waits for the end of \"blocked\"\n");
}

#ifdef KVT_THREAD_SANITIZER
/** One thread at a time or not: without a lock between them it is a race, and is seen as one. */
TEST(VirtualRaceDeathTest, IsSeenByThreadSanitizer) {
    const auto race = [] {
        VirtualTime::Enter({});
        int counter = 0;
        const auto add = [&] {
            SleepFor(1);
            ++counter;
            SleepFor(1);
        };
        VirtualThread a("a", add);
        VirtualThread b("b", add);
        a.Join();
        b.Join();
        exit(0);
    };
    EXPECT_EXIT(race(), testing::ExitedWithCode(66), "data race");
}
#endif

}  // namespace
}  // namespace KVT
