// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <functional>
#include <utility>

namespace KVT {

/** Stands in front of a peer and lets something happen before each call. */
class Meddler : public android::BBinder {
  public:
    using Action = std::function<void(uint32_t code, const android::Parcel& data)>;

    static void Publish(const char* name, const android::sp<android::IBinder>& peer,
                        Action action) {
        android::defaultServiceManager()->addService(android::String16(name),
                                                     new Meddler(peer, std::move(action)));
    }

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        mAction(code, data);
        return mPeer->transact(code, data, reply, flags);
    }

  private:
    Meddler(const android::sp<android::IBinder>& peer, Action action)
        : mPeer(peer), mAction(std::move(action)) {}

    const android::sp<android::IBinder> mPeer;
    const Action mAction;
};

}  // namespace KVT
