// SPDX-License-Identifier: Apache-2.0
#include "display/LcdFpsControl.h"

#include <displayengine/DisplayEngineManager.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <optional>

#include "common/Codes.h"
#include "common/Dumper.h"
#include "common/Fatal.h"
#include "common/LeadingNumber.h"
#include "common/Log.h"
#include "common/Paths.h"
#include "display/DisplayFreqClient.h"
#include "display/RateObserver.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

constexpr const char* kVipCpusBound = "4-7";
constexpr const char* kVipCpusFree = "0-7";

// A panel switches with a new frame, so one is forced before each look. At 60 Hz it takes 16 ms.
constexpr int kConfirmAttempts = 9;
constexpr int64_t kConfirmIntervalNs = 16'000 * kNsPerUs;

}  // namespace

RateStats LcdFpsControl::stats;
RateJournal LcdFpsControl::journal;
Atomic<bool> LcdFpsControl::particalComposeEnabled{false};
RateObserver* LcdFpsControl::observer = nullptr;
android::sp<android::DisplayFreqClient> LcdFpsControl::client;
android::sp<DisplayEngineManager> LcdFpsControl::manager;
Mutex LcdFpsControl::setFpsMutex;
int32_t LcdFpsControl::lastLcdFps = kLowHz;
bool LcdFpsControl::highFreqOnFlag = false;

void LcdFpsControl::Init() {
    client = new (std::nothrow) android::DisplayFreqClient;
    manager = new (std::nothrow) DisplayEngineManager;
    if (const int32_t current = GetCurrentLcdFps(); current != -1) {
        MutexLock lock(setFpsMutex);
        lastLcdFps = current;
        journal.onSeen(current);
    }
}

void LcdFpsControl::OnPackage(const std::string& pkg) {
    stats.onPackage(pkg);
    journal.onPackage(pkg);
}

void LcdFpsControl::SetLcdFps(int32_t fps, const Cause& cause) {
    MutexLock lock(setFpsMutex);
    lastLcdFps = fps;
    SetLcdFpsInternal(fps, cause);
}

void LcdFpsControl::RecoverLcdFps(int32_t fps) {
    MutexLock lock(setFpsMutex);
    RecoverLcdFpsInternal(fps);
}

void LcdFpsControl::RecoverLastLcdFps() {
    MutexLock lock(setFpsMutex);
    const int32_t current = GetCurrentLcdFps();
    if (lastLcdFps != current) {
        journal.onSeen(current);
        RecoverLcdFpsInternal(lastLcdFps);
    }
}

void LcdFpsControl::RecoverLcdFpsInternal(int32_t fps) {
    KVT_LOGI("LcdFpsControl: recover lcd fps %d", fps);
    SetLcdFpsInternal(fps, {Cause::kRecovery});
}

int32_t LcdFpsControl::GetLastLcdFps() {
    MutexLock lock(setFpsMutex);
    return lastLcdFps;
}

int32_t LcdFpsControl::GetCurrentLcdFps() {
    if (client == nullptr) {
        return -1;
    }
    const std::string current = client->GetCurrentFreq();
    if (current.empty()) {
        return -1;
    }
    const std::optional<int32_t> rate = LeadingNumber(current.c_str());
    if (!rate.has_value()) {
        KVT_FATAL("display service: current rate '%s' is no number", current.c_str());
    }
    return *rate;
}

int32_t LcdFpsControl::GetMaxLcdFps() {
    return client == nullptr ? kLowHz
                             : LeadingNumber(client->GetMaxFreq().c_str()).value_or(kLowHz);
}

bool LcdFpsControl::GetNewSchemeSupported() {
    return client != nullptr && client->IsDynamicFreq();
}

void LcdFpsControl::SetHighFreqOnFlag(bool on) {
    MutexLock lock(setFpsMutex);
    highFreqOnFlag = on;
}

void LcdFpsControl::BindVipCpus(bool bind) {
    WriteVipCpus(bind ? kVipCpusBound : kVipCpusFree);
}

void LcdFpsControl::WriteVipCpus(const char* cpus) {
    const int file =
        open(GetPaths().vipCpus.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) {
        KVT_LOGE("BindVipCpus: WriteVipCpus: open file failed");
        return;
    }
    // A CPU set that refuses the list keeps the one it has; there is nobody to tell.
    [[maybe_unused]] const ssize_t written = write(file, cpus, strlen(cpus));
    close(file);
}

void LcdFpsControl::SetLcdFpsInternal(int32_t fps, const Cause& cause) {
    if (client == nullptr) {
        KVT_LOGE("LcdFpsControl: client must not be nullptr");
        return;
    }
    const int64_t since = MonotonicNow();
    stats.onRequested(fps);
    const std::string rate = std::to_string(fps);
    client->SetFreq(rate, highFreqOnFlag);  // whether it worked is seen on the panel alone
    int32_t shown = -1;
    const bool followed = TryRefreshFrame(fps, &shown);
    journal.onAsked(cause, fps, shown, MonotonicNow() - since);
    if (!followed) {
        stats.onFailed();
        return;
    }
    stats.onConfirmed(fps);
    KVT_LOGI("LcdFpsControl: set lcd fps %dHz, success", fps);
    if (manager != nullptr) {
        manager->setFrameRate(rate);
    }
    if (observer != nullptr) {
        observer->onRateSet(fps);
    }
}

bool LcdFpsControl::TryRefreshFrame(int32_t fps, int32_t* shown) {
    for (int refreshes = 0; refreshes < kConfirmAttempts; ++refreshes) {
        *shown = GetCurrentLcdFps();
        if (*shown == fps) {
            KVT_LOGI("LcdFpsControl: set lcd finished, tryRefreshNum = %d, lcdFps = %d", refreshes,
                     fps);
            return true;
        }
        if (observer != nullptr) {
            observer->onFrameNeeded();
        }
        SleepFor(kConfirmIntervalNs);
    }
    KVT_LOGE("LcdFpsControl: refresh frame num has run out.");
    return false;
}

void LcdFpsControl::Dump(Dumper* dumper) {
    const RateStats::Totals totals = stats.totals();
    dumper->section("panel");
    dumper->value("requested_hz", totals.requestedHz);
    dumper->value("confirmed_hz", totals.confirmedHz);
    dumper->value("maximum_hz", GetMaxLcdFps());
    dumper->value("new_scheme", GetNewSchemeSupported());
    dumper->value("switches", totals.switches);
    dumper->value("failed_changes", totals.failures);
    std::string rates;
    if (client != nullptr) {
        for (const std::string& rate : client->GetAllFreq()) {
            rates += (rates.empty() ? "" : " ") + rate;
        }
    }
    dumper->value("rates", rates);
}

}  // namespace KVT
