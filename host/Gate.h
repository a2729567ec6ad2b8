// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Parcel.h>
#include <sys/types.h>
#include <utils/Errors.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/QueryQuota.h"
#include "host/Refusals.h"
#include "service/Transactions.h"

namespace KVT {

/** Who the phone's processes run as. The service's own uid may always do everything. */
struct CallerUids {
    std::vector<uid_t> framework{0, 1000};         // root, system
    std::vector<uid_t> compositor{0, 1000, 1003};  // and graphics
    /** Who may see the dump besides those. */
    std::vector<uid_t> observers{2000};  // shell
};

/**
 * Decides whether a transaction gets to the dispatcher: by who sends it, and by whether the request
 * keeps to the limits (Limits.h). Any thread; what is admitted costs no lock and no allocation,
 * but for queries of those who are not trusted.
 */
class Gate {
  public:
    explicit Gate(const CallerUids& uids = {});

    /**
     * Changes nothing of the request, its position neither, which is to be at the beginning.
     * @return OK; PERMISSION_DENIED for who may not send it; BAD_VALUE beyond a limit;
     *         WOULD_BLOCK for who asks too often
     */
    android::status_t admit(uid_t uid, uint32_t code, const android::Parcel& data) {
        return code - 1 < mWithoutGap ? admitBy(mRules[code - 1], uid, data)
                                      : admitLate(uid, code, data);
    }

    /** Whether that is the framework, the compositor or the service itself. */
    bool trusts(uid_t uid) const;

    /** Who was not admitted, here or by what stands behind the gate. */
    Refusals& refusals() { return mRefusals; }

  private:
    /** Bits: what a uid may do, and what a transaction takes one of. */
    using Rights = uint32_t;
    static constexpr Rights kAnyones = 1;
    static constexpr Rights kFrameworks = 2;
    static constexpr Rights kCompositors = 4;
    static constexpr Rights kObservers = 8;
    struct Rule {
        uint32_t code;
        Rights rights;
        size_t mostBytes;
        /** Whether counts and names keep to their limits; null without any. Reads the request. */
        bool (*fieldsFit)(const android::Parcel& data);
        bool isQuery;
        /** Admitted by sender and size alone, as frames are. */
        bool isPlain = fieldsFit == nullptr && !isQuery;
    };

    static Rights RightsFor(Callers callers);
    void grant(Rights rights, const std::vector<uid_t>& uids);
    Rights rightsOf(uid_t uid) const {
        for (const auto& [known, rights] : mRights) {
            if (known == uid) {
                return rights;
            }
        }
        return kAnyones;
    }
    android::status_t admitLate(uid_t uid, uint32_t code, const android::Parcel& data);
    android::status_t admitBy(const Rule& rule, uid_t uid, const android::Parcel& data);
    android::status_t admitClosely(const Rule& rule, uid_t uid, const android::Parcel& data);
    android::status_t refuse(uid_t uid, uint32_t code, android::status_t status);

    std::vector<std::pair<uid_t, Rights>> mRights;
    std::vector<Rule> mRules;  // in ascending order of their codes
    uint32_t mWithoutGap = 0;  // the codes up to here are the numbers of their rules, from 1 on
    QueryQuota mQueries;
    Refusals mRefusals;
};

}  // namespace KVT
