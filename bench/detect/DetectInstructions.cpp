// SPDX-License-Identifier: Apache-2.0
// Plays a long stream to an estimator, to both or to the whole of detection, for
// scripts/count-instructions to run under callgrind.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/detect/LocalScheduler.h"
#include "bench/detect/Streams.h"
#include "detect/FpsDetector.h"
#include "detect/FpsMonitor.h"
#include "detect/GameFpsDetect.h"

namespace {

using Frames = std::vector<int64_t>;

KVT::FpsDetector gDetector;
KVT::FpsMonitor gMonitor;

}  // namespace

// Only these are counted, whichever is asked for; C names are easy to name.
extern "C" {

__attribute__((noinline)) int64_t Play_detector(const Frames& frames) {
    int64_t results = 0;
    for (const int64_t frame : frames) {
        results += gDetector.UpdateFps(frame) ? 1 : 0;
    }
    return results;
}

__attribute__((noinline)) int64_t Play_monitor(const Frames& frames) {
    int64_t results = 0;
    for (const int64_t frame : frames) {
        results += gMonitor.UpdateFps(frame) ? 1 : 0;
    }
    return results;
}

__attribute__((noinline)) int64_t Play_both(const Frames& frames) {
    int64_t results = 0;
    for (const int64_t frame : frames) {
        results += gDetector.UpdateFps(frame) ? 1 : 0;
        results += gMonitor.UpdateFps(frame) ? 1 : 0;
    }
    return results;
}

__attribute__((noinline)) int64_t Play_detection(const Frames& frames) {
    const std::string layer = "SurfaceView - com.example.game/.Main#0";
    int64_t timestamp = 0;
    for (const int64_t frame : frames) {
        timestamp += frame;
        KVT::GameFpsDetect::GetInstance()->ProcessLayerTimeInfo(layer, timestamp);
    }
    return 0;
}
}

int main(int argc, char** argv) {
    const struct {
        const char* name;
        int64_t (*play)(const Frames&);
    } players[] = {{"detector", Play_detector},
                   {"monitor", Play_monitor},
                   {"both", Play_both},
                   {"detection", Play_detection}};
    if (argc == 3) {
        const auto frames =
            std::strcmp(argv[2], "steady") == 0 ? KVT::SteadyStream() : KVT::JitteryStream();
        const auto scheduler = KVT::LocalScheduler::Publish();
        for (const auto& player : players) {
            if (std::strcmp(argv[1], player.name) == 0) {
                const int64_t results = player.play(frames) + scheduler->messages;
                std::printf("frames=%zu results=%lld\n", frames.size(),
                            static_cast<long long>(results));
                return 0;
            }
        }
    }
    std::fprintf(stderr, "usage: %s detector|monitor|both|detection steady|jittery\n", argv[0]);
    return 2;
}
