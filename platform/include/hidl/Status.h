// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <string>
#include <utility>

namespace android::hardware {

/** Whether a call reached a hardware service and came back; not what the service answered. */
class Return_base {
  public:
    bool isOk() const { return mStatus == OK; }
    bool isDeadObject() const { return mStatus == DEAD_OBJECT; }
    std::string description() const { return "status " + std::to_string(mStatus); }

  protected:
    explicit Return_base(status_t status) : mStatus(status) {}

  private:
    status_t mStatus;
};

/** The answer of a hardware service, or the failure of the transport. */
template <typename T>
class [[nodiscard]] Return : public Return_base {
  public:
    Return(T value) : Return_base(OK), mValue(std::move(value)) {}
    static Return failed(status_t status) { return Return(status, Failed{}); }

    /** The answer; only meaningful when isOk(). */
    operator T() const { return mValue; }

  private:
    struct Failed {};
    Return(status_t status, Failed) : Return_base(status) {}

    T mValue{};
};

template <>
class [[nodiscard]] Return<void> : public Return_base {
  public:
    Return() : Return_base(OK) {}
    static Return failed(status_t status) { return Return(status); }

  private:
    explicit Return(status_t status) : Return_base(status) {}
};

}  // namespace android::hardware
