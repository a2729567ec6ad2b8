// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/** How often this process has allocated memory, in C or C++, on any thread. */
int64_t AllocationCount();

}  // namespace KVT
