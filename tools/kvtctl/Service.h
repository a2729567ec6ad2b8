// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "host/FrameworkClient.h"
#include "tools/kvtctl/Kvtctl.h"
#include "tools/kvtctl/TimedCall.h"

namespace KVT::ctl {

/** Until whoever does not answer counts as silent. */
using Timeout = std::chrono::milliseconds;
inline constexpr Timeout kTimeout{2000};

/** @return the service, or null after saying why there is none and setting the status */
android::sp<android::IBinder> FindService(Context& context, Deadline deadline = kTimeout);

/** What a failed call's status means to whoever called. */
std::string StatusText(android::status_t status);

/** Says that `what` ("the call") failed, and sets the status; for OK does nothing. */
void Complain(Context& context, const std::string& what, android::status_t status);

/** Calls the service as the framework does; says so when it fails. @return whether it worked */
bool WithFramework(Context& context,
                   const std::function<android::status_t(FrameworkClient& framework)>& call);

/** Has the service dump itself. @param text clean, whoever calls itself the service */
android::status_t FetchDump(const android::sp<android::IBinder>& service,
                            const std::vector<std::string>& arguments, Deadline deadline,
                            std::string* text);

}  // namespace KVT::ctl
