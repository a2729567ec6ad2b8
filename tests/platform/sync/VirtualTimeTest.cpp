// SPDX-License-Identifier: Apache-2.0
#include "sync/virtual/VirtualTime.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sync/Condition.h"
#include "sync/Worker.h"
#include "sync/virtual/Unseen.h"

namespace KVT {
namespace {

constexpr int64_t kStartNs = VirtualTime::Options{}.startNs;

/** Runs `body` in a process of its own, by its seed or without one. @return what it returns */
template <typename Body>
auto InChild(std::optional<uint64_t> seed, const Body& body) {
    decltype(body()) result{};
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        VirtualTime::Enter({seed});
        result = body();
        _exit(write(ends[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1);
    }
    close(ends[1]);
    EXPECT_EQ(read(ends[0], &result, sizeof(result)), static_cast<ssize_t>(sizeof(result)));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return result;
}

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
using VirtualMutex = InVirtualTime;
using VirtualWorker = InVirtualTime;

TEST_F(VirtualClock, JumpsToTheEarliestDeadline) {
    EXPECT_EQ(MonotonicNow(), kStartNs);
    EXPECT_EQ(BootTimeNow(), kStartNs);
    VirtualThread late = sleeper("late", {3600 * kNsPerS});
    VirtualThread early = sleeper("early", {5});
    late.Join();
    EXPECT_EQ(MonotonicNow(), kStartNs + 3600 * kNsPerS);
    SleepFor(0);
    SleepFor(-1);
    EXPECT_EQ(MonotonicNow(), kStartNs + 3600 * kNsPerS);
    EXPECT_EQ(trace(), "early@5 late@3600000000000 ");
}

TEST_F(VirtualClock, ServesEqualDeadlinesInTheOrderOfTheirWaits) {
    VirtualThread a = sleeper("a", {30});
    VirtualThread b = sleeper("b", {10, 20});
    VirtualThread c = sleeper("c", {30});
    SleepFor(100);
    EXPECT_EQ(trace(), "b@10 a@30 c@30 b@30 ");
}

TEST_F(VirtualClock, SettlesTheOthersWithoutPassingTime) {
    VirtualThread worker = sleeper("worker", {0, 0, 0, 1});
    VirtualTime::Settle();
    EXPECT_EQ(trace(), "worker@0 worker@0 worker@0 ");
    EXPECT_EQ(MonotonicNow(), kStartNs);
    SleepFor(2);
    EXPECT_EQ(trace(), "worker@0 worker@0 worker@0 worker@1 ");
}

TEST_F(VirtualMutex, PassesOnToTheThreadThatWaitsLongest) {
    const auto work = [this](const char* name) {
        return [this, name] {
            for (int turn = 0; turn < 3; ++turn) {
                MutexLock lock(mMutex);
                add(name);
                SleepFor(1);
            }
        };
    };
    VirtualThread a("a", work("a"));
    VirtualThread b("b", work("b"));
    a.Join();
    b.Join();
    EXPECT_EQ(trace(), "a@0 b@1 a@2 b@3 a@4 b@5 ");
}

TEST_F(VirtualCondition, RemembersSignalsAndTimesOutToTheNanosecond) {
    {
        MutexLock lock(mMutex);
        mCondition.signal();
        mCondition.signal();
        EXPECT_TRUE(mCondition.waitUntil(mMutex, 0));
        EXPECT_FALSE(mCondition.waitUntil(mMutex, 0)) << "two signals before a wait count as one";
        EXPECT_EQ(MonotonicNow(), kStartNs);
        EXPECT_FALSE(mCondition.waitUntil(mMutex, kStartNs + 200));
        EXPECT_EQ(MonotonicNow(), kStartNs + 200);
    }
    VirtualThread signaller("signaller", [this] {
        SleepFor(7);
        MutexLock lock(mMutex);
        mCondition.signal();
    });
    MutexLock lock(mMutex);
    EXPECT_TRUE(mCondition.waitUntil(mMutex, MonotonicNow() + kNsPerS));
    EXPECT_EQ(MonotonicNow(), kStartNs + 207);
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

TEST_F(VirtualWorker, MayBlockOutside) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    VirtualThread writer("writer", [&] {
        SleepFor(kNsPerS);
        EXPECT_EQ(write(ends[1], "x", 1), 1);
        SleepFor(kNsPerS);
    });
    char byte = 0;
    {
        OutsideScope outside;
        OutsideScope nested;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
    }
    writer.Join();
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(MonotonicNow(), kStartNs + 2 * kNsPerS);
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

/** A thread looks twice; how far does another get in between with work of many steps? */
int StepsBetweenTwoLooks() {
    Mutex mutex;
    int steps = 0;
    const auto look = [&] {
        MutexLock lock(mutex);
        return steps;
    };
    VirtualThread worker("worker", [&] {
        for (int step = 0; step < 60; ++step) {
            MutexLock lock(mutex);
            ++steps;
            if (step == 30) {
                SleepFor(16 * kNsPerMs);
            }
        }
    });
    const int before = look();
    return look() - before;
}

TEST(VirtualSchedule, SeedsHoldOneThreadBackWhileAnotherGetsAllItsWorkDone) {
    std::set<int> results;
    for (uint64_t seed = 0; seed < 1000 && results.count(60) == 0; ++seed) {
        results.insert(InChild(seed, StepsBetweenTwoLooks));
    }
    EXPECT_EQ(results.count(60), 1u);
    EXPECT_EQ(results.count(1), 1u) << "and yet step by step";
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

TEST(VirtualSchedule, IsRepeatableAndDiffersBySeed) {
    std::set<uint64_t> digests;
    for (uint64_t i = 0; i <= 20; ++i) {
        const auto seed = i == 0 ? std::nullopt : std::optional(i);
        const uint64_t digest = InChild(seed, DigestOfThreeThreads);
        EXPECT_EQ(InChild(seed, DigestOfThreeThreads), digest) << "seed " << i;
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
    const auto opposite = [](Mutex& first, Mutex& second) {
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
    const auto joined = [](Mutex& first, Mutex&) {
        MutexLock lock(first);
        VirtualThread blocked("blocked", [&] { MutexLock again(first); });
        blocked.Join();
    };
    const auto twice = [](Mutex& first, Mutex&) NO_THREAD_SAFETY_ANALYSIS {
        first.lock();
        first.lock();
    };
    const struct {
        std::function<void(Mutex&, Mutex&)> threads;
        const char* report;
    } cases[] = {
        {opposite,
         "deadlock at 1000000000001 ns: threads wait for each other\n"
         "  \"b\" waits for mutex 0x[0-9a-f]+, held by \"a\"\n"
         "  \"a\" waits for mutex 0x[0-9a-f]+, held by \"b\"\n"},
        {joined,
         "threads wait for each other\n"
         "  \"blocked\" waits for mutex 0x[0-9a-f]+, held by \"main\"\n"
         "  \"main\" waits for the end of \"blocked\"\n"},
        {twice, "\"main\" waits for mutex 0x[0-9a-f]+, held by \"main\"\n"},
    };
    for (const auto& row : cases) {
        const auto asideOfASleeper = [&](Mutex& first, Mutex& second) {
            // Somebody with a deadline is always about, as the reporter of the panel's rate is.
            VirtualThread sleeper("sleeper", [] {
                for (int i = 0; i < 3600; ++i) {
                    SleepFor(kNsPerS);
                }
            });
            row.threads(first, second);
        };
        EXPECT_DEATH(LockUp(asideOfASleeper), row.report);
    }
}

#ifdef KVT_THREAD_SANITIZER
/** One thread at a time or not: without a lock between them it is a race, and is seen as one. */
TEST(VirtualRaceDeathTest, IsSeenByThreadSanitizer) {
    const auto race = [](bool locked) {
        VirtualTime::Enter({});
        Mutex mutex;
        int counter = 0;
        const auto add = [&] {
            SleepFor(1);
            if (locked) {
                mutex.lock();
            }
            ++counter;
            if (locked) {
                mutex.unlock();
            }
            SleepFor(1);
        };
        VirtualThread a("a", add);
        VirtualThread b("b", add);
        a.Join();
        b.Join();
        exit(counter == 2 ? 0 : 1);
    };
    EXPECT_EXIT(race(true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(race(false), testing::ExitedWithCode(66), "data race");
}
#endif

}  // namespace
}  // namespace KVT
