// SPDX-License-Identifier: Apache-2.0
#include "sim/FrameSource.h"

#include <utility>

#include "sim/World.h"
#include "sync/Clock.h"

namespace KVT::sim {

FrameSource::FrameSource(World& world, const Options& options, Send send)
    : mWorld(world),
      mOptions(options),
      mSend(std::move(send)),
      mStart(MonotonicNow()),
      mStream(options.seed),
      mNext(mStart) {}

void FrameSource::Start(World& world, const Options& options, Send send) {
    std::make_shared<FrameSource>(world, options, std::move(send))->scheduleNext();
}

bool FrameSource::inPause(int64_t timeNs) const {
    const int64_t cycle = mOptions.pauseEveryNs + mOptions.pauseNs;
    return mOptions.pauseEveryNs > 0 && (timeNs - mStart) % cycle >= mOptions.pauseEveryNs;
}

void FrameSource::scheduleNext() {
    while (inPause(mNext)) {
        mNext += mStream.next(mOptions.pattern);
    }
    if (mNext >= mStart + mOptions.lengthNs) {
        return;
    }
    mWorld.at(mNext, [self = shared_from_this(), time = mNext] {
        self->mSend(time);
        self->scheduleNext();
    });
    mNext += mStream.next(mOptions.pattern);
}

}  // namespace KVT::sim
