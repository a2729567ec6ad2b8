// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace KVT {

/** In front when the service starts, and never asked for its type: kTypeLauncher. */
inline constexpr const char* kLauncher = "com.norvik.android.launcher";

/** Suites that measure the display; they get 60 Hz, and so does the package that follows one. */
inline constexpr std::string_view kCompatibilityTests[] = {
    "android.view.cts",
    "com.android.compatibility.common.deviceinfo",
    "com.android.server.cts.device.graphicsstats",
};

constexpr bool IsCompatibilityTest(std::string_view pkg) {
    for (const std::string_view prefix : kCompatibilityTests) {
        if (pkg.substr(0, prefix.size()) == prefix) {
            return true;
        }
    }
    return false;
}

}  // namespace KVT
