// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KVT {

/**
 * The framework's side of the service's protocol: requests written by hand, without interface
 * token. For tools, the simulator and tests; the phone's framework has its own.
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
    android::status_t thermalLevel(int32_t level);
    android::status_t powerMode(int32_t mode);
    android::status_t lcdSetting(int32_t setting);
    android::status_t gameFpsLimit(int32_t fps);
    android::status_t temperature(int32_t degrees);
    android::status_t touchPointer(int32_t status);
    android::status_t fullVideo(int32_t status);
    android::status_t fingerprint(const std::string& pkg, int32_t status);

    android::status_t maxLcdFps(int32_t* fps);
    android::status_t newSchemeSupported(int32_t* supported);
    /** @param answer 20 from a service that is alive */
    android::status_t selfTest(int32_t* answer);

  private:
    android::status_t sendInt32(uint32_t code, int32_t value);
    android::status_t query(uint32_t code, int32_t* answer);

    android::sp<android::IBinder> mService;
};

}  // namespace KVT
