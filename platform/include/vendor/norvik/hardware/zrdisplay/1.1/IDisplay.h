// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vendor/norvik/hardware/zrdisplay/1.0/IDisplay.h>

#include <functional>

namespace vendor::norvik::hardware::zrdisplay::V1_1 {

enum class DISPLAY_RET : int32_t { SUCCESS = 0 };

/** The display hardware service with control over the refresh rate. Any thread may call it. */
class IDisplay : public V1_0::IDisplay {
  public:
    /** Narrows a 1.0 service; null when it does not offer 1.1. */
    static android::hardware::Return<android::sp<IDisplay>> castFrom(
        const android::sp<V1_0::IDisplay>& parent, bool emitError = false);

    using displayGetFps_cb =
        std::function<void(DISPLAY_RET ret, const android::hardware::hidl_string& description)>;

    /**
     * Reads the panel's refresh rates: "current_fps:60;default_fps:60;support_fps_list:60,90".
     *
     * @param selector always 1
     * @param callback called before the operation returns, when the transport works
     */
    virtual android::hardware::Return<void> displayGetFps(int32_t selector,
                                                          displayGetFps_cb callback) = 0;

    /**
     * Asks the panel for another refresh rate.
     *
     * @param index position in the rate table: "60n", 30, 45, 60, 90, 120, 180 Hz
     * @return 0 when the request was accepted; the panel switches later, or not at all
     */
    virtual android::hardware::Return<int32_t> setDisplayFps(int32_t index) = 0;
};

}  // namespace vendor::norvik::hardware::zrdisplay::V1_1
