// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/FrameworkClient.h"

namespace KVT::test {

/** The phone's framework, with an eye on the panel. It believes that it begins at 60 Hz. */
class Framework {
  public:
    Framework();

    /**
     * Brings another package to the front, and with it the other rate.
     *
     * @param patience in ns
     * @return ns until the panel followed; none when it has not in that time
     */
    std::optional<int64_t> change(int64_t patience);

    /** @return ns until a query was answered; none when it was not, or wrongly */
    std::optional<int64_t> ask();

    /** The service's state, as whoever looks after a phone reads it. */
    std::string dump();

    const android::sp<android::IBinder>& service() const { return mService; }

  private:
    int panelHz();

    const android::sp<android::IBinder> mService;
    const android::sp<android::IBinder> mPanel;
    FrameworkClient mClient{mService};
    int mHz = 60;
};

}  // namespace KVT::test
