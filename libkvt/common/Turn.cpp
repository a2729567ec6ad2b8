// SPDX-License-Identifier: Apache-2.0
#include "common/Turn.h"

#include "common/Log.h"

namespace KVT {
namespace {

thread_local Turn* tCurrent = nullptr;

}  // namespace

Turn::Turn() {
    tCurrent = this;
}

Turn::~Turn() {
    tCurrent = nullptr;
}

bool Turn::IsUnderWay() {
    return tCurrent != nullptr;
}

bool Turn::PutOff(std::function<void()> action) {
    Turn& turn = *tCurrent;
    if (turn.mPutOff.size() < kMostPutOff) {
        turn.mPutOff.push_back(std::move(action));
        return true;
    }
    if (!std::exchange(turn.mDropped, true)) {
        KVT_LOGE("events dropped: more than %zu from processes that are being waited for",
                 kMostPutOff);
    }
    return false;
}

void Turn::doPutOff() {
    // More may come while these are done, and be put off in turn.
    while (mBegun < mPutOff.size()) {
        const std::function<void()> action = std::move(mPutOff[mBegun++]);
        action();
    }
}

void Turn::DropPutOff() {
    if (IsUnderWay()) {
        tCurrent->mBegun = tCurrent->mPutOff.size();
    }
}

void Turn::CatchUp(Mutex& mutex) {
    if (!IsUnderWay() || tCurrent->mBegun == tCurrent->mPutOff.size()) {
        return;
    }
    mutex.unlock();
    tCurrent->doPutOff();
    mutex.lock();
}

}  // namespace KVT
