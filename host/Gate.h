// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Parcel.h>
#include <sys/types.h>
#include <utils/Errors.h>

#include <cstdint>
#include <vector>

#include "host/Caller.h"
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
 * keeps to the limits (Limits.h). Any thread; what is admitted costs no lock and no allocation.
 */
class Gate {
  public:
    explicit Gate(const CallerUids& uids = {});

    /**
     * Changes nothing of the request, its position neither, which is to be at the beginning.
     * @return OK; PERMISSION_DENIED for who may not send it; BAD_VALUE beyond a limit
     */
    android::status_t admit(const Caller& caller, uint32_t code, const android::Parcel& data);

    /** Whether that is the framework, the compositor or the service itself. */
    bool trusts(uid_t uid) const;

    /** Who was not admitted, here or by what stands behind the gate. */
    Refusals& refusals() { return mRefusals; }

  private:
    bool mayCall(Callers callers, uid_t uid) const;
    bool mayDump(uid_t uid) const;

    CallerUids mUids;
    Refusals mRefusals;
};

}  // namespace KVT
