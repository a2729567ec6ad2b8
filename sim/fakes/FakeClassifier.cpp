// SPDX-License-Identifier: Apache-2.0
#include "sim/fakes/FakeClassifier.h"

#include <binder/Parcel.h>

#include "sync/Clock.h"

namespace KVT::sim {
namespace {

constexpr uint32_t kGetPackageType = 25;

}  // namespace

void FakeClassifier::setType(const std::string& pkg, int32_t type) {
    MutexLock lock(mMutex);
    mTypes[pkg] = type;
}

void FakeClassifier::failCalls(android::status_t status) {
    MutexLock lock(mMutex);
    mStatus = status;
}

void FakeClassifier::throwException(int32_t code) {
    MutexLock lock(mMutex);
    mException = code;
}

int32_t FakeClassifier::asked(const std::string& pkg) {
    MutexLock lock(mMutex);
    return mAsked[pkg];
}

android::status_t FakeClassifier::onTransact(uint32_t code, const android::Parcel& data,
                                             android::Parcel* reply, uint32_t flags) {
    static const android::String16 interface("android.rms.ikora.ICMSManager");
    if (code != kGetPackageType) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    if (!data.enforceInterface(interface)) {
        return android::PERMISSION_DENIED;
    }
    const std::string pkg = android::String8(data.readString16()).string();
    SleepFor(mDelayNs);
    MutexLock lock(mMutex);
    ++mAsked[pkg];
    if (mStatus != android::OK) {
        return mStatus;
    }
    reply->writeInt32(mException);
    const auto found = mTypes.find(pkg);
    return reply->writeInt32(found == mTypes.end() ? kOrdinaryApp : found->second);
}

}  // namespace KVT::sim
