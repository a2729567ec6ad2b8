// SPDX-License-Identifier: Apache-2.0
#include "detect/FrameRefreshDetect.h"

#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int64_t kActiveNs = 200 * kNsPerMs;

}  // namespace

FrameRefreshDetect* FrameRefreshDetect::GetInstance() {
    static FrameRefreshDetect instance;
    return &instance;
}

bool FrameRefreshDetect::IsFrameRefreshActive() const {
    return IsYoungerThan(kActiveNs);
}

}  // namespace KVT
