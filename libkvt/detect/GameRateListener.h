// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/** Whoever acts on the frame rate of the foreground game. */
class GameRateListener {
  public:
    /**
     * A result, changed or not, of the game that is in front: until this returns none other can
     * come to the front. Called on the frames' thread; must not wait for an event of the policy.
     *
     * @param fps detected rate, where 70 and more count as 90
     */
    virtual void onGameRate(int32_t fps) = 0;

  protected:
    ~GameRateListener() = default;
};

}  // namespace KVT
