// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <atomic>
#include <cstdint>
#include <functional>

#include "fuzz/FuzzInput.h"
#include "sim/fakes/FakePhone.h"

namespace KVT::fuzz {

/**
 * The phone around a service, each peer behind a front that can hang, fail or let something happen
 * in the middle of a call. Outlives the check threads, which call it to the end.
 */
class Peers {
  public:
    Peers();
    ~Peers();

    sim::FakePhone phone;

    /** @param inACall runs on the caller's thread, in each call of a peer */
    void publish(std::function<void()> inACall);

    /**
     * Something about a peer changes, as the input chooses.
     * @return whether that is, or may lead to, a fault
     */
    bool disturb(FuzzInput& input);
    /** All peers are there, and answer at once. */
    void recover();

    /** How much longer a change of the panel takes than with peers that answer at once. */
    int64_t longestChangeNs() const;

  private:
    class Front;

    std::vector<android::sp<Front>> mFronts;
    std::function<void()> mInACall = [] {};
    std::atomic<int64_t> mHangNs{0};
};

}  // namespace KVT::fuzz
