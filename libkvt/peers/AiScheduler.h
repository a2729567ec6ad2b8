// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>
#include <vendor/norvik/hardware/zrsched/1.0/ISched.h>

#include <cstdint>

#include "sync/Mutex.h"

namespace KVT {

/** The AI scheduler, which is told at which frame rate to aim. Any thread. */
class AiScheduler {
  public:
    static AiScheduler* GetInstance();

    /** @param fps target frame rate. A message that does not arrive is dropped. */
    void sendTarget(int32_t fps) EXCLUDES(mMutex);

  private:
    using ISched = ::vendor::norvik::hardware::zrsched::V1_0::ISched;

    AiScheduler() = default;
    ~AiScheduler() = default;

    android::sp<ISched> find() EXCLUDES(mMutex);

    Mutex mMutex;
    android::sp<ISched> mSched GUARDED_BY(mMutex);
};

}  // namespace KVT
