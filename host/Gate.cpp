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

/** Reads a name as the dispatcher does, up to its first zero character, without keeping it. */
bool NameFits(const Parcel& data) {
    size_t length = 0;
    const char16_t* const name = data.readString16Inplace(&length);
    return name == nullptr || utf16_to_utf8_length(name, strnlen16(name, length)) <=
                                  static_cast<ssize_t>(kMostNameBytes);
}

/** Reads how many follow. Less than none are none; those that a request lacks read as empty. */
bool CountFits(const Parcel& data, size_t most, int32_t* count) {
    *count = data.readInt32();
    return *count <= 0 || static_cast<size_t>(*count) <= most;
}

bool ApplicationStateFits(const Parcel& data) {
    data.readInt32();  // type
    data.readInt32();  // state
    data.readInt32();  // game mode
    int32_t characters = 0;
    return CountFits(data, kMostNameBytes, &characters);
}

bool PackagesFit(const Parcel& data) {
    int32_t count = 0;
    bool fits = NameFits(data) && CountFits(data, kMostVisiblePackages, &count);
    for (int32_t i = 0; fits && i < count; ++i) {
        fits = NameFits(data);
    }
    return fits;
}

bool SelfTestFits(const Parcel& data) {
    data.readInt32();  // operation
    return NameFits(data) && NameFits(data);
}

using FieldsFit = bool (*)(const Parcel& data);

FieldsFit FieldsFitOf(uint32_t code) {
    switch (code) {
        case APPLICATION_STATE:
            return ApplicationStateFits;
        case PACKAGES:
            return PackagesFit;
        case FINGERPRINT:
            return NameFits;
        case SELF_TEST:
            return SelfTestFits;
        default:
            return nullptr;
    }
}

}  // namespace

Gate::Gate(const CallerUids& uids) {
    grant(kFrameworks, uids.framework);
    grant(kCompositors, uids.compositor);
    grant(kObservers, uids.observers);
    grant(kFrameworks | kCompositors, {getuid()});
    for (const TransactionInfo& row : Transactions()) {
        mRules.push_back({row.code, RightsFor(row.callers), MostRequestBytes(row.code),
                          FieldsFitOf(row.code), row.call == Call::kWaits});
    }
    mRules.push_back({IBinder::DUMP_TRANSACTION, kFrameworks | kCompositors | kObservers,
                      kMostDumpRequestBytes, nullptr, false});
    while (mRules[mWithoutGap].code == mWithoutGap + 1) {
        ++mWithoutGap;
    }
}

Gate::Rights Gate::RightsFor(Callers callers) {
    switch (callers) {
        case Callers::kFramework:
            return kFrameworks;
        case Callers::kCompositor:
            return kCompositors;
        case Callers::kAnyone:
            break;
    }
    return kAnyones;
}

void Gate::grant(Rights rights, const std::vector<uid_t>& uids) {
    for (const uid_t uid : uids) {
        const auto known = std::find_if(mRights.begin(), mRights.end(),
                                        [uid](const auto& entry) { return entry.first == uid; });
        if (known != mRights.end()) {
            known->second |= rights;
        } else {
            mRights.emplace_back(uid, rights | kAnyones);
        }
    }
}

status_t Gate::admitLate(uid_t uid, uint32_t code, const Parcel& data) {
    const auto found = std::find_if(mRules.begin(), mRules.end(),
                                    [code](const Rule& rule) { return rule.code == code; });
    // Without a rule it is harmless, or nobody's.
    return found == mRules.end() ? android::OK : admitBy(*found, uid, data);
}

status_t Gate::admitBy(const Rule& rule, uid_t uid, const Parcel& data) {
    if ((rule.rights & rightsOf(uid)) == 0) {
        return refuse(uid, rule.code, android::PERMISSION_DENIED);
    }
    if (data.dataSize() > rule.mostBytes) {
        return refuse(uid, rule.code, android::BAD_VALUE);
    }
    return rule.isPlain ? android::OK : admitClosely(rule, uid, data);
}

status_t Gate::admitClosely(const Rule& rule, uid_t uid, const Parcel& data) {
    if (rule.isQuery && !trusts(uid) && !mQueries.take(uid)) {
        return refuse(uid, rule.code, android::WOULD_BLOCK);
    }
    const bool fit = rule.fieldsFit == nullptr || rule.fieldsFit(data);
    data.setDataPosition(0);
    return fit ? android::OK : refuse(uid, rule.code, android::BAD_VALUE);
}

status_t Gate::refuse(uid_t uid, uint32_t code, status_t status) {
    mRefusals.add(uid, code,
                  status == android::BAD_VALUE     ? "beyond a limit"
                  : status == android::WOULD_BLOCK ? "asks too often"
                                                   : "not its to send");
    return status;
}

bool Gate::trusts(uid_t uid) const {
    return (rightsOf(uid) & (kFrameworks | kCompositors)) != 0;
}

}  // namespace KVT
