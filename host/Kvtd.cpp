// SPDX-License-Identifier: Apache-2.0
#include "host/Kvtd.h"

#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/Paths.h"
#include "detect/GameFpsDetect.h"
#include "host/AwaitServiceManager.h"
#include "host/CommandLine.h"
#include "host/ConfigKeeper.h"
#include "host/EventQueue.h"
#include "host/Gate.h"
#include "host/KVTServiceImpl.h"
#include "host/RateHistory.h"
#include "host/ServiceInfo.h"
#include "host/SoleHost.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

using android::ProcessState;
using android::sp;

constexpr int kFailed = 1;

struct Options {
    Paths paths;
    CallerUids uids;
    bool systemLog = false;
    bool verbose = false;
};

/** Never destroyed: threads use it until the process ends. */
struct Parts {
    ServiceInfo info;
    EventQueue events;
    ConfigKeeper config{events, info};
};

sigset_t SetOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

/** Has these signals, which every thread blocks, served by a thread of their own. */
void OnSignals(std::initializer_list<int> signals, std::function<void()> act) {
    std::thread([served = SetOf(signals), act = std::move(act)] {
        for (int signal = 0; sigwait(&served, &signal) == 0;) {
            act();
        }
    }).detach();
}

/** From now on, even while the start waits for a service. */
void ServeSignals(ConfigKeeper& config) {
    const sigset_t served = SetOf({SIGTERM, SIGINT, SIGHUP});
    pthread_sigmask(SIG_BLOCK, &served, nullptr);
    // All at once: a thread in the middle of a decision must not lose the driver, which it would
    // take for the display service's death, nor the policy's state before the process.
    OnSignals({SIGTERM, SIGINT}, [] { std::quick_exit(0); });
    // Apart from those, since a file may take its time to be read.
    OnSignals({SIGHUP}, [&config] { config.reload(); });
}

/** One for each binder device, by whatever path it is reached. */
std::string NameOfHosts() {
    struct stat device {};
    stat(ProcessState::self()->getDriverName().string(), &device);
    return "KVTService of device " + std::to_string(device.st_rdev);
}

/** Says who serves already, if anybody does. */
bool IsSecond(const SoleHost& host, const sp<android::IServiceManager>& manager) {
    if (host.other() != 0) {
        std::cerr << "kvtd: process " << host.other() << " runs KVTService already\n";
        return true;
    }
    if (IsServed(manager)) {
        std::cerr << "kvtd: another process runs KVTService already\n";
        return true;
    }
    return false;
}

int Serve(const Options& options) {
    __android_log_set_logger(options.systemLog ? __android_log_logd_logger
                                               : __android_log_stderr_logger);
    __android_log_set_minimum_priority(options.verbose ? ANDROID_LOG_DEBUG : ANDROID_LOG_INFO);

    signal(SIGPIPE, SIG_IGN);  // whoever reads what is logged may go before
    SetPaths(options.paths);
    static Parts& parts = *new Parts;
    ServeSignals(parts.config);
    if (!ProcessState::self()->hasDriver()) {
        return kFailed;  // which has been said already
    }
    const sp<android::IServiceManager> manager = AwaitServiceManager("kvtd");
    if (manager == nullptr) {
        return kFailed;
    }
    const SoleHost host(NameOfHosts());
    if (IsSecond(host, manager)) {
        return kFailed;
    }
    RateLog::Start();
    FpsCommon::Init();
    parts.config.onStarted();
    if (parts.events.start() != android::OK) {
        std::cerr << "kvtd: no thread for events\n";
        return kFailed;
    }
    // Else apps in the background would have all threads wait for the processor at their priority,
    // and the framework's events behind them.
    android::IPCThreadState::disableBackgroundScheduling(true);
    const sp<KVTServiceImpl> service = new KVTServiceImpl(options.uids, &parts.events, &parts.info);
    GameFpsDetect::GetInstance()->AttachService(service);
    if (manager->addService(IKVTService::descriptor, service) != android::OK) {
        std::cerr << "kvtd: the service manager refuses the service\n";
        std::quick_exit(kFailed);  // the policy's threads are at work
    }
    ProcessState::self()->startThreadPool();
    android::IPCThreadState::self()->joinThreadPool();
    std::cerr << "kvtd: the binder driver is gone\n";
    std::quick_exit(kFailed);
}

}  // namespace

int RunKvtd(int argc, const char* const* argv) {
    Options options;
    CommandLine app{"Decides at which refresh rate the panel runs, and publishes KVTService.",
                    "kvtd"};
    const CLI::Option* const config =
        app.add_option("--config", options.paths.configFile, "configuration file")
            ->capture_default_str();
    app.add_option("--cpuset", options.paths.vipCpus, "file with the CPUs of the vip set")
        ->capture_default_str();
    const auto addUids = [&app](const char* name, std::vector<uid_t>* uids, const char* meaning) {
        app.add_option(name, *uids, meaning)->delimiter(',')->capture_default_str();
    };
    addUids("--framework-uids", &options.uids.framework, "who may send the framework's events");
    addUids("--compositor-uids", &options.uids.compositor, "who may send the compositor's");
    addUids("--observer-uids", &options.uids.observers, "who may see the dump besides those");
    app.add_flag("--system-log", options.systemLog,
                 "log to the phone's log, not to standard error");
    app.add_flag("--verbose", options.verbose, "log debug lines, too");
    if (const std::optional<int> ended = app.read(argc, argv, std::cout, std::cerr);
        ended.has_value()) {
        return *ended;
    }
    if (config->count() > 0) {
        if (const std::string fault = ConfigKeeper::ReadingFault(options.paths.configFile);
            !fault.empty()) {
            std::cerr << "kvtd: " << fault << "\n";
            return CommandLine::kUsageError;
        }
    }
    // As whoever reads it in the dump can find it, too.
    options.paths.configFile = std::filesystem::absolute(options.paths.configFile);
    return Serve(options);
}

}  // namespace KVT
