// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "sim/FrameStream.h"

namespace KVT::sim {

class World;

/** Something on the screen that moves: sends frames to the service for a while, with pauses. */
class FrameSource : public std::enable_shared_from_this<FrameSource> {
  public:
    struct Options {
        FramePattern pattern;
        int64_t lengthNs = 0;
        /** Frames stop for pauseNs after each pauseEveryNs; 0 never. */
        int64_t pauseEveryNs = 0;
        int64_t pauseNs = 0;
        uint64_t seed = 1;
    };
    using Send = std::function<void(int64_t timestampNs)>;

    /** Starts now and lives in the world's actions until it ends. */
    static void Start(World& world, const Options& options, Send send);

    FrameSource(World& world, const Options& options, Send send);

  private:
    void scheduleNext();
    bool inPause(int64_t timeNs) const;

    World& mWorld;
    const Options mOptions;
    const Send mSend;
    const int64_t mStart;
    FrameStream mStream;
    int64_t mNext;
};

}  // namespace KVT::sim
