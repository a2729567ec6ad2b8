// SPDX-License-Identifier: Apache-2.0
#include "host/Kvtd.h"

#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "common/Paths.h"
#include "detect/GameFpsDetect.h"
#include "host/AwaitServiceManager.h"
#include "host/CommandLine.h"
#include "host/EventQueue.h"
#include "host/Gate.h"
#include "host/KVTServiceImpl.h"
#include "host/RateHistory.h"
#include "host/SoleHost.h"
#include "policy/FpsCommon.h"

namespace KVT {
namespace {

using android::ProcessState;
using android::sp;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct Options {
    Paths paths;
    CallerUids uids;
    bool systemLog = false;
    bool verbose = false;
};

/** Ends the process at SIGTERM or SIGINT, even while the start waits for a service. */
void EndOnSignal() {
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    // Blocked in every thread, so that this one gets them.
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    std::thread([endings] {
        int signal = 0;
        sigwait(&endings, &signal);
        // All at once: a thread in the middle of a decision must not lose the driver, which it
        // would take for the display service's death, nor the policy's state before the process.
        std::quick_exit(0);
    }).detach();
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
    EndOnSignal();
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
    SetPaths(options.paths);
    RateLog::Start();
    FpsCommon::Init();
    EventQueue events;
    if (events.start() != android::OK) {
        std::cerr << "kvtd: no thread for events\n";
        return kFailed;
    }
    // Else apps in the background would have all threads wait for the processor at their priority,
    // and the framework's events behind them.
    android::IPCThreadState::disableBackgroundScheduling(true);
    const sp<KVTServiceImpl> service = new KVTServiceImpl(options.uids, &events);
    GameFpsDetect::GetInstance()->AttachService(service);
    if (manager->addService(IKVTService::descriptor, service) != android::OK) {
        std::cerr << "kvtd: the service manager refuses the service\n";
        return kFailed;
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
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : kUsage;
    }
    return Serve(options);
}

}  // namespace KVT
