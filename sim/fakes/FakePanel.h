// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/fakes/Journal.h"

namespace KVT::sim {

/** The display hardware service with a panel that obeys as well as it is told to. */
class FakePanel : public android::BBinder {
  public:
    struct Behaviour {
        /** Rate texts as the description gives them. */
        std::string current = "60";
        std::string normal = "60";
        std::vector<std::string> rates = {"60", "90"};
        /** Forced frames that a change takes; kNever to ignore changes. */
        int32_t obeysAfter = 0;
        /** Codes that the service answers with. */
        int32_t getError = 0;
        int32_t setError = 0;
        bool hasVersion11 = true;
        /** The service is gone: calls fail in the transport. */
        bool vanished = false;
        /** Sent instead of a description made of the above, if not empty. */
        std::string rawDescription;

        /** Whether the panel has said that it has such a rate. */
        bool shows(const std::string& rate) const;
    };
    /** Every rate that a panel can be asked for; "60n" is its normal mode. */
    static const std::vector<std::string>& KnownRates();
    static constexpr int32_t kNever = -1;

    explicit FakePanel(const android::sp<Journal>& journal) : mJournal(journal) {}

    void behave(const Behaviour& behaviour) EXCLUDES(mMutex);
    /**
     * Changes several things at once. A new `current` is a change of rate like any other, and so is
     * the normal rate where the one before is no longer there.
     */
    void change(const std::function<void(Behaviour&)>& how) EXCLUDES(mMutex);
    /** Rates and switches are counted from now on. */
    void beginAccount() EXCLUDES(mMutex);
    /** Changes one thing of its behaviour. */
    template <typename T, typename U>
    void behave(T Behaviour::*what, const U& how) {
        MutexLock lock(mMutex);
        mBehaviour.*what = how;
    }
    Behaviour behaviour() EXCLUDES(mMutex);
    /**
     * Changes the rate as the hardware itself does, without being asked.
     * @return whether it has such a rate
     */
    bool changeByItself(const std::string& rate) EXCLUDES(mMutex);
    /** The compositor drew a frame. */
    void onFrame() EXCLUDES(mMutex);

    /** Hz of the mode that the panel is in. */
    int32_t currentHz() EXCLUDES(mMutex);
    /** Rate indexes that were asked for, oldest first. */
    std::vector<int32_t> requests() EXCLUDES(mMutex);
    uint64_t switches() EXCLUDES(mMutex);
    /** Nanoseconds at each rate up to now. */
    std::map<std::string, int64_t> timeAtRate() EXCLUDES(mMutex);

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    void frameLocked() REQUIRES(mMutex);
    std::string descriptionLocked() REQUIRES(mMutex);
    int32_t requestLocked(int32_t index) REQUIRES(mMutex);
    void switchLocked(const std::string& rate) REQUIRES(mMutex);

    const android::sp<Journal> mJournal;
    Mutex mMutex;
    Behaviour mBehaviour GUARDED_BY(mMutex);
    std::vector<int32_t> mRequests GUARDED_BY(mMutex);
    /** The rate that forced frames are leading to, and how many are left. */
    std::string mPending GUARDED_BY(mMutex);
    int32_t mFramesLeft GUARDED_BY(mMutex) = 0;
    uint64_t mSwitches GUARDED_BY(mMutex) = 0;
    std::map<std::string, int64_t> mTimeAtRate GUARDED_BY(mMutex);
    int64_t mSince GUARDED_BY(mMutex) = MonotonicNow();
};

}  // namespace KVT::sim
