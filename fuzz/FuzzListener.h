// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/StrongPointer.h>

#include "service/IKVTListener.h"

namespace KVT::fuzz {

/** A listener as if of another process, which can die. */
class Listener : public BnKVTListener {
  public:
    void NotifyGameFpsToAps(int32_t) override {}
    android::status_t linkToDeath(const android::sp<DeathRecipient>& recipient, void*,
                                  uint32_t) override {
        mRecipient = recipient;
        return mIsAlive ? android::OK : android::DEAD_OBJECT;
    }
    android::status_t unlinkToDeath(const android::wp<DeathRecipient>&, void*, uint32_t,
                                    android::wp<DeathRecipient>*) override {
        mRecipient.clear();
        return android::OK;
    }
    void die() {
        mIsAlive = false;
        if (const android::sp<DeathRecipient> recipient = mRecipient; recipient != nullptr) {
            recipient->binderDied(this);
        }
    }

  private:
    android::sp<DeathRecipient> mRecipient;
    bool mIsAlive = true;
};

}  // namespace KVT::fuzz
