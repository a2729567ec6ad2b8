// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace android::driver {

/**
 * All that the runtime asks of the kernel's binder driver. Tests and fuzzers link other definitions
 * of these five functions and need no driver.
 */

/** @return a descriptor, or a negative errno */
int Open(const char* device);
void Close(int fd);

/** @return the read-only receive buffers, or null */
void* Map(int fd, size_t size);
void Unmap(void* address, size_t size);

/** @return 0 or more, or a negative errno */
int Ioctl(int fd, unsigned long request, void* argument);

}  // namespace android::driver
