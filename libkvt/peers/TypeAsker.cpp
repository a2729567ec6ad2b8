// SPDX-License-Identifier: Apache-2.0
#include "peers/TypeAsker.h"

#include <utils/Thread.h>

#include <algorithm>
#include <utility>

#include "common/Codes.h"
#include "common/Dumper.h"
#include "common/Log.h"
#include "common/PeerHealth.h"
#include "common/RememberedPackages.h"
#include "common/Turn.h"
#include "peers/AppTypes.h"
#include "sync/Worker.h"

namespace KVT {
namespace {

constexpr const char* kAskerThread = "KVT::TypeAsker";

/** Answers that come within this time are told to the listener together. */
constexpr int64_t kQuickNs = 100 * kNsPerMs;

thread_local bool tIsAsker = false;

}  // namespace

class TypeAsker::Worker : public android::Thread {
  private:
    bool threadLoop() override {
        const WorkerScope scope(kAskerThread);
        tIsAsker = true;
        GetInstance()->Run();
        return false;
    }
};

/** Ends the thread before what its listener works with is destroyed. */
struct TypeAsker::Closer {
    ~Closer() { GetInstance()->Stop(); }
};

TypeAsker* TypeAsker::GetInstance() {
    // Never destroyed: a thread that hangs in the service may outlive everything else.
    static auto* const instance = new TypeAsker;
    return instance;
}

bool TypeAsker::IsOwnThread() {
    return tIsAsker;
}

void TypeAsker::StartOnce() {
    if (mWorker != nullptr || mStopped) {
        return;
    }
    static const Closer closer;
    mWorker = new Worker;
    WorkerScope::Announce(kAskerThread);
    if (mWorker->run(kAskerThread) != android::OK) {
        WorkerScope::Withdraw(kAskerThread);
        mWorker = nullptr;
        KVT_LOGE("types of packages can not be asked for: no thread");
    }
}

void TypeAsker::Stop() {
    android::sp<Worker> worker;
    {
        MutexLock lock(mMutex);
        mStopped = true;
        mRequested.signal();
        // One that hangs in the service is left there: all it would do is to remember the answer.
        const int64_t deadlineNs = mCallSinceNs == 0 ? INT64_MAX : MonotonicNow() + kPatienceNs;
        if (mWorker == nullptr || !mEnded.waitUntil(mMutex, deadlineNs)) {
            return;
        }
        worker = mWorker;
    }
    WorkerScope::AwaitEnd(kAskerThread);
    worker->join();
}

void TypeAsker::Run() {
    while (AwaitRequest()) {
        Turn::Take([this] {
            Serve();
            if (mStopped) {
                Turn::DropPutOff();  // others that an event needs may be gone soon
            }
        });
    }
    MutexLock lock(mMutex);
    mEnded.signal();
}

bool TypeAsker::AwaitRequest() {
    MutexLock lock(mMutex);
    while (!mStopped) {
        if (mRequests.empty()) {
            mRequested.wait(mMutex);
        } else if (mNextCallNs <= MonotonicNow() || !mRequested.waitUntil(mMutex, mNextCallNs)) {
            return true;
        }
    }
    return false;
}

void TypeAsker::Serve() {
    std::string pkg;
    {
        MutexLock lock(mMutex);
        mCurrent = std::move(mRequests.front());
        mRequests.pop_front();
        mCallSinceNs = MonotonicNow();
        pkg = mCurrent.pkg;
    }
    const bool isAsked = !AppTypes::RememberedType(pkg).has_value();
    const int32_t type = AppTypes::GetPkgTypeByICMSManager(pkg);
    const bool isLearned = AppTypes::RememberedType(pkg).has_value();
    std::vector<std::string> learned;
    {
        MutexLock lock(mMutex);
        const int64_t nowNs = MonotonicNow();
        const int64_t tookNs = nowNs - mCallSinceNs;
        if (isAsked) {
            TakeTime(tookNs);
        }
        mCallSinceNs = 0;
        Deliver(pkg, type);
        if (mCurrent.isForListener && isLearned) {
            if (mLearned.empty()) {
                mLearnedSinceNs = nowNs - tookNs;
            }
            mLearned.push_back(pkg);
        }
        if ((mRequests.empty() || nowNs - mLearnedSinceNs > kQuickNs) && !mStopped) {
            learned.swap(mLearned);
        }
    }
    if (!learned.empty() && mListener != nullptr) {
        mListener->onTypesLearned(learned);
    }
}

void TypeAsker::TakeTime(int64_t tookNs) {
    if (tookNs < kPatienceNs) {
        mLateSinceNs = 0;
        mBackOffNs = 0;
        return;
    }
    if (mLateSinceNs == 0) {
        mLateSinceNs = mCallSinceNs;
    }
    mBackOffNs = std::clamp(2 * mBackOffNs, kNsPerS, kLongestBackOffNs);
    mNextCallNs = MonotonicNow() + mBackOffNs;
}

void TypeAsker::Deliver(const std::string& pkg, int32_t type) {
    for (Waiter* waiter : mWaiters) {
        const auto& pkgs = waiter->pkgs;
        if (std::find(pkgs.begin(), pkgs.end(), pkg) != pkgs.end() &&
            waiter->answers.emplace(pkg, type).second && --waiter->missing == 0) {
            waiter->isComplete.signal();
        }
    }
}

void TypeAsker::Ask(const std::vector<std::string>& pkgs, int64_t deadlineNs, Answers& answers) {
    if (IsOwnThread() || pkgs.empty()) {
        return;
    }
    MutexLock lock(mMutex);
    StartOnce();
    mOwnAsks = 0;
    PutFirst(pkgs);
    mRequested.signal();
    if (mWorker == nullptr || IsGivenUp(MonotonicNow())) {
        return;
    }
    Waiter waiter{pkgs, answers, std::min(pkgs.size(), kRememberedPackages), {}};
    mWaiters.push_back(&waiter);
    (void)waiter.isComplete.waitUntil(mMutex, deadlineNs);
    mWaiters.erase(std::find(mWaiters.begin(), mWaiters.end(), &waiter));
}

void TypeAsker::PutFirst(const std::vector<std::string>& pkgs) {
    for (size_t i = std::min(pkgs.size(), kRememberedPackages); i-- > 0;) {
        Request request{pkgs[i], false};
        if (const auto found = Find(request.pkg); found != mRequests.end()) {
            request.isForListener = found->isForListener;
            mRequests.erase(found);
        }
        mRequests.push_front(std::move(request));
    }
    if (mRequests.size() > kRememberedPackages) {
        mRequests.resize(kRememberedPackages);
    }
}

void TypeAsker::AskForListener(const std::string& pkg) {
    MutexLock lock(mMutex);
    StartOnce();
    if (!IsOwnThread()) {
        mOwnAsks = 0;
    }
    if (mCallSinceNs != 0 && mCurrent.pkg == pkg) {
        mCurrent.isForListener = true;
    } else if (const auto found = Find(pkg); found != mRequests.end()) {
        found->isForListener = true;
    } else if (mRequests.size() < kRememberedPackages &&
               (!IsOwnThread() || ++mOwnAsks <= kMostOwnAsks)) {
        mRequests.push_back({pkg, true});
        mRequested.signal();
    }
}

std::deque<TypeAsker::Request>::iterator TypeAsker::Find(const std::string& pkg) {
    return std::find_if(mRequests.begin(), mRequests.end(),
                        [&pkg](const Request& request) { return request.pkg == pkg; });
}

bool TypeAsker::IsGivenUp(int64_t nowNs) const {
    return nowNs < mNextCallNs || (mCallSinceNs != 0 && nowNs - mCallSinceNs >= kPatienceNs);
}

int64_t TypeAsker::SilentForNs() {
    MutexLock lock(mMutex);
    const int64_t nowNs = MonotonicNow();
    if (mLateSinceNs != 0) {
        return nowNs - mLateSinceNs;
    }
    return IsGivenUp(nowNs) ? nowNs - mCallSinceNs : 0;
}

void TypeAsker::Dump(Dumper* dumper) {
    const int64_t silentForNs = SilentForNs();
    dumper->section("peers");
    dumper->value("display", HealthOf(Peer::kDisplay));
    dumper->value("compositor", HealthOf(Peer::kCompositor));
    dumper->value("classification",
                  silentForNs == 0 ? HealthOf(Peer::kClassification)
                                   : "silent for " + std::to_string(silentForNs / kNsPerS) + " s");
}

}  // namespace KVT
