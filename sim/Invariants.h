// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "policy/DecisionLog.h"
#include "state/SceneInputs.h"

namespace KVT::sim {

class FakePhone;

/**
 * What holds of the policy and of the phone around it whenever no event and no change of the panel
 * is under way, whatever happened before. For searches, fuzz targets and long runs.
 *
 * Some rules compare with the last look. One object for the life of a policy, made after its start;
 * one thread.
 */
class Invariants {
  public:
    explicit Invariants(FakePhone& phone);

    /**
     * A peer fails, or the panel does not follow or moves by itself. What the policy knows of its
     * peers, and they of it, may be wrong from now on; the panel is believed again after the next
     * change that succeeds.
     */
    void onPeerFault();
    /** All peers answer again, and since then another package came to the front, undisturbed. */
    void onPeersMended() { mPeersAreGood = true; }

    /** What has happened since the last look; kNothing: nor for longer than any strategy waits. */
    enum class Lately { kOneEvent, kManyEvents, kNothing };

    /** @return each rule that is violated, as "rule: name=value ..." */
    std::vector<std::string> violated(Lately lately);

  private:
    /** What the next look is compared with. */
    struct Look {
        PolicySnapshot scenes;
        uint32_t packageChanges = 0;
        uint64_t failures = 0;
        size_t requests = 0;
    };

    Look look() const;
    Look lookBetweenEvents(Lately lately);
    void checkStrategies(Lately lately);
    void checkRequest(const Look& now);
    void checkPanel(const Look& now);
    void checkPackage(const Look& now);
    void checkMemory();
    void checkPeers();

    /** @param values name and value in turn */
    template <typename... Values>
    void require(bool holds, const char* rule, const Values&... values);

    FakePhone& mPhone;
    Look mBefore;
    std::optional<DecisionRecord> mLast;
    bool mPanelFollows = false;
    bool mPeersAreGood = true;
    std::vector<std::string> mBroken;
};

}  // namespace KVT::sim
