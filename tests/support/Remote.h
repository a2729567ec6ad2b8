// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
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

}  // namespace KVT
