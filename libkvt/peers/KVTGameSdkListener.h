// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

namespace KVT {

/** Registers this process with the game SDK. */
class KVTGameSdkListener : public android::RefBase {
  public:
    /**
     * Registers a new callback object; there is no way back, the SDK keeps it as long as it likes.
     *
     * @param name subscription, as "RES:<package>-><key>|<key>"
     * @return whether the SDK took it; false for a null name
     */
    bool RegisterGameSdkCallback(const char* name);
};

}  // namespace KVT
