// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <chrono>
#include <cstdint>
#include <functional>

#include "sync/Clock.h"

namespace KVT::ctl {

/** Until when a command waits for others, however often it asks them. */
class Deadline {
  public:
    /** So long from now on. */
    Deadline(std::chrono::milliseconds timeout)  // NOLINT(google-explicit-constructor)
        : mNs(MonotonicNow() + timeout.count() * kNsPerMs) {}

    int64_t ns() const { return mNs; }
    bool isOver() const { return MonotonicNow() >= mNs; }

  private:
    int64_t mNs;
};

/**
 * Calls others, who may never answer, on a thread of its own. One that is not back by the deadline
 * is left behind: whatever it uses must belong to the call.
 *
 * @return OK; TIMED_OUT; NO_MEMORY without a thread
 */
android::status_t CallInTime(Deadline deadline, std::function<void()> call);

/** Whether a thread was left behind: then the process must end without destroying what it uses. */
bool IsCallLeftBehind();

}  // namespace KVT::ctl
