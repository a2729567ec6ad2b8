// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/IBase.h>

#include <string>

namespace vendor::norvik::hardware::zrdisplay::V1_0 {

/** The display hardware service, which owns the panel. */
class IDisplay : public android::hidl::base::V1_0::IBase {
  public:
    /** Looks the service up without waiting; null when it is not there. */
    static android::sp<IDisplay> tryGetService(const std::string& instance = "default",
                                               bool getStub = false);
};

}  // namespace vendor::norvik::hardware::zrdisplay::V1_0
