// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <functional>
#include <utility>

namespace KVT {

/** A binder that can only be reached by transactions, which a function answers. */
class Remote : public android::BBinder {
  public:
    using Answer = std::function<android::status_t(uint32_t code, const android::Parcel& data,
                                                   android::Parcel* reply, uint32_t flags)>;

    explicit Remote(Answer answer) : mAnswer(std::move(answer)) {}

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        return mAnswer(code, data, reply, flags);
    }

  private:
    const Answer mAnswer;
};

/** Stands in front of a published peer from now on, and lets something happen before each call. */
inline void Meddle(const char* name, const android::sp<android::IBinder>& peer,
                   std::function<void(uint32_t code, const android::Parcel& data)> action) {
    android::defaultServiceManager()->addService(
        android::String16(name),
        new Remote([peer, action = std::move(action)](uint32_t code, const android::Parcel& data,
                                                      android::Parcel* reply, uint32_t flags) {
            action(code, data);
            return peer->transact(code, data, reply, flags);
        }));
}

}  // namespace KVT
