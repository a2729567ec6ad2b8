// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <functional>
#include <string>

#include "host/FrameworkClient.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT::ctl {

/** @return the service, or null after saying why there is none and setting the status */
android::sp<android::IBinder> FindService(Context& context);

/** What a failed call's status means to whoever called. */
std::string StatusText(android::status_t status);

/** Calls the service as the framework does; says so when it fails. @return whether it worked */
bool WithFramework(Context& context,
                   const std::function<android::status_t(FrameworkClient& framework)>& call);

}  // namespace KVT::ctl
