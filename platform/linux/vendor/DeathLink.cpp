// SPDX-License-Identifier: Apache-2.0
#include "linux/vendor/DeathLink.h"

namespace KVT::vendor {
namespace {

using android::sp;
using android::wp;
using android::hardware::hidl_death_recipient;
using android::hidl::base::V1_0::IBase;

/** Passes a binder's death on to a hardware service's recipient. */
class DeathForwarder : public android::IBinder::DeathRecipient {
  public:
    DeathForwarder(const wp<IBase>& who, const sp<hidl_death_recipient>& recipient, uint64_t cookie)
        : mWho(who), mRecipient(recipient), mCookie(cookie) {}

    void binderDied(const wp<android::IBinder>&) override {
        mRecipient->serviceDied(mCookie, mWho);
    }

  private:
    const wp<IBase> mWho;
    const sp<hidl_death_recipient> mRecipient;
    const uint64_t mCookie;
};

}  // namespace

DeathLinks::~DeathLinks() {
    // Left behind, they would keep the binder known, to this process and to the driver.
    for (const auto& forwarder : mForwarders) {
        mRemote->unlinkToDeath(forwarder);
    }
}

android::hardware::Return<bool> DeathLinks::link(IBase* who,
                                                 const sp<hidl_death_recipient>& recipient,
                                                 uint64_t cookie) {
    if (recipient == nullptr) {
        return false;
    }
    const sp<android::IBinder::DeathRecipient> forwarder =
        new DeathForwarder(who, recipient, cookie);
    {
        MutexLock lock(mMutex);
        mForwarders.push_back(forwarder);
    }
    return mRemote->linkToDeath(forwarder) == android::OK;
}

}  // namespace KVT::vendor
