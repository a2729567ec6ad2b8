// SPDX-License-Identifier: Apache-2.0
// Usage: soak_client framework SECONDS EVENT-MS QUERY-MS [FILE] | soak_client attack SECONDS
// The framework, which wants its events to take effect and its queries to be answered in so many
// milliseconds, not counting those in which FILE says by being there that the compositor is away: without it
// the panel changes nothing. Or all attacks side by side. Prints an account when the time is over.
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include "sync/Clock.h"
#include "tests/vm/Attacks.h"
#include "tests/vm/Framework.h"
#include "tests/vm/Processes.h"

namespace KVT::test {
namespace {

class Account {
  public:
    Account(const char* what, int64_t mostNs) : mWhat(what), mMostNs(mostNs) {}

    void add(std::optional<int64_t> duration) {
        ++mCount;
        mFailed += !duration.has_value();
        mLate += duration.value_or(0) > mMostNs;
        mSlowest = std::max(mSlowest, duration.value_or(0));
    }

    bool isGood() const { return mCount > 0 && mLate + mFailed == 0; }

    void print() const {
        printf("%s %d slowest %.1f ms late %d of more than %.1f ms failed %d\n", mWhat, mCount,
               static_cast<double>(mSlowest) / kNsPerMs, mLate,
               static_cast<double>(mMostNs) / kNsPerMs, mFailed);
    }

  private:
    const char* const mWhat;
    const int64_t mMostNs;
    int mCount = 0;
    int mLate = 0;
    int mFailed = 0;
    int64_t mSlowest = 0;
};

/** Time in which nothing could happen. */
class LostTime {
  public:
    /** @param away a file that is there while the compositor is not; or null */
    explicit LostTime(const char* away) {
        std::thread([this, away] {
            constexpr int64_t kBeatNs = 10 * kNsPerMs;
            for (int64_t last = MonotonicNow();; last = MonotonicNow()) {
                SleepFor(kBeatNs);
                const int64_t passed = MonotonicNow() - last;
                if (away != nullptr && access(away, F_OK) == 0) {
                    mAway += passed;
                } else {
                    mStood += std::max<int64_t>(passed - 2 * kBeatNs, 0);
                }
            }
        }).detach();
    }

    /** The whole machine stood still, because whatever runs it had something else to do. */
    int64_t stood() const { return mStood; }
    /** The panel could not change: that takes a frame of the compositor. */
    int64_t away() const { return mAway; }

    /** What `measure` says, without what `lost` grows by meanwhile. */
    template <typename Measure, typename Lost>
    static std::optional<int64_t> Without(Lost&& lost, Measure&& measure) {
        const int64_t before = lost();
        std::optional<int64_t> duration = measure();
        if (duration.has_value()) {
            *duration = std::max<int64_t>(*duration - (lost() - before), 0);
        }
        return duration;
    }

  private:
    std::atomic<int64_t> mStood{0};
    std::atomic<int64_t> mAway{0};
};

int PlayFramework(int64_t end, int64_t eventNs, int64_t queryNs, const char* away) {
    constexpr int kQueriesPerEvent = 5;
    // Before all that an attack leaves to run, so that what is late is the machine or the service.
    constexpr int kFirst = -20;
    setpriority(PRIO_PROCESS, 0, kFirst);
    static LostTime lost(away);
    const auto stood = [] { return lost.stood(); };
    const auto stoodOrAway = [] { return lost.stood() + lost.away(); };
    Framework framework;
    Account events("events", eventNs);
    Account queries("queries", queryNs);
    for (bool isHigh = false; isHigh || MonotonicNow() < end; isHigh = !isHigh) {
        // Waits on when one is late, so that this is not held against the next one, too.
        constexpr int64_t kPatienceNs = 60 * kNsPerS;
        events.add(LostTime::Without(stoodOrAway, [&] { return framework.change(kPatienceNs); }));
        for (int i = 0; i < kQueriesPerEvent; ++i) {
            SleepFor(200 * kNsPerMs);
            queries.add(LostTime::Without(stood, [&] { return framework.ask(); }));
        }
    }
    events.print();
    queries.print();
    printf(
        "not counted above: %lld ms in which the machine stood still, %lld ms without a "
        "compositor\n",
        static_cast<long long>(lost.stood() / kNsPerMs),
        static_cast<long long>(lost.away() / kNsPerMs));
    return events.isGood() && queries.isGood() ? 0 : 1;
}

[[noreturn]] void PlayAttackers(int64_t end) {
    // Apps that nobody sees have what the others leave them of the processor.
    constexpr int kInBackground = 10;
    constexpr int64_t kBetweenBlowsNs = 50 * kNsPerMs;
    const std::vector<Attack>& attacks = Attacks();
    const size_t size = attacks.size() * sizeof(std::atomic<int>);
    auto* const blows = static_cast<std::atomic<int>*>(
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::vector<std::unique_ptr<Child>> apps;
    for (size_t i = 0; i < attacks.size(); ++i) {
        new (&blows[i]) std::atomic<int>{0};
        for (int process = 0; process < attacks[i].processes; ++process) {
            apps.push_back(std::make_unique<Child>([&, i, process] {
                setpriority(PRIO_PROCESS, 0, kInBackground);
                Strike(attacks[i], process, &blows[i], kBetweenBlowsNs);
            }));
        }
    }
    SleepFor(end - MonotonicNow());
    int sum = 0;
    printf("blows");
    for (size_t i = 0; i < attacks.size(); ++i) {
        printf(" %s %d", attacks[i].name, blows[i].load());
        sum += blows[i];
    }
    printf(" all %d\n", sum);
    fflush(nullptr);
    _exit(0);  // and all of them die at once
}

}  // namespace
}  // namespace KVT::test

int main(int argc, char** argv) {
    using namespace KVT;
    const auto number = [argv](int i) { return atoll(argv[i]); };
    if ((argc == 5 || argc == 6) && strcmp(argv[1], "framework") == 0) {
        return test::PlayFramework(MonotonicNow() + number(2) * kNsPerS, number(3) * kNsPerMs,
                                   number(4) * kNsPerMs, argv[5]);
    }
    if (argc == 3 && strcmp(argv[1], "attack") == 0) {
        test::PlayAttackers(MonotonicNow() + number(2) * kNsPerS);
    }
    fprintf(stderr,
            "usage: soak_client framework SECONDS EVENT-MS QUERY-MS [FILE] | attack SECONDS\n");
    return 2;
}
