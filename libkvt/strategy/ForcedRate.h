// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

/**
 * A frame rate that a game strategy asks of the AI scheduler for a while, whatever the game shows.
 *
 * Guarded by the strategy's mutex. The check thread begins and ends it.
 */
class ForcedRate {
  public:
    /** @param fps the rate, for the scheduler now and for every target sent to it meanwhile */
    void begin(int32_t fps);

    /**
     * Gives the rate back at once when the strategy is disarmed. Not left to the check thread: when
     * that notices, another strategy may have forced a rate of its own.
     */
    void revoke();

    /** @return whether it lasted until now; false after revoke() */
    bool end();

    /** Between begin() and end(), revoked or not. */
    bool isPending() const { return mState != State::kNone; }

  private:
    enum class State { kNone, kRunning, kRevoked };

    State mState = State::kNone;
};

}  // namespace KVT
