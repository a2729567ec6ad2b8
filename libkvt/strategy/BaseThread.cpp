// SPDX-License-Identifier: Apache-2.0
#include "strategy/BaseThread.h"

#include <optional>

#include "sync/Worker.h"

namespace KVT {
namespace {

/** Lives as long as the thread, even when exit is asked for before threadLoop() was reached. */
thread_local std::optional<WorkerScope> tScope;

}  // namespace

BaseThread::~BaseThread() {
    Stop([] {});
}

android::status_t BaseThread::run(const char* name, int32_t priority, size_t stack) {
    mName = name;
    WorkerScope::Announce(name);
    const android::status_t status = Thread::run(name, priority, stack);
    if (status != android::OK) {
        WorkerScope::Withdraw(name);
    }
    return status;
}

android::status_t BaseThread::readyToRun() {
    tScope.emplace(mName);
    return android::OK;
}

void BaseThread::Stop(const std::function<void()>& wake) {
    if (!isRunning()) {
        return;
    }
    requestExit();
    wake();
    WorkerScope::AwaitEnd(mName);
    join();
}

}  // namespace KVT
