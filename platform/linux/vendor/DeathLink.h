// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <hidl/IBase.h>

#include <vector>

#include "sync/Mutex.h"

namespace KVT::vendor {

/**
 * The death recipients of a hardware service's proxy, registered with the binder behind it. They
 * live, registered, as long as this does: a binder holds its recipients weakly. Thread-safe.
 */
class DeathLinks {
  public:
    /**
     * @param who the object that the recipient is told about
     * @return false for a null recipient and for a service of this process, which can not die
     */
    android::hardware::Return<bool> link(
        const android::sp<android::IBinder>& remote, android::hidl::base::V1_0::IBase* who,
        const android::sp<android::hardware::hidl_death_recipient>& recipient, uint64_t cookie);

  private:
    Mutex mMutex;
    std::vector<android::sp<android::IBinder::DeathRecipient>> mForwarders GUARDED_BY(mMutex);
};

}  // namespace KVT::vendor
