// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <functional>

#include "host/FrameworkClient.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT::ctl {

/** @return the service, or null after saying why there is none and setting the status */
android::sp<android::IBinder> FindService(Context& context);

/** Calls the service as the framework does; says so when it fails. @return whether it worked */
bool WithFramework(Context& context,
                   const std::function<android::status_t(FrameworkClient& framework)>& call);

}  // namespace KVT::ctl
