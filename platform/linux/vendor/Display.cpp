// SPDX-License-Identifier: Apache-2.0
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <log/log.h>
#include <vendor/norvik/hardware/zrdisplay/1.1/IDisplay.h>

#include "linux/vendor/DeathLink.h"
#include "linux/vendor/Protocol.h"
#include "sync/Clock.h"

namespace vendor::norvik::hardware::zrdisplay {
namespace {

using android::DEAD_OBJECT;
using android::FAILED_TRANSACTION;
using android::IBinder;
using android::OK;
using android::Parcel;
using android::sp;
using android::status_t;
using android::hardware::hidl_death_recipient;
using android::hardware::Return;

// A receive buffer is full only while others hold parts of it, and every request can be repeated.
constexpr int kAttempts = 4;
constexpr int64_t kPauseNs = 5 * KVT::kNsPerMs;

/** The display service behind a binder. Only its death is a failure of the transport. */
class DisplayProxy : public V1_1::IDisplay {
  public:
    explicit DisplayProxy(const sp<IBinder>& remote) : mRemote(remote), mDeathLinks(remote) {}

    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        return mDeathLinks.link(this, recipient, cookie);
    }

    Return<bool> hasVersion11() {
        Parcel reply;
        const status_t status = call(KVT::vendor::kDisplayHasVersion11, {}, &reply);
        return status == DEAD_OBJECT ? Return<bool>::failed(status)
                                     : Return<bool>(status == OK && reply.readBool());
    }

    /** A request that failed is told as a code of its own: the status, which is never 0. */
    Return<void> displayGetFps(int32_t selector, displayGetFps_cb callback) override {
        Parcel data;
        Parcel reply;
        data.writeInt32(selector);
        const status_t status = call(KVT::vendor::kDisplayGetFps, data, &reply);
        if (status == DEAD_OBJECT) {
            return Return<void>::failed(status);
        }
        const auto ret = static_cast<V1_1::DISPLAY_RET>(status == OK ? reply.readInt32() : status);
        callback(ret, status == OK ? reply.readString8().string() : "");
        return {};
    }

    Return<int32_t> setDisplayFps(int32_t index) override {
        Parcel data;
        Parcel reply;
        data.writeInt32(index);
        const status_t status = call(KVT::vendor::kDisplaySetFps, data, &reply);
        return status == DEAD_OBJECT ? Return<int32_t>::failed(status)
                                     : Return<int32_t>(status == OK ? reply.readInt32() : status);
    }

  private:
    status_t call(uint32_t code, const Parcel& data, Parcel* reply) {
        status_t status = mRemote->transact(code, data, reply);
        for (int i = 1; i < kAttempts && status == FAILED_TRANSACTION; ++i) {
            KVT::SleepFor(kPauseNs);
            status = mRemote->transact(code, data, reply);
        }
        if (status != OK && status != DEAD_OBJECT) {
            ALOG(LOG_ERROR, "zrdisplay", "request %u failed: status %d", code, status);
        }
        return status;
    }

    const sp<IBinder> mRemote;
    KVT::vendor::DeathLinks mDeathLinks;
};

}  // namespace

sp<V1_0::IDisplay> V1_0::IDisplay::tryGetService(const std::string& instance, bool) {
    const auto manager = android::defaultServiceManager();
    if (manager == nullptr || instance != "default") {
        return nullptr;
    }
    const sp<IBinder> remote =
        manager->checkService(android::String16(KVT::vendor::kDisplayService));
    return remote == nullptr ? nullptr : new DisplayProxy(remote);
}

Return<sp<V1_1::IDisplay>> V1_1::IDisplay::castFrom(const sp<V1_0::IDisplay>& parent, bool) {
    if (parent == nullptr) {
        return sp<V1_1::IDisplay>();
    }
    // tryGetService is the only source of these objects.
    const sp<DisplayProxy> proxy = static_cast<DisplayProxy*>(parent.get());
    const Return<bool> answer = proxy->hasVersion11();
    if (!answer.isOk()) {
        return Return<sp<V1_1::IDisplay>>::failed(android::DEAD_OBJECT);
    }
    return answer ? sp<V1_1::IDisplay>(proxy) : sp<V1_1::IDisplay>();
}

}  // namespace vendor::norvik::hardware::zrdisplay
