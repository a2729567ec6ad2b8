// SPDX-License-Identifier: Apache-2.0
#include "service/BnKVTService.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_set>
#include <utility>

#include "common/Log.h"
#include "common/Turn.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "service/Transactions.h"

namespace KVT {
namespace {

using android::OK;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String8;

/** Reads a String16 as UTF-8, up to its first zero character. */
std::string ReadUtf8(const Parcel& data) {
    return String8(data.readString16()).string();
}

sp<IKVTListener> ReadListener(const Parcel& data) {
    return IKVTListener::asInterface(data.readStrongBinder());
}

/**
 * Acts on an event: at once, or at the end of what this thread is in the middle of. Read, logged
 * and answered it has been by then; an operation that is put off keeps the service alive.
 *
 * @return WOULD_BLOCK when it is dropped, because too many are put off already
 */
template <typename Operation>
status_t Act(IKVTService& service, Operation&& operation) {
    if (!Turn::IsUnderWay()) {
        Turn::Take([&] { operation(service); });
        return OK;
    }
    const bool taken = Turn::Take(
        [kept = sp<IKVTService>(&service),
         operation = std::forward<Operation>(operation)]() mutable { operation(*kept); });
    return taken ? OK : android::WOULD_BLOCK;
}

status_t OnRegisterListener(IKVTService& service, const Parcel& data, Parcel* reply) {
    reply->writeInt32(service.RegisterListener(ReadListener(data)));
    return OK;
}

status_t OnUnRegisterListener(IKVTService& service, const Parcel& data, Parcel* reply) {
    reply->writeInt32(service.UnRegisterListener(ReadListener(data)));
    return OK;
}

status_t OnApplicationState(IKVTService&, const Parcel& data, Parcel*) {
    const int32_t appType = data.readInt32();
    const int32_t appState = data.readInt32();
    const int32_t gameMode = data.readInt32();
    int32_t length = 0;
    if (data.readInt32(&length) != OK || length <= 0) {
        KVT_LOGD("kvt Pkgname read fail!");
    } else {
        // The name travels as one int32 per character. The log cuts long lines anyway, so a hostile
        // length must not make us build a string of gigabytes first.
        constexpr int32_t kLongestLoggedName = 4096;
        std::string name;
        for (int32_t i = 0; i < std::min(length, kLongestLoggedName); ++i) {
            name.push_back(static_cast<char>(data.readInt32() & 0xFF));
        }
        KVT_LOGD("kvt currentPackageName = %s", name.c_str());
    }
    KVT_LOGD("kvt appType = %d appState = %d gameMode = %d", appType, appState, gameMode);
    return OK;
}

status_t OnThermalLevel(IKVTService&, const Parcel& data, Parcel*) {
    KVT_LOGD("kvt getThermalInfo tempLevel = %d", data.readInt32());
    return OK;
}

status_t OnGetMaxLcdFps(IKVTService&, const Parcel&, Parcel* reply) {
    const int32_t fps = LcdFpsControl::GetMaxLcdFps();
    KVT_LOGI("aps-info: get lcd max fps: %d", fps);
    reply->writeInt32(fps);
    return OK;
}

status_t OnGetNewSchemeSupported(IKVTService&, const Parcel&, Parcel* reply) {
    const int32_t supported = LcdFpsControl::GetNewSchemeSupported() ? 1 : 0;
    KVT_LOGI("aps-info: get lcd new scheme supported: %d", supported);
    reply->writeInt32(supported);
    return OK;
}

status_t OnPowerMode(IKVTService& service, const Parcel& data, Parcel*) {
    const int32_t mode = data.readInt32();
    KVT_LOGI("aps-info: power mode %d", mode);
    return Act(service, [mode](IKVTService&) { FpsCommon::DoWithPowerModeUpdate(mode); });
}

status_t OnLcdSetting(IKVTService& service, const Parcel& data, Parcel*) {
    const int32_t setting = data.readInt32();
    KVT_LOGI("aps-info: lcd setting %d", setting);
    return Act(service, [setting](IKVTService&) { FpsCommon::DoWithLcdSettingUpdate(setting); });
}

status_t OnGameFpsLimit(IKVTService& service, const Parcel& data, Parcel*) {
    const int32_t fps = data.readInt32();
    KVT_LOGI("aps-info: limited fps %d", fps);
    return Act(service, [fps](IKVTService&) { FpsCommon::limitedGameFps = fps; });
}

status_t OnPackages(IKVTService& service, const Parcel& data, Parcel*) {
    std::string focus = ReadUtf8(data);
    const int32_t count = data.readInt32();
    KVT_LOGI("aps-info: focus pkgName - %s, with %d more apps", focus.c_str(), count);
    // Names past the end read as empty. Only a count that no request could hold is cut, so that a
    // hostile one does not keep this thread logging for hours.
    constexpr size_t kHonestCount = 1024;
    constexpr size_t kShortestName = sizeof(int32_t);
    const size_t most = std::max(kHonestCount, data.dataSize() / kShortestName);
    std::unordered_set<std::string> visible;
    for (int32_t i = 0; i < count && static_cast<size_t>(i) < most; ++i) {
        std::string name = ReadUtf8(data);
        KVT_LOGI("aps-info: visible pkgName %d - %s", i, name.c_str());
        if (!name.empty()) {
            visible.insert(std::move(name));
        }
    }
    if (focus.empty()) {
        return OK;
    }
    return Act(service, [focus = std::move(focus), visible = std::move(visible)](IKVTService&) {
        FpsCommon::OnPackageInfoReceived(focus, visible);
    });
}

status_t OnTemperature(IKVTService&, const Parcel& data, Parcel*) {
    KVT_LOGI("aps-info: temperature %d", data.readInt32());
    return OK;
}

status_t OnTouchPointer(IKVTService& service, const Parcel& data, Parcel*) {
    const int32_t status = data.readInt32();
    KVT_LOGI("aps-info: pointer status: %d", status);
    return Act(service, [status](IKVTService&) { FpsCommon::SetLcdLowDownByTpPointer(status); });
}

status_t OnFullVideo(IKVTService&, const Parcel& data, Parcel*) {
    KVT_LOGI("aps-info: full video status: %d", data.readInt32());
    return OK;
}

status_t OnLayerTimeInfo(IKVTService& service, const Parcel& data, Parcel* reply) {
    const char* layerName = data.readCString();
    if (layerName == nullptr) {
        KVT_LOGE("fps-come: readLayerName is nullptr!!");
        return android::BAD_VALUE;
    }
    LayerTimeInfo info;
    info.layerName = layerName;
    info.timestamp = data.readInt64();
    info.flag = data.readBool();
    reply->writeNoException();
    return Act(service,
               [info = std::move(info)](IKVTService& s) mutable { s.SendLayerTimeInfo(info); });
}

status_t OnLcdEvent(IKVTService& service, const Parcel& data, Parcel* reply) {
    const int32_t event = data.readInt32();
    reply->writeNoException();
    return Act(service, [event](IKVTService& s) { s.SetLcdEvent(event); });
}

status_t OnFrameRefresh(IKVTService& service, const Parcel& data, Parcel* reply) {
    const int64_t timestamp = data.readInt64();
    reply->writeNoException();
    return Act(service, [timestamp](IKVTService& s) { s.NotifyFrameRefresh(timestamp); });
}

status_t OnDisplayHotplug(IKVTService& service, const Parcel& data, Parcel* reply) {
    const int32_t event = data.readInt32();
    KVT_LOGI("SF-KVT: display hotplug: %d", event);
    reply->writeNoException();
    return Act(service, [event](IKVTService& s) { s.NotifyDisplayHotplugEvent(event); });
}

status_t OnVirtualDisplay(IKVTService& service, const Parcel& data, Parcel* reply) {
    const int32_t event = data.readInt32();
    KVT_LOGI("SF-KVT: virtual display: %d", event);
    reply->writeNoException();
    return Act(service, [event](IKVTService& s) { s.NotifyVirtualDisplayEvent(event); });
}

status_t OnGpuComposition(IKVTService& service, const Parcel& data, Parcel* reply) {
    const int32_t status = data.readInt32();
    KVT_LOGI("Gpu-KVT: Gpu composition status: %d", status);
    reply->writeNoException();
    return Act(service, [status](IKVTService& s) { s.NotifyGpuCompositionEvent(status); });
}

status_t OnFingerprint(IKVTService& service, const Parcel& data, Parcel*) {
    const std::string package = ReadUtf8(data);
    const int32_t status = data.readInt32();
    KVT_LOGI("kvt-fingerprint: packageName: %s, status: %d", package.c_str(), status);
    return Act(service, [package, status](IKVTService&) {
        FpsCommon::OnFingerprintMessageReceived(package, status);
    });
}

status_t OnSelfTest(IKVTService&, const Parcel& data, Parcel* reply) {
    constexpr int32_t kAlive = 20;
    const int32_t operateType = data.readInt32();
    const std::string filePatch = ReadUtf8(data);
    const std::string resultFileName = ReadUtf8(data);
    const int32_t bufferSize = data.readInt32();
    KVT_LOGD(
        "KVTTEST: success! currentOperateType:%d, filePatch:%s, resultFileName:%s, bufferSize:%d",
        operateType, filePatch.c_str(), resultFileName.c_str(), bufferSize);
    reply->writeInt32(kAlive);
    return OK;
}

using Handler = status_t (*)(IKVTService& service, const Parcel& data, Parcel* reply);

constexpr TransactionInfo kTransactions[] = {
    // code, name, checks the token, ends in the base binder
    {REGISTER_LISTENER, "RegisterListener", true, false},
    {UNREGISTER_LISTENER, "UnRegisterListener", false, false},
    {APPLICATION_STATE, "application state", false, true},
    {THERMAL_LEVEL, "thermal level", false, true},
    {GET_MAX_LCD_FPS, "get maximum panel rate", false, false},
    {GET_NEW_SCHEME_SUPPORTED, "get new-scheme support", false, false},
    {POWER_MODE, "power mode", false, true},
    {LCD_SETTING, "panel-rate setting", false, true},
    {GAME_FPS_LIMIT, "game frame-rate limit", false, true},
    {PACKAGES, "focused and visible packages", false, true},
    {TEMPERATURE, "temperature", false, true},
    {TOUCH_POINTER, "touch pointer status", false, true},
    {FULL_VIDEO, "full-screen video status", false, true},
    {SEND_LAYER_TIME_INFO, "SendLayerTimeInfo", true, false},
    {SET_LCD_EVENT, "SetLcdEvent", true, false},
    {NOTIFY_FRAME_REFRESH, "NotifyFrameRefresh", true, false},
    {NOTIFY_DISPLAY_HOTPLUG, "NotifyDisplayHotplugEvent", true, false},
    {NOTIFY_VIRTUAL_DISPLAY, "NotifyVirtualDisplayEvent", true, false},
    {NOTIFY_GPU_COMPOSITION, "NotifyGpuCompositionEvent", true, false},
    {FINGERPRINT, "fingerprint event", false, true},
    {SELF_TEST, "self-test probe", false, false},
};

/** Row by row beside kTransactions. */
constexpr Handler kHandlers[] = {
    OnRegisterListener, OnUnRegisterListener, OnApplicationState,
    OnThermalLevel,     OnGetMaxLcdFps,       OnGetNewSchemeSupported,
    OnPowerMode,        OnLcdSetting,         OnGameFpsLimit,
    OnPackages,         OnTemperature,        OnTouchPointer,
    OnFullVideo,        OnLayerTimeInfo,      OnLcdEvent,
    OnFrameRefresh,     OnDisplayHotplug,     OnVirtualDisplay,
    OnGpuComposition,   OnFingerprint,        OnSelfTest,
};
static_assert(std::size(kHandlers) == std::size(kTransactions));

constexpr size_t kNoRow = std::size(kTransactions);

/** Codes 1 to 19 are rows 0 to 18; the two late ones follow. */
constexpr size_t RowOf(uint32_t code) {
    if (code >= REGISTER_LISTENER && code <= NOTIFY_GPU_COMPOSITION) {
        return code - REGISTER_LISTENER;
    }
    return code == FINGERPRINT ? kNoRow - 2 : code == SELF_TEST ? kNoRow - 1 : kNoRow;
}
static_assert([] {
    for (size_t row = 0; row < kNoRow; ++row) {
        if (RowOf(kTransactions[row].code) != row) {
            return false;
        }
    }
    return true;
}());

}  // namespace

const TransactionInfo* Transactions(size_t* count) {
    *count = std::size(kTransactions);
    return kTransactions;
}

status_t BnKVTService::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                  uint32_t flags) {
    const size_t row = RowOf(code);
    if (row == kNoRow) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    if (code == REGISTER_LISTENER) {
        KVT_LOGD("itapo into BnKVTService::RegisterListener");
    }
    const TransactionInfo& info = kTransactions[row];
    if (info.checksToken && !data.checkInterface(this)) {
        return android::PERMISSION_DENIED;
    }
    const status_t status = kHandlers[row](*this, data, reply);
    const bool endsInBase = info.endsInBase && status == OK;
    return endsInBase ? BBinder::onTransact(code, data, reply, flags) : status;
}

}  // namespace KVT
