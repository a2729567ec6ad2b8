// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <cstdint>
#include <string>
#include <vector>

#include "service/Transactions.h"

namespace KVT {

/**
 * The framework's side of the service's protocol: requests written by hand. For tools, the
 * simulator and tests; the phone's framework has its own. Events that are one number are sent by
 * their code, the compositor's too.
 *
 * Events are one-way, as on the phone. Queries wait for their answer.
 */
class FrameworkClient {
  public:
    explicit FrameworkClient(const android::sp<android::IBinder>& service) : mService(service) {}

    /** @return OK when the event was handed over; that it was understood nobody says */
    android::status_t packages(const std::string& focus, const std::vector<std::string>& visible);
    android::status_t applicationState(int32_t type, int32_t state, int32_t gameMode,
                                       const std::string& pkg);
    /** An event that is one number, of the framework or the compositor. */
    android::status_t send(uint32_t code, int32_t value);
    android::status_t fingerprint(const std::string& pkg, int32_t status);

    /** A query that is answered with a number. */
    android::status_t ask(uint32_t code, int32_t* answer);

  private:
    android::sp<android::IBinder> mService;
};

}  // namespace KVT
