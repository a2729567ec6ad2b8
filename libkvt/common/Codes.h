// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KVT {

// Refresh-rate codes of the configuration. 7 and 8 do not exist.
inline constexpr int32_t kCodeHigh = 3;     // 90 Hz; for a game also the constant-high strategy
inline constexpr int32_t kCodeDynamic = 9;  // a strategy moves the panel

/** Panel rate in Hz of the codes 0 to 6. */
inline constexpr int32_t kCodeToHz[] = {60, 30, 60, 90, 120, 144, 240};

// Application types of the classification service.
inline constexpr int32_t kTypeGame = 9;
inline constexpr int32_t kTypeLauncher = 28;
inline constexpr int32_t kTypeUnknown = -1;

/** Whether the classification service's answer counts; any other is taken as unknown. */
constexpr bool IsKnownType(int32_t type) {
    return (type >= kTypeUnknown && type <= 36) || type == 255;
}

// The two panel rates that rules and strategies choose by themselves, in Hz.
inline constexpr int32_t kLowHz = 60;
inline constexpr int32_t kHighHz = 90;

/** No frame-rate limit, no forced frame rate. */
inline constexpr int32_t kNoGameFps = -1;

}  // namespace KVT
