// SPDX-License-Identifier: Apache-2.0
#include "detect/FrameRefreshDetect.h"

#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int64_t kRefreshActiveNs = 200 * kNsPerMs;

}  // namespace

FrameRefreshDetect* FrameRefreshDetect::GetInstance() {
    static FrameRefreshDetect instance;
    return &instance;
}

bool FrameRefreshDetect::IsFrameRefreshActive() const {
    return IsYoungerThan(kRefreshActiveNs);
}

}  // namespace KVT
