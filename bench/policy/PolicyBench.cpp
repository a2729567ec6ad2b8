// SPDX-License-Identifier: Apache-2.0
// The decision, the event that leads to most of them, and the first look at a package.
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/support/Allocations.h"
#include "common/Paths.h"
#include "config/XmlParser.h"
#include "host/FrameworkClient.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"
#include "sync/Clock.h"
#include "tests/support/RecordingService.h"

namespace KVT {
namespace {

/** A phone whose panel obeys at once, with the policy started and the log off. */
struct BenchPhone {
    BenchPhone() {
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
        SetPaths({"/nonexistent", "/dev/null"});
        fakes.publish();
        FpsCommon::Init();
    }
    static BenchPhone& Get() {
        static BenchPhone phone;
        return phone;
    }

    sim::FakePhone fakes;
    android::sp<RecordingService> service = new RecordingService;
    FrameworkClient framework{service};
};

void SetAllocations(benchmark::State& state, int64_t before) {
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(AllocationCount() - before),
                                                  benchmark::Counter::kAvgIterations);
}

/** Snapshot, scenes, classes from the caches: what each event pays before anything is done. */
void BM_Decision(benchmark::State& state) {
    BenchPhone::Get().framework.packages("com.example.a.quite.ordinary.application", {});
    benchmark::DoNotOptimize(FpsCommon::Decide());
    SleepFor(200 * kNsPerMs);  // until the rate reporter's thread has told what the event changed
    const int64_t before = AllocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(FpsCommon::Decide());
    }
    const bool allocated = AllocationCount() != before;
    SetAllocations(state, before);
    if (allocated) {
        state.SkipWithError("a decision allocates");
    }
}
BENCHMARK(BM_Decision);

/** The same package again: parcel, decision, and a panel that is asked and confirmed as ever. */
void BM_PackageEventUnchanged(benchmark::State& state) {
    BenchPhone& phone = BenchPhone::Get();
    const int64_t before = AllocationCount();
    for (auto _ : state) {
        phone.framework.packages("com.example.a.quite.ordinary.application", {});
        state.PauseTiming();
        phone.fakes.compositor->takeCalls();
        state.ResumeTiming();
    }
    SetAllocations(state, before);
}
BENCHMARK(BM_PackageEventUnchanged);

/** Two applications in turn. */
void BM_PackageEvent(benchmark::State& state) {
    BenchPhone& phone = BenchPhone::Get();
    bool other = false;
    const int64_t before = AllocationCount();
    for (auto _ : state) {
        other = !other;
        phone.framework.packages(
            other ? "com.example.one.application" : "com.example.two.application",
            {"com.example.one.application", "com.example.two.application"});
        state.PauseTiming();
        phone.fakes.compositor->takeCalls();
        state.ResumeTiming();
    }
    SetAllocations(state, before);
}
BENCHMARK(BM_PackageEvent);

/** The first time that a package is seen, with so many prefixes listed. */
void BM_FirstClassification(benchmark::State& state) {
    constexpr size_t kBatch = 1024;
    XmlParser::Init();
    PrefixSet& prefixes = FpsCommon::tables.appPkgFilterMap["app_pkg_perceptible_list"];
    prefixes = PrefixSet();
    for (int64_t i = 0; i < state.range(0); ++i) {
        prefixes.insert("com.vendor" + std::to_string(i * 7919 % 1000003) + ".application.");
    }
    std::vector<std::string> packages;
    for (size_t i = 0; i < kBatch; ++i) {
        // Half of them begin like an entry of the list and are none.
        packages.push_back((i % 2 == 0 ? "com.vendor" : "org.author") + std::to_string(i * 104729) +
                           ".some.application" + std::to_string(i));
    }
    while (state.KeepRunningBatch(kBatch)) {
        for (const std::string& pkg : packages) {
            benchmark::DoNotOptimize(FpsCommon::GetAppCode(pkg, 1));
        }
        state.PauseTiming();
        MutexLock lock(FpsCommon::codeCacheMutex);
        FpsCommon::appCodeCache.clear();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FirstClassification)->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
}  // namespace KVT
