// SPDX-License-Identifier: Apache-2.0
// Calls between two processes over the kernel's driver: time, instructions where the machine counts
// them, and heap allocations on either side. For a machine with the driver:
//     scripts/vm --cpus 1 build/default/bench/binder_bench
// (with more processors the emulator's own hand-over between them outweighs the calls), and with
// --instruction-clock beside it for instructions.
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "bench/support/Allocations.h"
#include "host/KVTServiceImpl.h"
#include "linux/servicemanager/ServiceManager.h"
#include "service/KVTManager.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

using namespace android;

enum Code : uint32_t { kTake = 1000, kAllocations };

/** The real service, and two codes to compare it with. */
class Target : public KVTServiceImpl {
  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        switch (code) {
            case kTake:
                return OK;
            case kAllocations:
                return reply->writeInt64(AllocationCount());
            default:
                return KVTServiceImpl::onTransact(code, data, reply, flags);
        }
    }
};

template <typename BODY>
void Fork(BODY body) {
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(1);
    }
}

sp<IServiceManager> Manager() {
    while (defaultServiceManager() == nullptr) {
        SleepFor(kNsPerMs);
    }
    return defaultServiceManager();
}

void Serve() {
    Manager()->addService(IKVTService::descriptor, new Target);
    ProcessState::self()->startThreadPool();
    IPCThreadState::self()->joinThreadPool();
}

sp<IBinder> FindTarget() {
    return Manager()->getService(IKVTService::descriptor);
}

int64_t TargetAllocations() {
    Parcel data;
    Parcel reply;
    FindTarget()->transact(kAllocations, data, &reply);
    return reply.readInt64();
}

/** What the framework sends when a package comes to the front. */
void WritePackages(Parcel* data) {
    data->writeString16(String16("com.example.application"));
    data->writeInt32(2);
    data->writeString16(String16("com.example.application"));
    data->writeString16(String16("com.example.floating"));
}

/** scripts/vm --instruction-clock makes nanoseconds of instructions, and says so. */
bool ClockCountsInstructions() {
    return getenv("KVT_INSTRUCTION_CLOCK") != nullptr;
}

template <typename CALL>
void Measure(benchmark::State& state, CALL call) {
    call();
    const int64_t theirs = TargetAllocations();
    const int64_t ours = AllocationCount();
    const int64_t start = MonotonicNow();
    for (auto _ : state) {
        if (call() != OK) {
            state.SkipWithError("the call failed");
        }
    }
    const int64_t elapsed = MonotonicNow() - start;
    const auto calls = static_cast<double>(state.iterations());
    state.counters["allocs/call, caller"] = static_cast<double>(AllocationCount() - ours) / calls;
    state.counters["allocs/call, callee"] =
        static_cast<double>(TargetAllocations() - theirs) / calls;
    if (ClockCountsInstructions()) {
        state.counters["instructions/call"] = static_cast<double>(elapsed) / calls;
    }
}

void EmptyCall(benchmark::State& state) {
    Measure(state, [target = FindTarget()] {
        Parcel data;
        Parcel reply;
        return target->transact(kTake, data, &reply);
    });
}

void PackageCall(benchmark::State& state) {
    Measure(state, [target = FindTarget()] {
        Parcel data;
        Parcel reply;
        WritePackages(&data);
        return target->transact(kTake, data, &reply);
    });
}

/** With a call that waits after every hundred, so that the receiver is not flooded. */
void OneWayCall(benchmark::State& state) {
    int64_t calls = 0;
    Measure(state, [&calls, target = FindTarget()] {
        Parcel data;
        data.writeInt64(calls);
        const bool wait = ++calls % 100 == 0;
        return target->transact(kTake, data, nullptr, wait ? 0 : IBinder::FLAG_ONEWAY);
    });
}

/** A frame as the compositor sends it: a manager, a lookup, and a one-way call; nothing is kept. */
void FacadeFrame(benchmark::State& state) {
    LayerTimeInfo info{"SurfaceView - com.example.game/com.example.game.MainActivity#0", 1, false};
    Measure(state, [&info] {
        ++info.timestamp;
        KVTManager::SendLayerTimeInfo(info);
        return IPCThreadState::self()->clearLastError();
    });
}

BENCHMARK(EmptyCall)->UseRealTime();
BENCHMARK(PackageCall)->UseRealTime();
BENCHMARK(OneWayCall)->UseRealTime();
BENCHMARK(FacadeFrame)->UseRealTime();

}  // namespace
}  // namespace KVT

int main(int argc, char** argv) {
    if (access("/dev/binder", R_OK | W_OK) != 0) {
        fprintf(stderr, "binder_bench: no /dev/binder here; run it through scripts/vm\n");
        return 1;
    }
    if (!KVT::ClockCountsInstructions()) {
        fprintf(stderr, "instructions: not counted here; scripts/vm --instruction-clock does\n");
    }
    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
    KVT::Fork([] { KVT::RunServiceManager(); });
    KVT::Fork(KVT::Serve);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
