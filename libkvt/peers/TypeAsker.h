// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "peers/TypeListener.h"
#include "sync/Atomic.h"
#include "sync/Clock.h"
#include "sync/Condition.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/**
 * Asks the classification service (AppTypes) on a thread of its own, so that nobody waits for long
 * on a service that hangs. The thread is started when it is needed first.
 *
 * A call that takes longer than kPatienceNs is given up: until it returns nobody waits, and what is
 * asked for meanwhile is asked as soon as it does. When the service goes on like this, it is left
 * in peace for longer and longer between two calls. A call that fails in time is simply an answer.
 *
 * Any thread; its lock is a leaf, and no other lock may be held while Ask waits.
 */
class TypeAsker {
  public:
    /** Types by package; kTypeUnknown where asking failed. */
    using Answers = std::unordered_map<std::string, int32_t>;

    /** What an event can wait for a type without a person noticing that the panel is late. */
    static constexpr int64_t kPatienceNs = kNsPerS;
    static constexpr int64_t kLongestBackOffNs = 30 * kNsPerS;
    /**
     * What is asked on behalf of events that its own thread acts on, without anybody else asking:
     * a service that answers each question with an event of a new package asks for more for ever.
     */
    static constexpr int32_t kMostOwnAsks = 64;

    static TypeAsker* GetInstance();
    TypeAsker(const TypeAsker&) = delete;
    TypeAsker& operator=(const TypeAsker&) = delete;

    /** From now on `listener`, which lives to the end, hears of late answers. At start-up. */
    void SetListener(TypeListener* listener) { mListener = listener; }

    /**
     * Asks for these packages next, in this order, and waits for the answers until the deadline, if
     * the service is one that answers. Does nothing on its own thread.
     *
     * @param pkgs distinct; of more than kRememberedPackages the first
     * @param answers gets those that have come by then; the others are asked for all the same
     */
    void Ask(const std::vector<std::string>& pkgs, int64_t deadlineNs, Answers& answers)
        EXCLUDES(mMutex);

    /** Does not wait, but has the listener told when the type is known. */
    void AskForListener(const std::string& pkg) EXCLUDES(mMutex);

    /** How long the service has not answered in time; 0 when it does. */
    int64_t SilentForNs() EXCLUDES(mMutex);
    /** The section "peers". */
    void Dump(Dumper* dumper) EXCLUDES(mMutex);

  private:
    struct Request {
        std::string pkg;
        bool isForListener;
    };
    /** A thread that waits, and what it waits for. */
    struct Waiter {
        const std::vector<std::string>& pkgs;
        Answers& answers;
        size_t missing;
        Condition isComplete;
    };
    class Worker;
    struct Closer;

    TypeAsker() = default;
    ~TypeAsker() = default;

    void StartOnce() REQUIRES(mMutex);
    void Stop() EXCLUDES(mMutex);
    void Run() EXCLUDES(mMutex);
    bool AwaitRequest() EXCLUDES(mMutex);
    void Serve() EXCLUDES(mMutex);
    void PutFirst(const std::vector<std::string>& pkgs) REQUIRES(mMutex);
    void TakeTime(int64_t tookNs) REQUIRES(mMutex);
    void Deliver(const std::string& pkg, int32_t type) REQUIRES(mMutex);
    std::deque<Request>::iterator Find(const std::string& pkg) REQUIRES(mMutex);
    bool IsGivenUp(int64_t nowNs) const REQUIRES(mMutex);
    static bool IsOwnThread();

    // Set once, at start-up.
    TypeListener* mListener = nullptr;

    Mutex mMutex;
    android::sp<Worker> mWorker GUARDED_BY(mMutex);
    Atomic<bool> mStopped{false};
    Condition mRequested;
    Condition mEnded;
    /** The first is served next. At most as many as could be remembered. */
    std::deque<Request> mRequests GUARDED_BY(mMutex);
    std::vector<Waiter*> mWaiters GUARDED_BY(mMutex);
    int32_t mOwnAsks GUARDED_BY(mMutex) = 0;
    /** Learned, and not told to the listener yet. */
    std::vector<std::string> mLearned GUARDED_BY(mMutex);
    /** When the first of them was asked for. */
    int64_t mLearnedSinceNs GUARDED_BY(mMutex) = 0;

    // The call under way; since 0 when there is none.
    Request mCurrent GUARDED_BY(mMutex){};
    int64_t mCallSinceNs GUARDED_BY(mMutex) = 0;
    // Since the service is late; 0 when it is not.
    int64_t mLateSinceNs GUARDED_BY(mMutex) = 0;
    int64_t mBackOffNs GUARDED_BY(mMutex) = 0;
    int64_t mNextCallNs GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT
