// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <cstdint>

namespace android {

/**
 * What parcels need of the transport below them. A program links one implementation: in process
 * (where nothing is remote) or the kernel's driver.
 */

/** @return the proxy of a remote object, or null when the transport has no such object */
sp<IBinder> ProxyForHandle(int32_t handle);

/** @return the driver's number of a remote object that ProxyForHandle made */
int32_t HandleOf(BpBinder* proxy);

}  // namespace android
