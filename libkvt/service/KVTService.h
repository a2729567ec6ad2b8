// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "service/BnKVTService.h"

namespace KVT {

/** What game frame-rate detection sees of the service: someone who tells the listeners. */
class KVTService : public BnKVTService {
  public:
    /**
     * Passes a game's frame rate on to every registered listener. Called with no lock of the
     * library held; must not block on a listener.
     *
     * @param fps at least 60
     */
    virtual void ReportGameFps(int32_t fps) = 0;
};

}  // namespace KVT
