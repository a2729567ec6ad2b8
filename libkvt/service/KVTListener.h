// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <cstdint>

namespace KVT {

/**
 * Whoever wants to know the frame rate of the game in front, inside a client process. Held by
 * strong references.
 *
 * Nothing is reported in a game's first 121 s; then the highest rate so far, then every change.
 */
class KVTListener : public virtual android::RefBase {
  public:
    /**
     * Runs on a binder thread, with the listener lists of the whole process locked: must not add or
     * remove a listener, and must not block, which would keep every other listener waiting.
     *
     * @param fps frames per second; 60 when the game renders fewer, 90 when it renders 70 or more
     */
    virtual void NotifyGameFpsToAps(int32_t fps);

    ~KVTListener() override;
};

}  // namespace KVT
