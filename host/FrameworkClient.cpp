// SPDX-License-Identifier: Apache-2.0
#include "host/FrameworkClient.h"

#include <binder/Parcel.h>

#include "service/Transactions.h"

namespace KVT {

using android::IBinder;
using android::Parcel;
using android::status_t;
using android::String16;

namespace {

String16 Utf16(const std::string& text) {
    return String16(text.c_str(), text.size());
}

/** A service of this process ends handled events in its base binder, with this status. */
status_t Delivered(status_t status) {
    return status == android::UNKNOWN_TRANSACTION ? android::OK : status;
}

}  // namespace

status_t FrameworkClient::packages(const std::string& focus,
                                   const std::vector<std::string>& visible) {
    Parcel data;
    data.writeString16(Utf16(focus));
    data.writeInt32(static_cast<int32_t>(visible.size()));
    for (const std::string& pkg : visible) {
        data.writeString16(Utf16(pkg));
    }
    return Delivered(mService->transact(PACKAGES, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::applicationState(int32_t type, int32_t state, int32_t gameMode,
                                           const std::string& pkg) {
    Parcel data;
    data.writeInt32(type);
    data.writeInt32(state);
    data.writeInt32(gameMode);
    data.writeInt32(static_cast<int32_t>(pkg.size()));
    for (const char c : pkg) {
        data.writeInt32(c);
    }
    return Delivered(mService->transact(APPLICATION_STATE, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::fingerprint(const std::string& pkg, int32_t status) {
    Parcel data;
    data.writeString16(Utf16(pkg));
    data.writeInt32(status);
    return Delivered(mService->transact(FINGERPRINT, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::thermalLevel(int32_t level) {
    return sendInt32(THERMAL_LEVEL, level);
}

status_t FrameworkClient::powerMode(int32_t mode) {
    return sendInt32(POWER_MODE, mode);
}

status_t FrameworkClient::lcdSetting(int32_t setting) {
    return sendInt32(LCD_SETTING, setting);
}

status_t FrameworkClient::gameFpsLimit(int32_t fps) {
    return sendInt32(GAME_FPS_LIMIT, fps);
}

status_t FrameworkClient::temperature(int32_t degrees) {
    return sendInt32(TEMPERATURE, degrees);
}

status_t FrameworkClient::touchPointer(int32_t status) {
    return sendInt32(TOUCH_POINTER, status);
}

status_t FrameworkClient::fullVideo(int32_t status) {
    return sendInt32(FULL_VIDEO, status);
}

status_t FrameworkClient::maxLcdFps(int32_t* fps) {
    return query(GET_MAX_LCD_FPS, fps);
}

status_t FrameworkClient::newSchemeSupported(int32_t* supported) {
    return query(GET_NEW_SCHEME_SUPPORTED, supported);
}

status_t FrameworkClient::selfTest(int32_t* answer) {
    return query(SELF_TEST, answer);
}

status_t FrameworkClient::sendInt32(uint32_t code, int32_t value) {
    Parcel data;
    data.writeInt32(value);
    return Delivered(mService->transact(code, data, nullptr, IBinder::FLAG_ONEWAY));
}

status_t FrameworkClient::query(uint32_t code, int32_t* answer) {
    Parcel data;
    Parcel reply;
    const status_t status = mService->transact(code, data, &reply);
    return status == android::OK ? reply.readInt32(answer) : status;
}

}  // namespace KVT
