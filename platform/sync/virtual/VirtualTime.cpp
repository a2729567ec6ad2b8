// SPDX-License-Identifier: Apache-2.0
#include "sync/virtual/VirtualTime.h"

#include <sched.h>

#include <utility>

#include "sync/virtual/Scheduler.h"

namespace KVT {
namespace {

using virtualtime::Scheduler;

/** One participant runs at a time, and its turn passes several times as fast to a thread beside it. */
void StayOnThisProcessor() {
    const int processor = sched_getcpu();
    if (processor >= 0 && processor < CPU_SETSIZE) {
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(static_cast<size_t>(processor), &set);
        sched_setaffinity(0, sizeof(set), &set);  // refused, it only takes longer
    }
}

}  // namespace

void VirtualTime::Enter(const Options& options) {
    StayOnThisProcessor();
    // Never destroyed: threads wait in it until the process is gone.
    (new Scheduler(options.seed, options.startNs))->Start();
}

void VirtualTime::Settle() {
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->Settle();
    }
}

void VirtualTime::Suspend(int64_t ns) {
    if (Scheduler* scheduler = Scheduler::Active()) {
        scheduler->Suspend(ns);
    }
}

uint64_t VirtualTime::Digest() {
    Scheduler* scheduler = Scheduler::Active();
    return scheduler != nullptr ? scheduler->Digest() : 0;
}

VirtualThread::VirtualThread(std::string name, std::function<void()> body) {
    Scheduler* scheduler = Scheduler::Active();
    if (scheduler == nullptr) {
        mThread = std::thread(std::move(body));
        return;
    }
    mId = scheduler->Announce(std::move(name));
    mThread = std::thread([scheduler, id = mId, body = std::move(body)] {
        scheduler->Arrive(id);
        body();
        scheduler->Leave();
    });
}

void VirtualThread::Join() {
    if (!mThread.joinable()) {
        return;
    }
    if (Scheduler* scheduler = Scheduler::OfThisThread()) {
        scheduler->AwaitEnd(mId);
    }
    mThread.join();
}

}  // namespace KVT
