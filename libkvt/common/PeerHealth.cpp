// SPDX-License-Identifier: Apache-2.0
#include "common/PeerHealth.h"

#include "sync/Atomic.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

/** What every service takes now and then, when the phone is busy. */
constexpr int64_t kPatienceNs = kNsPerS;

/** Times are ns, 0 for none: boot time, but for a wait, in which a phone that sleeps does not count. */
struct Health {
    Atomic<int32_t> calls{0};
    /** Since when there are calls under way of which none has returned. */
    Atomic<int64_t> waitingSince{0};
    Atomic<int64_t> missingSince{0};
    Atomic<int64_t> failedAt{0};
};

// Never destroyed: check threads call peers to the very end.
Health& HealthAt(Peer peer) {
    static auto* const peers = new Health[static_cast<size_t>(Peer::kClassification) + 1];
    return peers[static_cast<size_t>(peer)];
}

}  // namespace

PeerCall::PeerCall(Peer peer) : mPeer(peer) {
    Health& health = HealthAt(peer);
    if (++health.calls == 1) {
        health.waitingSince = MonotonicNow();
    }
}

PeerCall::~PeerCall() {
    Health& health = HealthAt(mPeer);
    health.waitingSince = --health.calls == 0 ? 0 : MonotonicNow();
}

void PeerCall::found(bool isThere) {
    Health& health = HealthAt(mPeer);
    if (isThere) {
        health.missingSince = 0;
    } else if (health.missingSince == 0) {
        health.missingSince = BootTimeNow();
    }
}

void PeerCall::done(bool isDone) {
    HealthAt(mPeer).failedAt = isDone ? 0 : BootTimeNow();
}

std::string HealthOf(Peer peer) {
    const Health& health = HealthAt(peer);
    const auto seconds = [](int64_t ns) { return std::to_string(ns / kNsPerS) + " s"; };
    if (const int64_t since = health.missingSince; since != 0) {
        return "missing for " + seconds(BootTimeNow() - since);
    }
    if (const int64_t since = health.waitingSince;
        since != 0 && MonotonicNow() - since > kPatienceNs) {
        return "silent for " + seconds(MonotonicNow() - since);
    }
    if (const int64_t at = health.failedAt; at != 0) {
        return "failed " + seconds(BootTimeNow() - at) + " ago";
    }
    return "in time";
}

}  // namespace KVT
