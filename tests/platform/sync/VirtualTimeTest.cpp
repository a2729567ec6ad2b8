// SPDX-License-Identifier: Apache-2.0
#include "sync/virtual/VirtualTime.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "sync/Condition.h"
#include "sync/Worker.h"
#include "sync/virtual/Unseen.h"

namespace KVT {
namespace {

constexpr int64_t kStartNs = VirtualTime::Options{}.startNs;

void EnterWithoutSeed() {
    VirtualTime::Enter({});
}

/** What several threads did, in order. */
class Trace {
  public:
    void add(const std::string& step) {
        MutexLock lock(mMutex);
        mSteps += step;
    }
    std::string steps() {
        MutexLock lock(mMutex);
        return mSteps;
    }

  private:
    Mutex mMutex;
    std::string mSteps GUARDED_BY(mMutex);
};

/** Runs `body` in a process of its own. @return its exit status, -1 when a signal ended it */
int InChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(VirtualClock, JumpsToTheEarliestDeadline) {
    EnterWithoutSeed();
    EXPECT_EQ(MonotonicNow(), kStartNs);
    EXPECT_EQ(BootTimeNow(), kStartNs);
    Trace trace;
    VirtualThread late("late", [&] {
        SleepFor(3600 * kNsPerS);
        trace.add("late");
    });
    VirtualThread early("early", [&] {
        SleepFor(5);
        trace.add("early ");
        EXPECT_EQ(MonotonicNow(), kStartNs + 5);
    });
    late.Join();
    EXPECT_EQ(MonotonicNow(), kStartNs + 3600 * kNsPerS);
    SleepFor(0);
    SleepFor(-1);
    EXPECT_EQ(MonotonicNow(), kStartNs + 3600 * kNsPerS);
    EXPECT_EQ(trace.steps(), "early late");
}

TEST(VirtualClock, ServesEqualDeadlinesInTheOrderOfTheirWaits) {
    EnterWithoutSeed();
    Trace trace;
    VirtualThread a("a", [&] {
        SleepFor(30);
        trace.add("a");
    });
    VirtualThread b("b", [&] {
        SleepFor(10);
        trace.add("b");
        SleepFor(20);
        trace.add("B");
    });
    VirtualThread c("c", [&] {
        SleepFor(30);
        trace.add("c");
    });
    SleepFor(100);
    EXPECT_EQ(trace.steps(), "bacB");
}

TEST(VirtualClock, SettlesTheOthersWithoutPassingTime) {
    EnterWithoutSeed();
    Trace trace;
    VirtualThread worker("worker", [&] {
        for (int step = 0; step < 3; ++step) {
            trace.add("a");
            SleepFor(0);
        }
        SleepFor(1);
        trace.add("b");
    });
    VirtualTime::Settle();
    EXPECT_EQ(trace.steps(), "aaa");
    EXPECT_EQ(MonotonicNow(), kStartNs);
    SleepFor(2);
    EXPECT_EQ(trace.steps(), "aaab");
}

TEST(VirtualMutex, PassesOnToTheThreadThatWaitsLongest) {
    EnterWithoutSeed();
    Mutex mutex;
    std::string order;
    const auto work = [&](char name) {
        return [&mutex, &order, name] {
            for (int turn = 0; turn < 3; ++turn) {
                MutexLock lock(mutex);
                order += name;
                SleepFor(1);
            }
        };
    };
    VirtualThread a("a", work('a'));
    VirtualThread b("b", work('b'));
    a.Join();
    b.Join();
    EXPECT_EQ(order, "ababab");
}

TEST(VirtualCondition, RemembersSignalsAndTimesOutToTheNanosecond) {
    EnterWithoutSeed();
    Mutex mutex;
    Condition condition;
    {
        MutexLock lock(mutex);
        condition.signal();
        condition.signal();
        EXPECT_TRUE(condition.waitUntil(mutex, 0));
        EXPECT_FALSE(condition.waitUntil(mutex, 0)) << "two signals before a wait count as one";
        EXPECT_EQ(MonotonicNow(), kStartNs);
        EXPECT_FALSE(condition.waitUntil(mutex, kStartNs + 200 * kNsPerMs));
        EXPECT_EQ(MonotonicNow(), kStartNs + 200 * kNsPerMs);
    }
    VirtualThread signaller("signaller", [&] {
        SleepFor(7);
        MutexLock lock(mutex);
        condition.signal();
    });
    MutexLock lock(mutex);
    EXPECT_TRUE(condition.waitUntil(mutex, MonotonicNow() + kNsPerS));
    EXPECT_EQ(MonotonicNow(), kStartNs + 200 * kNsPerMs + 7);
}

/** At the deadline the waiter is due first, but the signaller still holds the lock. */
TEST(VirtualCondition, CountsASignalAtTheDeadlineAsAnEvent) {
    EnterWithoutSeed();
    Mutex mutex;
    Condition condition;
    VirtualThread signaller("signaller", [&] {
        SleepFor(5);
        MutexLock lock(mutex);
        SleepFor(5);
        condition.signal();
    });
    MutexLock lock(mutex);
    EXPECT_TRUE(condition.waitUntil(mutex, kStartNs + 10));
    EXPECT_EQ(MonotonicNow(), kStartNs + 10);
}

TEST(VirtualWorker, TakesItsPlaceByAnnouncement) {
    EnterWithoutSeed();
    Trace trace;
    WorkerScope::Announce("first");
    WorkerScope::Announce("nobody");
    WorkerScope::Announce("second");
    const auto work = [&trace](const char* name) {
        return [&trace, name] {
            WorkerScope scope(name);
            trace.add(name);
        };
    };
    std::thread second(work("second"));
    std::thread first(work("first"));
    WorkerScope::Withdraw("nobody");
    WorkerScope::AwaitEnd("second");
    WorkerScope::AwaitEnd("first");
    WorkerScope::AwaitEnd("nobody");
    EXPECT_EQ(trace.steps(), "firstsecond");
    first.join();
    second.join();
}

TEST(VirtualWorker, MayBlockOutside) {
    EnterWithoutSeed();
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

TEST(VirtualWorker, SharesLocksWithThreadsThatDoNotTakePart) {
    Mutex mutex;
    Condition toOutsider;
    Condition toParticipant;
    std::thread outsider([&] {
        MutexLock lock(mutex);
        toOutsider.wait(mutex);
        toParticipant.signal();
    });
    EnterWithoutSeed();
    {
        MutexLock lock(mutex);
        toOutsider.signal();
    }
    OutsideScope outside;
    MutexLock lock(mutex);
    toParticipant.wait(mutex);
    outsider.join();
}

/** Two threads read, add and write a counter under a lock that they let go in between. */
int UpdatesAfterRace(uint64_t seed) {
    VirtualTime::Enter({seed});
    Mutex mutex;
    int counter = 0;
    const auto add = [&] {
        int seen = 0;
        {
            MutexLock lock(mutex);
            seen = counter;
        }
        MutexLock lock(mutex);
        counter = seen + 1;
    };
    VirtualThread a("a", add);
    VirtualThread b("b", add);
    a.Join();
    b.Join();
    return counter;
}

TEST(VirtualSchedule, SeedsFindAPlantedLostUpdate) {
    std::set<int> results;
    for (uint64_t seed = 0; seed < 50; ++seed) {
        results.insert(InChild([&] { return UpdatesAfterRace(seed); }));
    }
    EXPECT_EQ(results, (std::set<int>{1, 2}));
}

/** A thread looks twice; how far does another get in between with work of many steps? */
int StepsBetweenTwoLooks(uint64_t seed) {
    VirtualTime::Enter({seed});
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
        results.insert(InChild([&] { return StepsBetweenTwoLooks(seed); }));
    }
    EXPECT_EQ(results.count(60), 1u);
    EXPECT_EQ(results.count(1), 1u) << "and yet step by step";
}

uint64_t DigestOf(std::optional<uint64_t> seed) {
    int ends[2];
    if (pipe(ends) != 0) {
        return 0;
    }
    InChild([&] {
        VirtualTime::Enter({seed});
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
        const uint64_t digest = VirtualTime::Digest();
        return write(ends[1], &digest, sizeof(digest)) == sizeof(digest) ? 0 : 1;
    });
    uint64_t digest = 0;
    EXPECT_EQ(read(ends[0], &digest, sizeof(digest)), static_cast<ssize_t>(sizeof(digest)));
    close(ends[0]);
    close(ends[1]);
    return digest;
}

TEST(VirtualSchedule, IsRepeatableAndDiffersBySeed) {
    EXPECT_EQ(DigestOf(std::nullopt), DigestOf(std::nullopt));
    std::set<uint64_t> digests;
    for (uint64_t seed = 0; seed < 20; ++seed) {
        const uint64_t digest = DigestOf(seed);
        EXPECT_EQ(DigestOf(seed), digest) << "seed " << seed;
        digests.insert(digest);
    }
    EXPECT_EQ(digests.size(), 20u);
}

TEST(VirtualDeadlockDeathTest, NamesEveryThreadAndWhatItWaitsFor) {
    const auto deadlock = [] {
        EnterWithoutSeed();
        Mutex mutex;
        Condition condition;
        VirtualThread holder("holder", [&] {
            MutexLock lock(mutex);
            Mutex other;
            MutexLock otherLock(other);
            condition.wait(other);
        });
        VirtualThread blocked("blocked", [&] { MutexLock lock(mutex); });
        blocked.Join();
    };
    EXPECT_DEATH(deadlock(),
                 "deadlock at 1000000000000 ns: every thread waits, none has a deadline\n"
                 "  \"main\" waits for the end of \"blocked\"\n"
                 "  \"holder\" waits for condition 0x[0-9a-f]+\n"
                 "  \"blocked\" waits for mutex 0x[0-9a-f]+, held by \"holder\"\n");
}

/** Somebody with a deadline is always about, as the reporter of the panel's rate is. */
void DeadlockAsideOfASleeper(const std::function<void(Mutex& first, Mutex& second)>& lockUp) {
    EnterWithoutSeed();
    VirtualThread sleeper("sleeper", [] {
        for (int second = 0; second < 3600; ++second) {
            SleepFor(kNsPerS);
        }
    });
    Mutex first;
    Mutex second;
    lockUp(first, second);
}

TEST(VirtualDeadlockDeathTest, FindsThreadsThatWaitForEachOther) {
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
    EXPECT_DEATH(DeadlockAsideOfASleeper(opposite),
                 "deadlock at 1000000000001 ns: threads wait for each other\n"
                 "  \"b\" waits for mutex 0x[0-9a-f]+, held by \"a\"\n"
                 "  \"a\" waits for mutex 0x[0-9a-f]+, held by \"b\"\n");

    const auto joined = [](Mutex& first, Mutex&) {
        MutexLock lock(first);
        VirtualThread blocked("blocked", [&] { MutexLock again(first); });
        blocked.Join();
    };
    EXPECT_DEATH(DeadlockAsideOfASleeper(joined),
                 "threads wait for each other\n"
                 "  \"blocked\" waits for mutex 0x[0-9a-f]+, held by \"main\"\n"
                 "  \"main\" waits for the end of \"blocked\"\n");

    const auto twice = [](Mutex& first, Mutex&) NO_THREAD_SAFETY_ANALYSIS {
        first.lock();
        first.lock();
    };
    EXPECT_DEATH(DeadlockAsideOfASleeper(twice),
                 "\"main\" waits for mutex 0x[0-9a-f]+, held by \"main\"\n");
}

#ifdef KVT_THREAD_SANITIZER
/** One thread at a time or not: without a lock between them it is a race, and is seen as one. */
TEST(VirtualRaceDeathTest, IsSeenByThreadSanitizer) {
    const auto race = [](bool locked) {
        EnterWithoutSeed();
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

/** A singleton whose worker waits until it is told to end, as the strategies' do. */
class WaitingWorker {
  public:
    WaitingWorker() {
        WorkerScope::Announce("waiting");
        mThread = std::thread([this] {
            WorkerScope scope("waiting");
            MutexLock lock(mMutex);
            while (!mExit) {
                mCondition.wait(mMutex);
            }
        });
    }

    ~WaitingWorker() {
        {
            MutexLock lock(mMutex);
            mExit = true;
            mCondition.signal();
        }
        WorkerScope::AwaitEnd("waiting");
        mThread.join();
        fprintf(stderr, "worker ended\n");
    }

  private:
    Mutex mMutex;
    Condition mCondition;
    bool mExit GUARDED_BY(mMutex) = false;
    std::thread mThread;
};

TEST(VirtualExitDeathTest, LetsSingletonsEndTheirWorkers) {
    const auto leave = [] {
        EnterWithoutSeed();
        static WaitingWorker worker;
        SleepFor(kNsPerS);
        exit(0);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "worker ended");
}

}  // namespace
}  // namespace KVT
