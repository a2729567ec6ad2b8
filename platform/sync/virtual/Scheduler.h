// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace KVT::virtualtime {

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

/** What a thread waits for; the object is the address of a mutex or condition, or a participant. */
enum class WaitFor { kTime, kRest, kMutex, kCondition, kEnd };

struct Participant {
    enum class State { kReady, kRunning, kWaiting, kOutside };

    uint64_t id = 0;
    std::string name;
    State state = State::kReady;
    /** False from the announcement until the thread is there. */
    bool arrived = false;
    int outsideDepth = 0;
    /** Position among those that became ready, or began to wait, at the same time. */
    uint64_t issue = 0;
    WaitFor waitFor = WaitFor::kTime;
    const void* object = nullptr;
    int64_t deadlineNs = kNever;
    /** Could go on, but is not let (see kTurnLengths). */
    bool isHeldBack = false;
    std::condition_variable turn;
};

/**
 * Passes one turn among the participants (see VirtualTime). Mutexes and conditions are known to it
 * by address alone; what they guard stays with them. Operations are for the running participant
 * unless they say otherwise.
 */
class Scheduler {
  public:
    /** Null before virtual time is entered. */
    static Scheduler* Active();
    /** The scheduler if the calling thread is a participant and not outside, else null. */
    static Scheduler* OfThisThread();

    Scheduler(std::optional<uint64_t> seed, int64_t startNs);
    /** Makes this the scheduler of the process and the calling thread its first participant. */
    void Start();

    /** Any thread. */
    int64_t Now();
    /** Any thread. */
    int64_t BootTime();
    /** Any thread. */
    void Suspend(int64_t ns);
    /** Any thread. */
    uint64_t Digest();

    /** Any thread: reserves a place for a thread that is about to be started. @return its id */
    uint64_t Announce(std::string name);
    /** Any thread: gives the place of an announced thread back. */
    void Withdraw(const std::string& name);
    /** The started thread: takes its announced place, if there is one, and waits for its turn. */
    void Arrive(const std::string& name);
    /** As above, for a place known by id. */
    void Arrive(uint64_t id);
    /** The calling thread stops being a participant. */
    void Leave();
    void AwaitEnd(const std::string& name);
    void AwaitEnd(uint64_t id);
    /** Any thread: calls nest, and mean nothing to a thread that does not take part. */
    void GoOutside();
    void ComeBack();

    void Acquire(const void* mutex);
    /** Any thread; nothing happens for a mutex that no participant acquired. */
    void Release(const void* mutex);

    /** A wait is begun (the mutex released), the real mutex unlocked, and only then slept out. */
    void BeginWait(const void* condition, const void* mutex, int64_t deadlineNs);
    void FinishWait();
    /** Any thread. */
    void Signal(const void* condition);

    void Sleep(int64_t ns);
    /** Waits until nobody else can go on at the present time, nor is held back. */
    void Settle();

  private:
    /** The calling thread's own place; null when it does not take part. */
    static thread_local Participant* tSelf;

    using Lock = std::unique_lock<std::mutex>;

    Participant* Find(const std::string& name);
    Participant* Find(uint64_t id);
    Participant* Choose(std::vector<Participant*>& candidates);
    void TakePlace(Lock& lock, Participant* self);
    void RemovePlace(Participant* participant);
    void MakeReady(Participant* participant);
    void MakeWaiting(WaitFor waitFor, const void* object, int64_t deadlineNs);
    bool ReleaseOwnership(const void* mutex);
    void SwitchPoint(Lock& lock);
    void GiveUpTurn(Lock& lock);
    void AwaitTurn(Lock& lock, Participant* self);
    void Dispatch();
    void DispatchIfIdle();
    bool AdvanceClock();
    const Participant* HeldUpBy(const Participant& participant);
    void ReportIfCircular();
    [[noreturn]] void ReportDeadlock(const char* what, const std::vector<const Participant*>& who);
    std::string Describe(const Participant& participant);

    std::mutex mLock;
    std::vector<std::unique_ptr<Participant>> mParticipants;
    /** Held mutexes and the ids of their holders. */
    std::unordered_map<const void*, uint64_t> mOwners;
    Participant* mRunning = nullptr;
    std::optional<std::mt19937_64> mRandom;
    uint64_t mTurnLength = 1;
    int64_t mNowNs;
    int64_t mSuspendedNs = 0;
    uint64_t mNextId = 0;
    uint64_t mNextIssue = 0;
    uint64_t mDigest;
};

}  // namespace KVT::virtualtime
