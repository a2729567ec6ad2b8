// SPDX-License-Identifier: Apache-2.0
#include "detect/AppFpsDetect.h"

#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr int64_t kAppActiveNs = kNsPerS;

}  // namespace

AppFpsDetect* AppFpsDetect::GetInstance() {
    static AppFpsDetect instance;
    return &instance;
}

bool AppFpsDetect::IsFullSurfaceViewActive() const {
    return IsYoungerThan(kAppActiveNs);
}

}  // namespace KVT
