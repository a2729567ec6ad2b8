// SPDX-License-Identifier: Apache-2.0
#include "host/Gate.h"

#include <binder/IBinder.h>
#include <unistd.h>
#include <utils/Unicode.h>

#include <algorithm>

#include "host/Limits.h"

namespace KVT {

using android::IBinder;
using android::Parcel;
using android::status_t;

namespace {

bool Contains(const std::vector<uid_t>& uids, uid_t uid) {
    return std::find(uids.begin(), uids.end(), uid) != uids.end();
}

/** Reads a name as the dispatcher does, up to its first zero character, without keeping it. */
bool NameFits(const Parcel& data) {
    size_t length = 0;
    const char16_t* const name = data.readString16Inplace(&length);
    return name == nullptr || utf16_to_utf8_length(name, strnlen16(name, length)) <=
                                  static_cast<ssize_t>(kMostNameBytes);
}

/** Reads how many follow. Less than none are none; what follows may end early, but not so early. */
bool CountFits(const Parcel& data, int32_t most, size_t bytesOfOne, int32_t* count) {
    *count = data.readInt32();
    return *count <= 0 ||
           (*count <= most && static_cast<size_t>(*count) <= data.dataAvail() / bytesOfOne);
}

bool ApplicationStateFits(const Parcel& data) {
    data.readInt32();  // type
    data.readInt32();  // state
    data.readInt32();  // game mode
    int32_t characters = 0;
    return CountFits(data, static_cast<int32_t>(kMostNameBytes), sizeof(int32_t), &characters);
}

bool PackagesFit(const Parcel& data) {
    int32_t count = 0;
    bool fits = NameFits(data) && CountFits(data, kMostVisiblePackages, sizeof(int32_t), &count);
    for (int32_t i = 0; fits && i < count; ++i) {
        fits = NameFits(data);
    }
    return fits;
}

bool SelfTestFits(const Parcel& data) {
    data.readInt32();  // operation
    return NameFits(data) && NameFits(data);
}

/** Whether counts and names keep to their limits, in a request that is no larger than it may be. */
bool FieldsFit(uint32_t code, const Parcel& data) {
    bool (*fits)(const Parcel&) = nullptr;
    switch (code) {
        case APPLICATION_STATE:
            fits = ApplicationStateFits;
            break;
        case PACKAGES:
            fits = PackagesFit;
            break;
        case FINGERPRINT:
            fits = NameFits;
            break;
        case SELF_TEST:
            fits = SelfTestFits;
            break;
        default:
            return true;
    }
    const bool fit = fits(data);
    data.setDataPosition(0);
    return fit;
}

}  // namespace

Gate::Gate(const CallerUids& uids) : mUids(uids) {
    mUids.framework.push_back(getuid());
    mUids.compositor.push_back(getuid());
}

status_t Gate::admit(const Caller& caller, uint32_t code, const Parcel& data) {
    const TransactionInfo* const row = FindTransaction(code);
    const bool isDump = row == nullptr && code == IBinder::DUMP_TRANSACTION;
    if (row == nullptr && !isDump) {
        return android::OK;  // harmless, or nobody's
    }
    if (!(isDump ? mayDump(caller.uid) : mayCall(row->callers, caller.uid))) {
        mRefusals.add(caller.uid, code, "not its to send");
        return android::PERMISSION_DENIED;
    }
    const size_t most = isDump ? kMostDumpRequestBytes : MostRequestBytes(code);
    if (data.dataSize() > most || !FieldsFit(code, data)) {
        mRefusals.add(caller.uid, code, "beyond a limit");
        return android::BAD_VALUE;
    }
    return android::OK;
}

bool Gate::trusts(uid_t uid) const {
    return Contains(mUids.framework, uid) || Contains(mUids.compositor, uid);
}

bool Gate::mayCall(Callers callers, uid_t uid) const {
    switch (callers) {
        case Callers::kFramework:
            return Contains(mUids.framework, uid);
        case Callers::kCompositor:
            return Contains(mUids.compositor, uid);
        case Callers::kAnyone:
            return true;
    }
    return false;
}

bool Gate::mayDump(uid_t uid) const {
    return trusts(uid) || Contains(mUids.observers, uid);
}

}  // namespace KVT
