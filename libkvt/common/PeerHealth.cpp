// SPDX-License-Identifier: Apache-2.0
#include "common/PeerHealth.h"

#include "sync/Atomic.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

/** What every service takes now and then, when the phone is busy. */
constexpr int64_t kPatienceNs = kNsPerS;

struct Health {
    Atomic<int32_t> calls{0};
    /** When the oldest of the calls under way began; monotonic ns, as the next one. */
    Atomic<int64_t> callSince{0};
    /** 0 while the service can be reached. */
    Atomic<int64_t> missingSince{0};
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
        health.callSince = MonotonicNow();
    }
}

PeerCall::~PeerCall() {
    --HealthAt(mPeer).calls;
}

void PeerCall::reached(bool isReached) {
    Health& health = HealthAt(mPeer);
    if (isReached) {
        health.missingSince = 0;
    } else if (health.missingSince == 0) {
        health.missingSince = MonotonicNow();
    }
}

std::string HealthOf(Peer peer) {
    const Health& health = HealthAt(peer);
    const int64_t now = MonotonicNow();
    const auto seconds = [now](int64_t since) {
        return std::to_string((now - since) / kNsPerS) + " s";
    };
    if (const int64_t since = health.missingSince; since != 0) {
        return "missing for " + seconds(since);
    }
    if (const int64_t since = health.callSince; health.calls > 0 && now - since > kPatienceNs) {
        return "silent for " + seconds(since);
    }
    return "in time";
}

}  // namespace KVT
