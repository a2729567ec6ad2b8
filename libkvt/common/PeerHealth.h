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

    /** Whether there is such a service. */
    void found(bool isThere);
    /** Whether it did what it was asked for. */
    void done(bool isDone);

  private:
    const Peer mPeer;
};

/** "in time", "missing for 3 s", "silent for 14 s": no call has returned; or "failed 5 s ago". */
std::string HealthOf(Peer peer);

}  // namespace KVT
