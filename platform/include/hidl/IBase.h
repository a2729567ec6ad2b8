// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <cstdint>

namespace android::hidl::base::V1_0 {

/** What every hardware service offers. */
class IBase : public virtual RefBase {
  public:
    /** @return whether the recipient was registered; a null one is not */
    virtual hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                               uint64_t cookie) = 0;
};

}  // namespace android::hidl::base::V1_0
