// SPDX-License-Identifier: Apache-2.0
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <vendor/norvik/hardware/zrsched/1.0/ISched.h>

#include "linux/vendor/DeathLink.h"
#include "linux/vendor/Protocol.h"

namespace vendor::norvik::hardware::zrsched::V1_0 {
namespace {

using android::IBinder;
using android::OK;
using android::Parcel;
using android::sp;
using android::status_t;
using android::hardware::hidl_death_recipient;
using android::hardware::hidl_string;
using android::hardware::Return;

/** The AI scheduler behind a binder. */
class SchedProxy : public ISched {
  public:
    explicit SchedProxy(const sp<IBinder>& remote) : mRemote(remote), mDeathLinks(remote) {}

    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        return mDeathLinks.link(this, recipient, cookie);
    }

    Return<void> sendMessage(int32_t type, const hidl_string& message, int32_t length) override {
        Parcel data;
        Parcel reply;
        data.writeInt32(type);
        data.writeString8(android::String8(message.c_str(), message.size()));
        data.writeInt32(length);
        const status_t status = mRemote->transact(KVT::vendor::kSchedSendMessage, data, &reply);
        return status == OK ? Return<void>() : Return<void>::failed(status);
    }

  private:
    const sp<IBinder> mRemote;
    KVT::vendor::DeathLinks mDeathLinks;
};

}  // namespace

sp<ISched> ISched::tryGetService(const std::string& instance, bool) {
    const auto manager = android::defaultServiceManager();
    if (manager == nullptr || instance != "zrsched") {
        return nullptr;
    }
    const sp<IBinder> remote = manager->checkService(android::String16(KVT::vendor::kSchedService));
    return remote == nullptr ? nullptr : new SchedProxy(remote);
}

}  // namespace vendor::norvik::hardware::zrsched::V1_0
