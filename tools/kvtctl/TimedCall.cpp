// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/TimedCall.h"

#include <atomic>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "sync/Condition.h"
#include "sync/Worker.h"

namespace KVT::ctl {
namespace {

std::atomic<bool> gLeftBehind{false};

struct Ending {
    Mutex mutex;
    Condition isOver;
};

}  // namespace

android::status_t CallInTime(Deadline deadline, std::function<void()> call) {
    if (deadline.isOver()) {
        return android::TIMED_OUT;
    }
    // Each by another name: those that were left behind are not waited for.
    static std::atomic<int> calls{0};
    const std::string name = "kvtctl's call " + std::to_string(++calls);
    const auto ending = std::make_shared<Ending>();
    std::thread thread;
    WorkerScope::Announce(name.c_str());
    try {
        thread = std::thread([ending, name, call = std::move(call)] {
            const WorkerScope scope(name.c_str());
            call();
            MutexLock lock(ending->mutex);
            ending->isOver.signal();
        });
    } catch (const std::system_error&) {
        WorkerScope::Withdraw(name.c_str());
        return android::NO_MEMORY;
    }
    bool isOver = false;
    {
        MutexLock lock(ending->mutex);
        isOver = ending->isOver.waitUntil(ending->mutex, deadline.ns());
    }
    if (!isOver) {
        gLeftBehind = true;
        thread.detach();
        return android::TIMED_OUT;
    }
    WorkerScope::AwaitEnd(name.c_str());
    thread.join();
    return android::OK;
}

bool IsCallLeftBehind() {
    return gLeftBehind;
}

}  // namespace KVT::ctl
