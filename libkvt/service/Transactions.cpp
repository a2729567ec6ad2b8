// SPDX-License-Identifier: Apache-2.0
#include "service/Transactions.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <unordered_set>
#include <utility>

#include "common/CleanText.h"
#include "common/Log.h"
#include "common/Turn.h"
#include "display/LcdFpsControl.h"
#include "policy/FpsCommon.h"
#include "service/EventRunner.h"
#include "service/IKVTService.h"

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
 * Acts on what comes in: at once, or at the end of what this thread is in the middle of. Read,
 * logged and answered it has been by then; an operation that is put off keeps the service alive.
 *
 * @return WOULD_BLOCK when it is dropped, because too many are put off already
 */
template <typename Operation>
status_t ActHere(IKVTService& service, Operation&& operation) {
    if (!Turn::IsUnderWay()) {
        Turn::Take([&] { operation(service); });
        return OK;
    }
    const bool taken = Turn::Take(
        [kept = sp<IKVTService>(&service),
         operation = std::forward<Operation>(operation)]() mutable { operation(*kept); });
    return taken ? OK : android::WOULD_BLOCK;
}

/**
 * Has somebody act on an event, here if there is nobody else.
 *
 * @param event but for what it does
 * @return WOULD_BLOCK when it is dropped
 */
template <typename Operation>
status_t Act(const Receiver& receiver, EventRunner::Event event, Operation&& operation) {
    if (receiver.events == nullptr) {
        return ActHere(receiver.service, std::forward<Operation>(operation));
    }
    event.act = [kept = sp<IKVTService>(&receiver.service),
                 operation = std::forward<Operation>(operation)] { operation(*kept); };
    return receiver.events->run(std::move(event), receiver.senderWaits);
}

status_t OnRegisterListener(const TransactionInfo&, const Receiver& receiver, const Parcel& data,
                            Parcel* reply) {
    reply->writeInt32(receiver.service.RegisterListener(ReadListener(data)));
    return OK;
}

status_t OnUnRegisterListener(const TransactionInfo&, const Receiver& receiver, const Parcel& data,
                              Parcel* reply) {
    reply->writeInt32(receiver.service.UnRegisterListener(ReadListener(data)));
    return OK;
}

status_t OnApplicationState(const TransactionInfo&, const Receiver&, const Parcel& data, Parcel*) {
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
        // Only up to a zero character: those that the request lacks read as such.
        KVT_LOGD("kvt currentPackageName = %s", CleanText(name.c_str()).c_str());
    }
    KVT_LOGD("kvt appType = %d appState = %d gameMode = %d", appType, appState, gameMode);
    return OK;
}

status_t OnGetMaxLcdFps(const TransactionInfo&, const Receiver&, const Parcel&, Parcel* reply) {
    const int32_t fps = LcdFpsControl::GetMaxLcdFps();
    KVT_LOGI("aps-info: get lcd max fps: %d", fps);
    reply->writeInt32(fps);
    return OK;
}

status_t OnGetNewSchemeSupported(const TransactionInfo&, const Receiver&, const Parcel&,
                                 Parcel* reply) {
    const int32_t supported = LcdFpsControl::GetNewSchemeSupported() ? 1 : 0;
    KVT_LOGI("aps-info: get lcd new scheme supported: %d", supported);
    reply->writeInt32(supported);
    return OK;
}

status_t OnPackages(const TransactionInfo&, const Receiver& receiver, const Parcel& data, Parcel*) {
    std::string focus = ReadUtf8(data);
    const int32_t count = data.readInt32();
    KVT_LOGI("aps-info: focus pkgName - %s, with %d more apps", CleanText(focus).c_str(), count);
    // Names past the end read as empty. Only a count that no request could hold is cut, so that a
    // hostile one does not keep this thread logging for hours.
    constexpr size_t kHonestCount = 1024;
    constexpr size_t kShortestName = sizeof(int32_t);
    const size_t most = std::max(kHonestCount, data.dataSize() / kShortestName);
    std::unordered_set<std::string> visible;
    for (int32_t i = 0; i < count && static_cast<size_t>(i) < most; ++i) {
        std::string name = ReadUtf8(data);
        KVT_LOGI("aps-info: visible pkgName %d - %s", i, CleanText(name).c_str());
        if (!name.empty()) {
            visible.insert(std::move(name));
        }
    }
    if (focus.empty()) {
        return OK;
    }
    return Act(receiver, {PACKAGES},
               [focus = std::move(focus), visible = std::move(visible)](IKVTService&) {
                   FpsCommon::OnPackageInfoReceived(focus, visible);
               });
}

status_t OnLayerTimeInfo(const TransactionInfo&, const Receiver& receiver, const Parcel& data,
                         Parcel* reply) {
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
    return ActHere(receiver.service,
                   [info = std::move(info)](IKVTService& s) mutable { s.SendLayerTimeInfo(info); });
}

status_t OnFrameRefresh(const TransactionInfo&, const Receiver& receiver, const Parcel& data,
                        Parcel* reply) {
    const int64_t timestamp = data.readInt64();
    reply->writeNoException();
    return ActHere(receiver.service,
                   [timestamp](IKVTService& s) { s.NotifyFrameRefresh(timestamp); });
}

status_t OnFingerprint(const TransactionInfo&, const Receiver& receiver, const Parcel& data,
                       Parcel*) {
    const std::string package = ReadUtf8(data);
    const int32_t status = data.readInt32();
    KVT_LOGI("kvt-fingerprint: packageName: %s, status: %d", CleanText(package).c_str(), status);
    return Act(receiver, {FINGERPRINT, status, package}, [package, status](IKVTService&) {
        FpsCommon::OnFingerprintMessageReceived(package, status);
    });
}

status_t OnSelfTest(const TransactionInfo&, const Receiver&, const Parcel& data, Parcel* reply) {
    constexpr int32_t kAlive = 20;
    const int32_t operateType = data.readInt32();
    const std::string filePatch = ReadUtf8(data);
    const std::string resultFileName = ReadUtf8(data);
    const int32_t bufferSize = data.readInt32();
    KVT_LOGD(
        "KVTTEST: success! currentOperateType:%d, filePatch:%s, resultFileName:%s, bufferSize:%d",
        operateType, CleanText(filePatch).c_str(), CleanText(resultFileName).c_str(), bufferSize);
    reply->writeInt32(kAlive);
    return OK;
}

/** An event that is one number: logged, answered, acted on. */
status_t OnValue(const TransactionInfo& row, const Receiver& receiver, const Parcel& data,
                 Parcel* reply) {
    const int32_t value = data.readInt32();
    if (row.log != nullptr) {
        __android_log_print(row.logPriority, "KVTService", row.log, value);
    }
    if (!row.endsInBase()) {
        reply->writeNoException();
    }
    if (row.act == nullptr) {
        return OK;
    }
    return Act(receiver, {row.code, value},
               [act = row.act, value](IKVTService& s) { act(s, value); });
}

template <void (IKVTService::*Operation)(int32_t)>
void ByService(IKVTService& service, int32_t value) {
    (service.*Operation)(value);
}

template <void (*Event)(int32_t)>
void ByPolicy(IKVTService&, int32_t value) {
    Event(value);
}

void StoreGameFpsLimit(int32_t fps) {
    FpsCommon::limitedGameFps = fps;
}

constexpr int32_t kLeast = INT32_MIN;
constexpr int32_t kMost = INT32_MAX;
constexpr int kDebug = ANDROID_LOG_DEBUG;
constexpr int kInfo = ANDROID_LOG_INFO;
constexpr const char* kNone = "none";
constexpr const char* kBase = "unknown transaction";
constexpr const char* kNoException = "no exception";

constexpr Sender L = Sender::kListener;
constexpr Sender F = Sender::kFramework;
constexpr Sender C = Sender::kCompositor;
constexpr Callers kF = Callers::kFramework;
constexpr Callers kC = Callers::kCompositor;
constexpr Callers kAny = Callers::kAnyone;
constexpr Call kOneWay = Call::kOneWay;
constexpr Call kWaits = Call::kWaits;

// clang-format off
constexpr TransactionInfo kTransactions[] = {
    // code, name, sender, callers, call, token, request, reply,
    //     command, event, meaning, least, most,
    //     handler, and for one that is a number: log priority, log text, action
    {REGISTER_LISTENER, "RegisterListener", L, kAny, kOneWay, true, "strong binder listener", "int32 result",
        "watch", nullptr, "asks for game frame rates", 0, 0,
        OnRegisterListener},
    {UNREGISTER_LISTENER, "UnRegisterListener", L, kAny, kOneWay, false, "strong binder listener", "int32 result",
        nullptr, nullptr, "asks for them no longer", 0, 0,
        OnUnRegisterListener},
    {APPLICATION_STATE, "application state", F, kF, kOneWay, false,
        "int32 type, int32 state, int32 game mode, int32 count, count × int32 character", kBase,
        "application-state", "application_state", "an application's state (only logged)", 0, 0,
        OnApplicationState},
    {THERMAL_LEVEL, "thermal level", F, kF, kOneWay, false, "int32 level", kBase,
        "thermal-level", "thermal_level", "thermal level (only logged)", kLeast, kMost,
        OnValue, kDebug, "kvt getThermalInfo tempLevel = %d", nullptr},
    {GET_MAX_LCD_FPS, "get maximum panel rate", F, kAny, kWaits, false, kNone, "int32 Hz",
        "max-rate", nullptr, "prints the panel's maximum rate in Hz", 0, 0,
        OnGetMaxLcdFps},
    {GET_NEW_SCHEME_SUPPORTED, "get new-scheme support", F, kAny, kWaits, false, kNone, "int32 0 or 1",
        "new-scheme", nullptr, "prints whether the panel supports dynamic rates", 0, 0,
        OnGetNewSchemeSupported},
    {POWER_MODE, "power mode", F, kF, kOneWay, false, "int32 mode", kBase,
        "power-mode", "power_mode", "power mode; 1 and 4 save power and hold 60 Hz", kLeast, kMost,
        OnValue, kInfo, "aps-info: power mode %d", ByPolicy<FpsCommon::DoWithPowerModeUpdate>},
    {LCD_SETTING, "panel-rate setting", F, kF, kOneWay, false, "int32 setting", kBase,
        "setting", "lcd_setting", "user's refresh-rate setting: 0, 1 or 2", 0, 2,
        OnValue, kInfo, "aps-info: lcd setting %d", ByPolicy<FpsCommon::DoWithLcdSettingUpdate>},
    {GAME_FPS_LIMIT, "game frame-rate limit", F, kF, kOneWay, false, "int32 limit", kBase,
        "limit", "game_fps_limit", "upper limit of game frame rates, -1 for none", -1, 1000,
        OnValue, kInfo, "aps-info: limited fps %d", ByPolicy<StoreGameFpsLimit>},
    {PACKAGES, "focused and visible packages", F, kF, kOneWay, false,
        "String16 focus, int32 count, count × String16 package", kBase,
        "packages", "packages", "the focused package, and all that are visible", 0, 0,
        OnPackages},
    {TEMPERATURE, "temperature", F, kF, kOneWay, false, "int32 temperature", kBase,
        "temperature", "temperature", "temperature (only logged)", kLeast, kMost,
        OnValue, kInfo, "aps-info: temperature %d", nullptr},
    {TOUCH_POINTER, "touch pointer status", F, kF, kOneWay, false, "int32 status", kBase,
        "touch-pointer", "touch_pointer", "touch-pad pointer: 1 on, 0 off", 0, 1,
        OnValue, kInfo, "aps-info: pointer status: %d", ByPolicy<FpsCommon::SetLcdLowDownByTpPointer>},
    {FULL_VIDEO, "full-screen video status", F, kF, kOneWay, false, "int32 status", kBase,
        "full-video", "full_video_status", "full-screen video: 1 on, 0 off (only logged)", 0, 1,
        OnValue, kInfo, "aps-info: full video status: %d", nullptr},
    {SEND_LAYER_TIME_INFO, "SendLayerTimeInfo", C, kC, kOneWay, true,
        "C string layer, int64 ns, bool flag", kNoException,
        "frames", "frames", "frames of a layer", 0, 0,
        OnLayerTimeInfo},
    {SET_LCD_EVENT, "SetLcdEvent", C, kC, kOneWay, true, "int32 event", kNoException,
        "touch", "touch", "finger on the screen: 1 down, 0 up", 0, 1,
        OnValue, kInfo, nullptr, ByService<&IKVTService::SetLcdEvent>},
    {NOTIFY_FRAME_REFRESH, "NotifyFrameRefresh", C, kC, kOneWay, true, "int64 ns", kNoException,
        "refresh", "refreshes", "the screen's content was refreshed, now", 0, 0,
        OnFrameRefresh},
    {NOTIFY_DISPLAY_HOTPLUG, "NotifyDisplayHotplugEvent", C, kC, kOneWay, true, "int32 event", kNoException,
        "hotplug", "hotplug", "external display: 1 connected, 0 disconnected", 0, 1,
        OnValue, kInfo, "SF-KVT: display hotplug: %d", ByService<&IKVTService::NotifyDisplayHotplugEvent>},
    {NOTIFY_VIRTUAL_DISPLAY, "NotifyVirtualDisplayEvent", C, kC, kOneWay, true, "int32 event", kNoException,
        "virtual-display", "virtual_display", "virtual display: 1 created, 0 removed", 0, 1,
        OnValue, kInfo, "SF-KVT: virtual display: %d", ByService<&IKVTService::NotifyVirtualDisplayEvent>},
    {NOTIFY_GPU_COMPOSITION, "NotifyGpuCompositionEvent", C, kC, kOneWay, true, "int32 status", kNoException,
        "gpu-composition", "gpu_composition", "GPU composition: 1 started, 0 ended", 0, 1,
        OnValue, kInfo, "Gpu-KVT: Gpu composition status: %d", ByService<&IKVTService::NotifyGpuCompositionEvent>},
    {FINGERPRINT, "fingerprint event", F, kF, kOneWay, false, "String16 package, int32 status", kBase,
        "fingerprint", "fingerprint", "fingerprint unlock: 0 idle, 1 wants 90 Hz, 2 wants 60 Hz", 0, 0,
        OnFingerprint},
    {SELF_TEST, "self-test probe", F, kAny, kWaits, false,
        "int32 operation, String16 path, String16 result file, int32 buffer size", "int32 20",
        "self-test", "self_test", "prints 20 when the service is alive", 0, 0,
        OnSelfTest},
};
// clang-format on

/** The codes from 1 on without a gap are rows from 0 on; some late ones follow. */
constexpr size_t kWithoutGap = [] {
    size_t row = 0;
    while (row < std::size(kTransactions) && kTransactions[row].code == row + 1) {
        ++row;
    }
    return row;
}();
constexpr size_t RowOf(uint32_t code) {
    if (code >= 1 && code <= kWithoutGap) {
        return code - 1;
    }
    size_t row = kWithoutGap;
    while (row < std::size(kTransactions) && kTransactions[row].code != code) {
        ++row;
    }
    return row;
}
static_assert([]() -> bool {
    for (size_t row = 1; row < std::size(kTransactions); ++row) {
        if (kTransactions[row - 1].code >= kTransactions[row].code) {
            return false;
        }
    }
    return true;
}());

}  // namespace

bool TransactionInfo::endsInBase() const {
    return reply == kBase;
}

Rows<TransactionInfo> Transactions() {
    return {std::begin(kTransactions), std::end(kTransactions)};
}

const TransactionInfo* FindTransaction(uint32_t code) {
    const size_t row = RowOf(code);
    return row < std::size(kTransactions) ? &kTransactions[row] : nullptr;
}

}  // namespace KVT
