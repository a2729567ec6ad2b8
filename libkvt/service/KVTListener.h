// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <cstdint>

namespace KVT {

/** Whoever wants to know a game's frame rate, inside a client process. Held by strong references.
 */
class KVTListener : public virtual android::RefBase {
  public:
    /**
     * Runs on a binder thread, with the listener lists locked: must not add or remove a listener.
     *
     * @param fps detected frame rate of the foreground game
     */
    virtual void NotifyGameFpsToAps(int32_t fps);

    ~KVTListener() override;
};

}  // namespace KVT
