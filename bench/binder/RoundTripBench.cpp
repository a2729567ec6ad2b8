// SPDX-License-Identifier: Apache-2.0
// Calls between two processes over the kernel's driver: time, and heap allocations on either side.
// For a machine with the driver: scripts/vm --cpus 1 build/default/bench/binder_bench
// (with more processors the emulator's own hand-over between them outweighs the calls).
#include <benchmark/benchmark.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>

#include "linux/servicemanager/ServiceManager.h"
#include "sync/Clock.h"

namespace {

std::atomic<int64_t> gAllocations{0};

}  // namespace

// Every allocation of the process goes through these, the phone's libraries' too.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* memory, size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}
}

namespace KVT {
namespace {

using namespace android;

constexpr const char* kName = "bench.Target";

enum Code : uint32_t { kTake = 1, kAllocations };

class Target : public BBinder {
  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        switch (code) {
            case kTake:
                return OK;
            case kAllocations:
                return reply->writeInt64(gAllocations);
            default:
                return BBinder::onTransact(code, data, reply, flags);
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

void Serve() {
    while (defaultServiceManager() == nullptr) {
        SleepFor(kNsPerMs);
    }
    defaultServiceManager()->addService(String16(kName), new Target);
    ProcessState::self()->startThreadPool();
    IPCThreadState::self()->joinThreadPool();
}

sp<IBinder> Find() {
    while (defaultServiceManager() == nullptr) {
        SleepFor(kNsPerMs);
    }
    return defaultServiceManager()->getService(String16(kName));
}

int64_t TargetAllocations(const sp<IBinder>& target) {
    Parcel data;
    Parcel reply;
    target->transact(kAllocations, data, &reply);
    return reply.readInt64();
}

/** What a call of the service about the focused package carries. */
void WritePackage(Parcel* data) {
    data->writeString16(String16("com.example.application"));
    data->writeInt32(1);
}

template <typename CALL>
void Measure(benchmark::State& state, CALL call) {
    const sp<IBinder> target = Find();
    call(target);
    const int64_t theirs = TargetAllocations(target);
    const int64_t ours = gAllocations;
    for (auto _ : state) {
        if (call(target) != OK) {
            state.SkipWithError("the call failed");
        }
    }
    const auto calls = static_cast<double>(state.iterations());
    state.counters["allocs/call, caller"] = static_cast<double>(gAllocations - ours) / calls;
    state.counters["allocs/call, callee"] =
        static_cast<double>(TargetAllocations(target) - theirs) / calls;
}

void EmptyCall(benchmark::State& state) {
    Measure(state, [](const sp<IBinder>& target) {
        Parcel data;
        Parcel reply;
        return target->transact(kTake, data, &reply);
    });
}

void PackageCall(benchmark::State& state) {
    Measure(state, [](const sp<IBinder>& target) {
        Parcel data;
        Parcel reply;
        WritePackage(&data);
        return target->transact(kTake, data, &reply);
    });
}

/** With a reply to every hundredth, so that the receiver keeps up. */
void OneWayCall(benchmark::State& state) {
    int64_t calls = 0;
    Measure(state, [&calls](const sp<IBinder>& target) {
        Parcel data;
        data.writeInt64(calls);
        const bool wait = ++calls % 100 == 0;
        return target->transact(kTake, data, nullptr, wait ? 0 : IBinder::FLAG_ONEWAY);
    });
}

void LookupAndOneWayCall(benchmark::State& state) {
    Measure(state, [](const sp<IBinder>&) {
        const sp<IBinder> found = defaultServiceManager()->checkService(String16(kName));
        Parcel data;
        data.writeInt64(1);
        return found->transact(kTake, data, nullptr, IBinder::FLAG_ONEWAY);
    });
}

BENCHMARK(EmptyCall)->UseRealTime();
BENCHMARK(PackageCall)->UseRealTime();
BENCHMARK(OneWayCall)->UseRealTime();
BENCHMARK(LookupAndOneWayCall)->UseRealTime();

}  // namespace
}  // namespace KVT

int main(int argc, char** argv) {
    if (access("/dev/binder", R_OK | W_OK) != 0) {
        fprintf(stderr, "binder_bench: no /dev/binder here; run it through scripts/vm\n");
        return 1;
    }
    KVT::Fork([] { KVT::RunServiceManager(); });
    KVT::Fork(KVT::Serve);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
