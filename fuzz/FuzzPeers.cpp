// SPDX-License-Identifier: Apache-2.0
#include "fuzz/FuzzPeers.h"

#include <binder/IServiceManager.h>

#include <utility>

#include "linux/vendor/Protocol.h"
#include "sync/Clock.h"

namespace KVT::fuzz {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String16;

/** What stands in front of one peer. */
class Peers::Front : public android::BBinder {
  public:
    Front(Peers* peers, String16 name, sp<IBinder> peer)
        : mPeers(peers), mName(std::move(name)), mPeer(std::move(peer)) {}

    void come() { android::defaultServiceManager()->addService(mName, this); }
    void go() { android::defaultServiceManager()->addService(mName, nullptr); }
    /** The display service ends the service when it dies in the middle of a call. */
    bool mayFail() const { return mName != String16(vendor::kDisplayService); }

    std::atomic<bool> fails{false};

  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        if (const int64_t hang = mPeers->mHangNs; hang > 0) {
            SleepFor(hang);
        }
        mPeers->mInACall();
        return fails ? android::DEAD_OBJECT : mPeer->transact(code, data, reply, flags);
    }

  private:
    Peers* const mPeers;
    const String16 mName;
    const sp<IBinder> mPeer;
};

Peers::Peers() = default;
Peers::~Peers() = default;

void Peers::publish(std::function<void()> inACall) {
    phone.publish();
    mInACall = std::move(inACall);
    const auto manager = android::defaultServiceManager();
    for (const String16& name : manager->listServices(0)) {
        mFronts.push_back(new Front(this, name, manager->checkService(name)));
        mFronts.back()->come();
    }
}

bool Peers::disturb(FuzzInput& input) {
    using Behaviour = sim::FakePanel::Behaviour;
    static constexpr const char* kReports[] = {
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":101,"10":90})",
        R"({"pkg":"com.tencent.tmgp.pubgmhd","1":102,"10":60})", R"({"pkg":1)"};
    static constexpr int64_t kHangsNs[] = {0, 30 * kNsPerMs, kNsPerS};
    static constexpr const char* kRates[] = {"60", "90", "60n", "30"};
    static constexpr int32_t kErrors[] = {0, -1};
    Front& front = *mFronts[input.pick(mFronts.size())];
    switch (input.pick(8)) {
        case 0:
            phone.gameSdk->report(input.pickFrom(kReports));
            return false;
        case 1:
            mHangNs = input.pickFrom(kHangsNs);
            return false;
        case 2:
            phone.panel->changeByItself(input.pickFrom(kRates));
            return true;
        case 3:
            phone.panel->behave(&Behaviour::setError, input.pickFrom(kErrors));
            return true;
        case 4:
            phone.panel->behave(&Behaviour::getError, input.pickFrom(kErrors));
            return true;
        case 5:
            phone.classifier->throwException(input.pickFrom(kErrors));
            return true;
        case 6:
            front.fails = front.mayFail() && input.pick(2) == 0;
            return true;
        default:
            input.pick(2) == 0 ? front.go() : front.come();
            return true;
    }
}

void Peers::recover() {
    using Behaviour = sim::FakePanel::Behaviour;
    mHangNs = 0;
    phone.panel->behave(&Behaviour::setError, 0);
    phone.panel->behave(&Behaviour::getError, 0);
    for (const sp<Front>& front : mFronts) {
        front->fails = false;
        front->come();
    }
}

int64_t Peers::longestChangeNs() const {
    // Each of nine looks at the panel and nine frames, and who is told afterwards; and all of it
    // again for types that come late, one after the other.
    return 3 * 24 * mHangNs;
}

}  // namespace KVT::fuzz
