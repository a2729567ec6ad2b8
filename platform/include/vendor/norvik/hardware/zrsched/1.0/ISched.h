// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/IBase.h>

#include <string>

namespace vendor::norvik::hardware::zrsched::V1_0 {

/** The AI scheduler, which sizes CPU and GPU for the frame rate that a game is meant to reach. */
class ISched : public android::hidl::base::V1_0::IBase {
  public:
    /** Looks the service up without waiting; null when it is not there. */
    static android::sp<ISched> tryGetService(const std::string& instance = "default",
                                             bool getStub = false);

    /**
     * Sends one message.
     *
     * @param type   1 for a JSON text
     * @param length bytes of the text, terminating zero included
     */
    virtual android::hardware::Return<void> sendMessage(
        int32_t type, const android::hardware::hidl_string& message, int32_t length) = 0;
};

}  // namespace vendor::norvik::hardware::zrsched::V1_0
