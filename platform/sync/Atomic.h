// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace KVT {

/** An atomic by which threads tell each other what to do, and not just what they have counted. */
template <typename T>
using Atomic = std::atomic<T>;

}  // namespace KVT
