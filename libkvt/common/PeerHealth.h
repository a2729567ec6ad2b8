// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace KVT {

/** Services that are called with locks held, or waited for: events stand still while one is silent. */
enum class Peer { kDisplay, kCompositor, kClassification };

/** Stands for a call of a peer, from before it until it is over. Any thread, no locks. */
class PeerCall {
  public:
    explicit PeerCall(Peer peer);
    ~PeerCall();
    PeerCall(const PeerCall&) = delete;
    PeerCall& operator=(const PeerCall&) = delete;

    /** Whether there is such a service, and the call got through to it. */
    void reached(bool isReached);

  private:
    const Peer mPeer;
};

/** "in time", "missing for 3 s" or "silent for 14 s": since the call that has not returned. */
std::string HealthOf(Peer peer);

}  // namespace KVT
