// SPDX-License-Identifier: Apache-2.0
#include "sync/virtual/Scheduler.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "sync/Clock.h"
#include "sync/virtual/Unseen.h"

namespace KVT::virtualtime {
namespace {

/** Real time that an announced thread gets to appear before its absence is taken for a fault. */
constexpr std::chrono::seconds kArrivalPatience{30};

/**
 * Switch points that a turn lasts on average; the seed takes one. With short turns threads meet
 * step by step, in ever new ways; with long ones a thread is held back between two steps while
 * another gets through a whole event, which may take time as well.
 */
constexpr uint64_t kTurnLengths[] = {1, 4, 16, 64, 256, 1024};
constexpr uint64_t kLongTurn = 64;
/** Of the long turns, one in so many ends with the thread kept from the processor for a while. */
constexpr uint64_t kTurnsToOneHeldBack = 4;
constexpr uint64_t kLongestHoldNs = 50 * kNsPerMs;

// FNV-1a, over whole words.
constexpr uint64_t kDigestBasis = 0xcbf29ce484222325;
constexpr uint64_t kDigestPrime = 0x100000001b3;

std::atomic<Scheduler*> gActive{nullptr};

}  // namespace

thread_local Participant* Scheduler::tSelf = nullptr;

Scheduler* Scheduler::Active() {
    return gActive.load();
}

Scheduler* Scheduler::OfThisThread() {
    return tSelf != nullptr && tSelf->outsideDepth == 0 ? Active() : nullptr;
}

Scheduler::Scheduler(std::optional<uint64_t> seed, int64_t startNs)
    : mNowNs(startNs), mDigest(kDigestBasis) {
    if (seed) {
        mRandom.emplace(*seed);
        mTurnLength = kTurnLengths[(*mRandom)() % std::size(kTurnLengths)];
    }
}

void Scheduler::Start() {
    Scheduler* none = nullptr;
    if (!gActive.compare_exchange_strong(none, this)) {
        fprintf(stderr, "virtual time: entered twice\n");
        abort();
    }
    Announce("main");
    Arrive("main");
}

int64_t Scheduler::Now() {
    Unseen unseen;
    Lock lock(mLock);
    return mNowNs;
}

int64_t Scheduler::BootTime() {
    Unseen unseen;
    Lock lock(mLock);
    return mNowNs + mSuspendedNs;
}

void Scheduler::Suspend(int64_t ns) {
    Unseen unseen;
    Lock lock(mLock);
    mSuspendedNs += ns;
}

uint64_t Scheduler::Digest() {
    Unseen unseen;
    Lock lock(mLock);
    return mDigest;
}

// ---- Locks, conditions, time ----

void Scheduler::Acquire(const void* mutex) {
    Unseen unseen;
    Lock lock(mLock);
    SwitchPoint(lock);
    while (!mOwners.emplace(mutex, tSelf->id).second) {
        MakeWaiting(WaitFor::kMutex, mutex, kNever);
        GiveUpTurn(lock);
    }
}

void Scheduler::Release(const void* mutex) {
    Unseen unseen;
    Lock lock(mLock);
    const bool awaited = ReleaseOwnership(mutex);
    if (mRunning == nullptr) {
        DispatchIfIdle();
    } else if (mRunning == tSelf) {
        // Without a seed a lock that others wait for is passed on, or they would starve.
        if (awaited && !mRandom) {
            MakeReady(tSelf);
            GiveUpTurn(lock);
        } else {
            SwitchPoint(lock);
        }
    }
}

void Scheduler::BeginWait(const void* condition, const void* mutex, int64_t deadlineNs) {
    Unseen unseen;
    Lock lock(mLock);
    ReleaseOwnership(mutex);
    MakeWaiting(WaitFor::kCondition, condition, deadlineNs);
    if (deadlineNs <= mNowNs) {
        MakeReady(tSelf);
    }
}

void Scheduler::FinishWait() {
    Unseen unseen;
    Lock lock(mLock);
    GiveUpTurn(lock);
}

void Scheduler::Signal(const void* condition) {
    Unseen unseen;
    Lock lock(mLock);
    std::vector<Participant*> waiters;
    for (const auto& each : mParticipants) {
        if (each->state == Participant::State::kWaiting && each->waitFor == WaitFor::kCondition &&
            each->object == condition) {
            waiters.push_back(each.get());
        }
    }
    if (!waiters.empty()) {
        MakeReady(Choose(waiters));
    }
    if (mRunning == nullptr) {
        DispatchIfIdle();
    } else if (mRunning == tSelf) {
        SwitchPoint(lock);
    }
}

void Scheduler::Sleep(int64_t ns) {
    Unseen unseen;
    Lock lock(mLock);
    if (ns <= 0) {
        SwitchPoint(lock);
        return;
    }
    MakeWaiting(WaitFor::kTime, nullptr, mNowNs + std::min(ns, kNever - 1 - mNowNs));
    GiveUpTurn(lock);
}

void Scheduler::Settle() {
    Unseen unseen;
    Lock lock(mLock);
    MakeWaiting(WaitFor::kRest, nullptr, mNowNs);
    GiveUpTurn(lock);
}

bool Scheduler::ReleaseOwnership(const void* mutex) {
    // A thread that does not take part lets go of the real mutex only; the owner here is another.
    const auto owner = mOwners.find(mutex);
    if (owner == mOwners.end() || tSelf == nullptr || owner->second != tSelf->id) {
        return false;
    }
    mOwners.erase(owner);
    bool awaited = false;
    for (const auto& each : mParticipants) {
        if (each->state == Participant::State::kWaiting && each->waitFor == WaitFor::kMutex &&
            each->object == mutex) {
            MakeReady(each.get());
            awaited = true;
        }
    }
    return awaited;
}

// ---- The turn ----

void Scheduler::MakeReady(Participant* participant) {
    participant->state = Participant::State::kReady;
    participant->issue = mNextIssue++;
}

void Scheduler::MakeWaiting(WaitFor waitFor, const void* object, int64_t deadlineNs) {
    tSelf->state = Participant::State::kWaiting;
    tSelf->issue = mNextIssue++;
    tSelf->waitFor = waitFor;
    tSelf->object = object;
    tSelf->deadlineNs = deadlineNs;
    ReportIfCircular();
}

void Scheduler::SwitchPoint(Lock& lock) {
    if (mRandom && (*mRandom)() % mTurnLength == 0) {
        if (mTurnLength >= kLongTurn && (*mRandom)() % kTurnsToOneHeldBack == 0) {
            MakeWaiting(WaitFor::kTime, nullptr,
                        mNowNs + static_cast<int64_t>((*mRandom)() % kLongestHoldNs));
            tSelf->isHeldBack = true;
        } else {
            MakeReady(tSelf);
        }
        GiveUpTurn(lock);
    }
}

void Scheduler::GiveUpTurn(Lock& lock) {
    mRunning = nullptr;
    Dispatch();
    AwaitTurn(lock, tSelf);
}

void Scheduler::AwaitTurn(Lock& lock, Participant* self) {
    while (mRunning != self) {
        const Participant* awaited = mRunning;
        const bool late = self->turn.wait_for(lock, kArrivalPatience) == std::cv_status::timeout;
        if (late && awaited != nullptr && awaited == mRunning && !awaited->arrived) {
            fprintf(stderr, "virtual time: \"%s\" was announced but never came\n",
                    awaited->name.c_str());
            abort();
        }
    }
}

void Scheduler::DispatchIfIdle() {
    if (mRunning == nullptr) {
        Dispatch();
    }
}

void Scheduler::Dispatch() {
    std::vector<Participant*> ready;
    do {
        for (const auto& each : mParticipants) {
            if (each->state == Participant::State::kReady) {
                ready.push_back(each.get());
            }
        }
    } while (ready.empty() && AdvanceClock());
    if (ready.empty()) {
        return;
    }
    mRunning = Choose(ready);
    mRunning->state = Participant::State::kRunning;
    for (const uint64_t word : {mRunning->id, static_cast<uint64_t>(mNowNs)}) {
        mDigest = (mDigest ^ word) * kDigestPrime;
    }
    mRunning->turn.notify_one();
}

Participant* Scheduler::Choose(std::vector<Participant*>& candidates) {
    if (mRandom && candidates.size() > 1) {
        // The remainder's bias is below 2^-50 for any number of threads; the library's
        // distributions differ from one implementation to the next.
        return candidates[(*mRandom)() % candidates.size()];
    }
    return *std::min_element(candidates.begin(), candidates.end(),
                             [](const auto* a, const auto* b) { return a->issue < b->issue; });
}

/** Makes those ready whose deadline is the earliest. @return false when there is no deadline */
bool Scheduler::AdvanceClock() {
    int64_t earliestNs = kNever;
    bool outside = false;
    bool heldBack = false;
    for (const auto& each : mParticipants) {
        outside |= each->state == Participant::State::kOutside;
        heldBack |= each->isHeldBack;
    }
    // Who is held back has not come to rest, so whoever waits for that goes on waiting.
    const auto isDue = [&](const Participant& each, int64_t ns) {
        return each.state == Participant::State::kWaiting && each.deadlineNs <= ns &&
               !(heldBack && each.waitFor == WaitFor::kRest);
    };
    for (const auto& each : mParticipants) {
        if (isDue(*each, earliestNs)) {
            earliestNs = each->deadlineNs;
        }
    }
    if (earliestNs == kNever) {
        if (!outside && !mParticipants.empty()) {
            std::vector<const Participant*> all;
            for (const auto& each : mParticipants) {
                all.push_back(each.get());
            }
            ReportDeadlock("every thread waits, none has a deadline", all);
        }
        return false;
    }
    mNowNs = std::max(mNowNs, earliestNs);
    for (const auto& each : mParticipants) {
        if (isDue(*each, earliestNs)) {
            // Keeps its number: first come, first served among equal deadlines.
            each->state = Participant::State::kReady;
            each->isHeldBack = false;
        }
    }
    return true;
}

// ---- Reports ----

/** The one that has to move before a waiting participant can; null when it is not that of one. */
const Participant* Scheduler::HeldUpBy(const Participant& participant) {
    if (participant.state != Participant::State::kWaiting) {
        return nullptr;
    }
    switch (participant.waitFor) {
        case WaitFor::kMutex:
            return Find(mOwners.at(participant.object));
        case WaitFor::kEnd:
            return static_cast<const Participant*>(participant.object);
        case WaitFor::kTime:
        case WaitFor::kRest:
        case WaitFor::kCondition:
            return nullptr;
    }
    return nullptr;
}

/** A circle closes when its last member begins to wait, so only that one needs to look. */
void Scheduler::ReportIfCircular() {
    std::vector<const Participant*> chain;
    const Participant* each = tSelf;
    do {
        chain.push_back(each);
        each = HeldUpBy(*each);
    } while (each != nullptr && each != tSelf);
    if (each == tSelf) {
        ReportDeadlock("threads wait for each other", chain);
    }
}

void Scheduler::ReportDeadlock(const char* what, const std::vector<const Participant*>& who) {
    fprintf(stderr, "virtual time: deadlock at %" PRId64 " ns: %s\n", mNowNs, what);
    for (const Participant* each : who) {
        fprintf(stderr, "  \"%s\" waits for %s\n", each->name.c_str(), Describe(*each).c_str());
    }
    abort();
}

std::string Scheduler::Describe(const Participant& participant) {
    char address[32];
    snprintf(address, sizeof(address), "%p", participant.object);
    switch (participant.waitFor) {
        case WaitFor::kTime:
            return "time";
        case WaitFor::kRest:
            return "the others to rest";
        case WaitFor::kMutex: {
            const Participant* owner = Find(mOwners[participant.object]);
            return std::string("mutex ") + address + ", held by " +
                   (owner != nullptr ? '"' + owner->name + '"' : "a thread that has ended");
        }
        case WaitFor::kCondition:
            return std::string("condition ") + address;
        case WaitFor::kEnd:
            return "the end of \"" + static_cast<const Participant*>(participant.object)->name +
                   "\"";
    }
    return "nothing";
}

}  // namespace KVT::virtualtime
