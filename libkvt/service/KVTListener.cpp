// SPDX-License-Identifier: Apache-2.0
#include "service/KVTListener.h"

namespace KVT {

void KVTListener::NotifyGameFpsToAps(int32_t) {}

KVTListener::~KVTListener() = default;

}  // namespace KVT
