// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>

namespace KVT {

/**
 * The service manager, for a process that may be started at the same time: waited for up to 5 s.
 *
 * @return null when there is none, after saying so on standard error in the name of `program`
 */
android::sp<android::IServiceManager> AwaitServiceManager(const char* program);

}  // namespace KVT
