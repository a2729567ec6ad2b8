// SPDX-License-Identifier: Apache-2.0
// Nanoseconds and allocations per frame: each estimator, and detection with a scheduler at hand.
#include <benchmark/benchmark.h>

#include "bench/detect/LocalScheduler.h"
#include "bench/detect/Streams.h"
#include "bench/support/Allocations.h"
#include "detect/FpsDetector.h"
#include "detect/FpsMonitor.h"
#include "detect/GameFpsDetect.h"

namespace KVT {
namespace {

/** Runs `step` on one frame after the other, for ever. */
template <typename Step>
void Play(benchmark::State& state, const std::vector<int64_t>& frames, const Step& step) {
    size_t next = 0;
    const int64_t before = AllocationCount();
    for (auto _ : state) {
        step(frames[next]);
        next = next + 1 == frames.size() ? 0 : next + 1;
    }
    state.counters["allocs/frame"] = benchmark::Counter(
        static_cast<double>(AllocationCount() - before), benchmark::Counter::kAvgIterations);
}

void Detector(benchmark::State& state, const std::vector<int64_t>& frames) {
    FpsDetector detector;
    Play(state, frames,
         [&](int64_t frame) { benchmark::DoNotOptimize(detector.UpdateFps(frame)); });
}

void Monitor(benchmark::State& state, const std::vector<int64_t>& frames) {
    FpsMonitor monitor;
    Play(state, frames, [&](int64_t frame) { benchmark::DoNotOptimize(monitor.UpdateFps(frame)); });
}

void ProcessLayerTimeInfo(benchmark::State& state, const std::vector<int64_t>& frames) {
    const auto scheduler = LocalScheduler::Publish();
    const std::string layer = "SurfaceView - com.example.game/.Main#0";
    GameFpsDetect& detect = *GameFpsDetect::GetInstance();
    detect.Clear();
    int64_t timestamp = 0;
    const auto step = [&](int64_t frame) {
        timestamp += frame;
        detect.ProcessLayerTimeInfo(layer, timestamp);
    };
    Play(state, frames, step);

    int64_t quietFrames = 0;
    int64_t quietAllocations = 0;
    for (const int64_t frame : frames) {
        const int64_t messages = scheduler->messages;
        const int64_t before = AllocationCount();
        step(frame);
        if (scheduler->messages == messages) {
            ++quietFrames;
            quietAllocations += AllocationCount() - before;
        }
    }
    state.counters["allocs/frame without result"] =
        static_cast<double>(quietAllocations) / static_cast<double>(quietFrames);
    if (quietAllocations != 0) {
        state.SkipWithError("a frame without a result allocates");
    }
}

BENCHMARK_CAPTURE(Detector, steady, SteadyStream());
BENCHMARK_CAPTURE(Detector, jittery, JitteryStream());
BENCHMARK_CAPTURE(Monitor, steady, SteadyStream());
BENCHMARK_CAPTURE(Monitor, jittery, JitteryStream());
BENCHMARK_CAPTURE(ProcessLayerTimeInfo, steady, SteadyStream());
BENCHMARK_CAPTURE(ProcessLayerTimeInfo, jittery, JitteryStream());

}  // namespace
}  // namespace KVT
