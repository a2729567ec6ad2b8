// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <hidl/IBase.h>

#include <vector>

#include "sync/Mutex.h"

namespace KVT::vendor {

/**
 * The death recipients of a hardware service's proxy, registered with the binder behind it for as
 * long as this lives. Thread-safe.
 */
class DeathLinks {
  public:
    explicit DeathLinks(const android::sp<android::IBinder>& remote) : mRemote(remote) {}
    ~DeathLinks();
    DeathLinks(const DeathLinks&) = delete;
    DeathLinks& operator=(const DeathLinks&) = delete;

    /**
     * @param who the object that the recipient is told about
     * @return false for a null recipient and for a service of this process, which can not die
     */
    android::hardware::Return<bool> link(
        android::hidl::base::V1_0::IBase* who,
        const android::sp<android::hardware::hidl_death_recipient>& recipient, uint64_t cookie);

  private:
    const android::sp<android::IBinder> mRemote;
    Mutex mMutex;
    // A binder holds its recipients weakly.
    std::vector<android::sp<android::IBinder::DeathRecipient>> mForwarders GUARDED_BY(mMutex);
};

}  // namespace KVT::vendor
