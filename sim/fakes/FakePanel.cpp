// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakePanel.h"

#include <binder/Parcel.h>

#include <algorithm>
#include <cstdlib>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {
namespace {

constexpr int32_t kNoSuchRate = -22;

}  // namespace

const std::vector<std::string>& FakePanel::KnownRates() {
    static const auto& byIndex =
        *new std::vector<std::string>{"60n", "30", "45", "60", "90", "120", "180"};
    return byIndex;
}

bool FakePanel::Behaviour::shows(const std::string& rate) const {
    return rate == normal || std::find(rates.begin(), rates.end(), rate) != rates.end();
}

void FakePanel::behave(const Behaviour& behaviour) {
    MutexLock lock(mMutex);
    mBehaviour = behaviour;
}

void FakePanel::change(const std::function<void(Behaviour&)>& how) {
    MutexLock lock(mMutex);
    Behaviour next = mBehaviour;
    how(next);
    const std::string wanted = next.shows(next.current) ? next.current : next.normal;
    next.current = mBehaviour.current;
    mBehaviour = next;
    if (!mBehaviour.shows(mPending)) {
        mFramesLeft = 0;
    }
    switchLocked(wanted);
}

void FakePanel::beginAccount() {
    MutexLock lock(mMutex);
    mSwitches = 0;
    mTimeAtRate.clear();
    mSince = MonotonicNow();
}

FakePanel::Behaviour FakePanel::behaviour() {
    MutexLock lock(mMutex);
    return mBehaviour;
}

bool FakePanel::changeByItself(const std::string& rate) {
    MutexLock lock(mMutex);
    if (!mBehaviour.shows(rate)) {
        return false;
    }
    switchLocked(rate);
    return true;
}

void FakePanel::onFrame() {
    MutexLock lock(mMutex);
    frameLocked();
}

void FakePanel::frameLocked() {
    if (mFramesLeft > 0 && --mFramesLeft == 0) {
        switchLocked(mPending);
    }
}

int32_t FakePanel::currentHz() {
    MutexLock lock(mMutex);
    return atoi(mBehaviour.current.c_str());
}

std::vector<int32_t> FakePanel::requests() {
    MutexLock lock(mMutex);
    return mRequests;
}

uint64_t FakePanel::switches() {
    MutexLock lock(mMutex);
    return mSwitches;
}

std::map<std::string, int64_t> FakePanel::timeAtRate() {
    MutexLock lock(mMutex);
    std::map<std::string, int64_t> times = mTimeAtRate;
    times[mBehaviour.current] += MonotonicNow() - mSince;
    return times;
}

void FakePanel::switchLocked(const std::string& rate) {
    if (rate == mBehaviour.current) {
        return;
    }
    const int64_t now = MonotonicNow();
    mTimeAtRate[mBehaviour.current] += now - mSince;
    mSince = now;
    ++mSwitches;
    mJournal->add("panel " + mBehaviour.current + " -> " + rate + " Hz");
    mBehaviour.current = rate;
}

int32_t FakePanel::requestLocked(int32_t index) {
    mRequests.push_back(index);
    if (mBehaviour.setError != 0) {
        return mBehaviour.setError;
    }
    const auto wanted = static_cast<size_t>(index);
    if (index < 0 || wanted >= KnownRates().size() || !mBehaviour.shows(KnownRates()[wanted])) {
        return kNoSuchRate;
    }
    mPending = KnownRates()[wanted];
    mFramesLeft = mBehaviour.obeysAfter;
    if (mFramesLeft == 0) {
        switchLocked(mPending);
    }
    return 0;
}

std::string FakePanel::descriptionLocked() {
    if (!mBehaviour.rawDescription.empty()) {
        return mBehaviour.rawDescription;
    }
    std::string text = "current_fps:" + mBehaviour.current + ";default_fps:" + mBehaviour.normal +
                       ";support_fps_list:";
    for (size_t i = 0; i < mBehaviour.rates.size(); ++i) {
        text += (i == 0 ? "" : ",") + mBehaviour.rates[i];
    }
    return text;
}

android::status_t FakePanel::onTransact(uint32_t code, const android::Parcel& data,
                                        android::Parcel* reply, uint32_t flags) {
    MutexLock lock(mMutex);
    if (mBehaviour.vanished) {
        return android::DEAD_OBJECT;
    }
    switch (code) {
        case vendor::kDisplayHasVersion11:
            return reply->writeBool(mBehaviour.hasVersion11);
        case vendor::kDisplayGetFps:
            reply->writeInt32(mBehaviour.getError);
            return reply->writeString8(android::String8(descriptionLocked().c_str()));
        case vendor::kDisplaySetFps:
            return reply->writeInt32(requestLocked(data.readInt32()));
        case vendor::kDisplayFrameDrawn:
            frameLocked();
            return android::OK;
        default:
            return BBinder::onTransact(code, data, reply, flags);
    }
}

}  // namespace KVT::sim
