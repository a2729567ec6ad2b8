// SPDX-License-Identifier: Apache-2.0
// The vendor's client libraries, all best effort: a service that is not there is not missed.
#include <android/log.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <displayengine/DisplayEngineManager.h>
#include <ikoraperf/IkoraPerfClient.h>
#include <ikorasdk/IkoraSdk.h>
#include <zrlog/JankLog.h>

#include <cstdarg>

#include "linux/vendor/Protocol.h"

namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;

status_t Send(const char* service, uint32_t code, const Parcel& data, Parcel* reply,
              uint32_t flags) {
    const auto manager = android::defaultServiceManager();
    if (manager == nullptr) {
        return android::NAME_NOT_FOUND;
    }
    const sp<IBinder> remote = manager->checkService(android::String16(service));
    return remote == nullptr ? android::NAME_NOT_FOUND : remote->transact(code, data, reply, flags);
}

}  // namespace

void DisplayEngineManager::setFrameRate(const std::string& rate) {
    Parcel data;
    data.writeString8(android::String8(rate.c_str(), rate.size()));
    Send(KVT::vendor::kDisplayEngineService, KVT::vendor::kDisplayEngineSetFrameRate, data, nullptr,
         IBinder::FLAG_ONEWAY);
}

int SendCurrentFps(int fps) {
    Parcel data;
    data.writeInt32(fps);
    return Send(KVT::vendor::kPerfService, KVT::vendor::kPerfSendCurrentFps, data, nullptr,
                IBinder::FLAG_ONEWAY);
}

int iKoraSdkRegisterGameCallbck(const sp<IBinder>& callback, const char* name) {
    Parcel data;
    Parcel reply;
    data.writeStrongBinder(callback);
    data.writeString8(android::String8(name));
    const status_t status =
        Send(KVT::vendor::kGameSdkService, KVT::vendor::kGameSdkRegister, data, &reply, 0);
    return status == android::OK ? reply.readInt32() : 0;
}

int __zrlog_jank_print(int priority, int event, const char* format, ...) {
    // Linux has no jank log; the ordinary one keeps the record, under the event's number.
    char tag[16];
    snprintf(tag, sizeof(tag), "jank-%d", event);
    va_list args;
    va_start(args, format);
    const int written = __android_log_vprint(priority, tag, format, args);
    va_end(args);
    return written;
}
