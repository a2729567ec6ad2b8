// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <chrono>
#include <functional>

namespace KVT::ctl {

/**
 * Calls others, who may never answer, on a thread of its own. One that is not back in time is left
 * behind: whatever it uses must belong to the call.
 *
 * @return OK; TIMED_OUT; NO_MEMORY without a thread
 */
android::status_t CallInTime(std::chrono::milliseconds timeout, std::function<void()> call);

/** Whether a thread was left behind: then the process must end without destroying what it uses. */
bool IsCallLeftBehind();

}  // namespace KVT::ctl
