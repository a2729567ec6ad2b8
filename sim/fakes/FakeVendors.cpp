// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakeVendors.h"

#include <binder/Parcel.h>

#include "linux/vendor/Protocol.h"

namespace KVT::sim {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;

status_t FakeSched::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (code != vendor::kSchedSendMessage) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    if (mFail) {
        return android::DEAD_OBJECT;
    }
    data.readInt32();  // the kind of message: there is only one
    std::string message = data.readString8().string();
    MutexLock lock(mMutex);
    if (mMessages.empty() || mMessages.back() != message) {
        mJournal->add("scheduler told " + message);
    }
    mMessages.push_back(std::move(message));
    return android::OK;
}

std::vector<std::string> FakeSched::takeMessages() {
    MutexLock lock(mMutex);
    return std::exchange(mMessages, {});
}

status_t FakePerf::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (code != vendor::kPerfSendCurrentFps) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    const int32_t rate = data.readInt32();
    mJournal->add("performance service told " + std::to_string(rate) + " Hz");
    MutexLock lock(mMutex);
    mRates.push_back(rate);
    return android::OK;
}

std::vector<int32_t> FakePerf::takeRates() {
    MutexLock lock(mMutex);
    return std::exchange(mRates, {});
}

status_t FakeDisplayEngine::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                       uint32_t flags) {
    if (code != vendor::kDisplayEngineSetFrameRate) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    MutexLock lock(mMutex);
    mRates.emplace_back(data.readString8().string());
    return android::OK;
}

std::vector<std::string> FakeDisplayEngine::takeRates() {
    MutexLock lock(mMutex);
    return std::exchange(mRates, {});
}

status_t FakeGameSdk::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (code != vendor::kGameSdkRegister) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    sp<IBinder> callback = data.readStrongBinder();
    std::string subscription = data.readString8().string();
    const int32_t result = mResult;
    if (result != 0 && callback != nullptr) {
        MutexLock lock(mMutex);
        mCallbacks.emplace_back(std::move(subscription), std::move(callback));
    }
    return reply->writeInt32(result);
}

std::vector<std::string> FakeGameSdk::subscriptions() {
    MutexLock lock(mMutex);
    std::vector<std::string> names;
    for (const auto& [subscription, callback] : mCallbacks) {
        names.push_back(subscription);
    }
    return names;
}

void FakeGameSdk::report(const std::string& json) {
    constexpr uint32_t kGameInfo = IBinder::FIRST_CALL_TRANSACTION;
    static const android::String16 interface("com.norvik.ikora.sdk.ISDKCallbak");
    std::vector<sp<IBinder>> callbacks;
    {
        MutexLock lock(mMutex);
        for (const auto& [subscription, callback] : mCallbacks) {
            callbacks.push_back(callback);
        }
    }
    for (const sp<IBinder>& callback : callbacks) {
        Parcel data;
        data.writeInterfaceToken(interface);
        data.writeString16(android::String16(json.c_str(), json.size()));
        callback->transact(kGameInfo, data, nullptr, IBinder::FLAG_ONEWAY);
    }
}

}  // namespace KVT::sim
