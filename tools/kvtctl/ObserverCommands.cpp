// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <binder/Parcel.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <thread>

#include "common/CleanText.h"
#include "service/KVTListener.h"
#include "service/KVTManager.h"
#include "sync/Clock.h"
#include "sync/Condition.h"
#include "tools/kvtctl/Service.h"
#include "tools/kvtctl/ServiceCommands.h"

namespace KVT::ctl {
namespace {

using android::IBinder;
using android::sp;
using android::status_t;
using android::base::unique_fd;

/** Prints the service's dump, which the service writes into a pipe while it serves the call. */
void PrintStatus(Context& context) {
    const sp<IBinder> service = FindService(context);
    if (service == nullptr) {
        return;
    }
    int ends[2];
    if (pipe(ends) != 0) {
        context.err << "kvtctl: no pipe: " << strerror(errno) << "\n";
        context.status = kRefused;
        return;
    }
    const unique_fd readEnd(ends[0]);
    unique_fd writeEnd(ends[1]);
    std::string text;
    std::thread reader([&] { android::base::ReadFdToString(readEnd, &text); });
    status_t status;
    {
        android::Parcel data;
        data.writeFileDescriptor(writeEnd.get());
        data.writeInt32(0);
        android::Parcel reply;
        status = service->transact(IBinder::DUMP_TRANSACTION, data, &reply);
    }
    writeEnd.reset();
    reader.join();
    // Whoever calls itself the service must not get at the terminal.
    context.out << CleanText(text, "=\n");
    if (status != android::OK) {
        context.err << "kvtctl: the dump failed: " << StatusText(status) << "\n";
        context.status = kRefused;
    }
}

/** Hands each report to the waiting main thread, which alone prints. */
class Watcher : public KVTListener {
  public:
    void NotifyGameFpsToAps(int32_t fps) override {
        MutexLock lock(mMutex);
        mReports.push_back(fps);
        mArrived.signal();
    }

    /** @return what has arrived by the deadline, at once when something has */
    std::vector<int32_t> waitUntil(int64_t deadlineNs) {
        MutexLock lock(mMutex);
        if (mReports.empty() && !mArrived.waitUntil(mMutex, deadlineNs)) {
            return {};
        }
        mArrived.clear();
        return std::exchange(mReports, {});
    }

  private:
    Mutex mMutex;
    Condition mArrived;
    std::vector<int32_t> mReports GUARDED_BY(mMutex);
};

struct WatchOptions {
    int64_t count = 0;
    int64_t seconds = 0;
};

/** Notices that the service is gone; a watcher would wait for ever. */
class ServiceDeath : public IBinder::DeathRecipient {
  public:
    void binderDied(const android::wp<IBinder>&) override { dead = true; }
    std::atomic<bool> dead{false};
};

void Watch(Context& context, const WatchOptions& options) {
    constexpr int64_t kForEver = INT64_MAX;
    constexpr int64_t kPollNs = 200 * kNsPerMs;
    const sp<IBinder> service = FindService(context);
    if (service == nullptr) {
        return;
    }
    const sp<ServiceDeath> death = new ServiceDeath;
    service->linkToDeath(death);
    context.process.startThreadPool();
    const sp<Watcher> watcher = new Watcher;
    if (KVTManager::RegisterListener(watcher) != 0 || context.process.takeFailure()) {
        context.err << "kvtctl: the service did not take the listener\n";
        context.status = kRefused;
        return;
    }
    const int64_t end = options.seconds > 0 ? MonotonicNow() + options.seconds * kNsPerS : kForEver;
    for (int64_t seen = 0; context.out && (options.count == 0 || seen < options.count);) {
        const int64_t now = MonotonicNow();
        if (now >= end) {
            return;
        }
        if (death->dead) {
            context.err << "kvtctl: the service is gone\n";
            context.status = kRefused;
            return;
        }
        for (const int32_t fps : watcher->waitUntil(std::min(end, now + kPollNs))) {
            context.out << fps << std::endl;
            ++seen;
        }
    }
}

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

void AddObserverCommands(CLI::App& app, Context& context) {
    app.add_subcommand("status",
                       "prints the service's state: foreground, panel, scenes, decisions, frames")
        ->callback([&context] { PrintStatus(context); });

    const auto watch = std::make_shared<WatchOptions>();
    CLI::App* watching =
        app.add_subcommand("watch",
                           "prints each game frame rate that the service reports: none in a game's "
                           "first 121 s, then the highest so far, then every change, at least 60");
    watching->add_option("--count", watch->count, "end after so many")->check(CLI::PositiveNumber);
    watching->add_option("--for", watch->seconds, "end after so many seconds")
        ->check(CLI::Range(1, 86400));
    watching->callback([&context, watch] { Watch(context, *watch); });

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
