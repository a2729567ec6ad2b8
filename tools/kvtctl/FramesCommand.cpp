// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <string>

#include "service/KVTManager.h"
#include "sync/Clock.h"
#include "tools/kvtctl/Service.h"
#include "tools/kvtctl/ServiceCommands.h"

namespace KVT::ctl {
namespace {

struct FrameOptions {
    std::string layer;
    double fps = 60;
    double seconds = 1;
    bool flag = false;
};

void SendFrames(Context& context, const FrameOptions& options) {
    if (FindService(context) == nullptr) {
        return;
    }
    const int64_t start = MonotonicNow();
    int64_t failed = 0;
    const auto count = static_cast<int64_t>(options.fps * options.seconds);
    for (int64_t frame = 0; frame < count; ++frame) {
        // From the frame's number, so that late wake-ups do not add up.
        const int64_t due =
            start + static_cast<int64_t>(static_cast<double>(frame) * 1e9 / options.fps);
        SleepFor(due - MonotonicNow());
        LayerTimeInfo info{options.layer, due, options.flag};
        KVTManager::SendLayerTimeInfo(info);
        failed += context.process.takeFailure() ? 1 : 0;
    }
    context.out << count - failed << " frames sent\n";
    if (failed > 0) {
        context.err << "kvtctl: " << failed << " frames found no service, or were refused\n";
        context.status = kRefused;
    }
}

}  // namespace

void AddFramesCommand(CLI::App& app, Context& context) {
    const auto frames = std::make_shared<FrameOptions>();
    CLI::App* sending =
        app.add_subcommand("frames", "sends frames of a layer, as the compositor does");
    sending->add_option("LAYER", frames->layer, "name of the layer")->required();
    sending->add_option("--fps", frames->fps, "frames per second")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    sending->add_option("--for", frames->seconds, "seconds")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    sending->add_flag("--flag", frames->flag, "frames of a full-screen surface outside games");
    sending->callback([&context, frames] { SendFrames(context, *frames); });
}

}  // namespace KVT::ctl
