// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace KVT {

/** Transaction codes of the service. */
enum Transaction : uint32_t {
    // Listeners; sent by BpKVTService.
    REGISTER_LISTENER = 1,
    UNREGISTER_LISTENER = 2,
    // The framework, which writes its requests by hand and without an interface token.
    APPLICATION_STATE = 3,
    THERMAL_LEVEL = 4,
    GET_MAX_LCD_FPS = 5,
    GET_NEW_SCHEME_SUPPORTED = 6,
    POWER_MODE = 7,
    LCD_SETTING = 8,
    GAME_FPS_LIMIT = 9,
    PACKAGES = 10,
    TEMPERATURE = 11,
    TOUCH_POINTER = 12,
    FULL_VIDEO = 13,
    // The compositor; sent by BpKVTService.
    SEND_LAYER_TIME_INFO = 14,
    SET_LCD_EVENT = 15,
    NOTIFY_FRAME_REFRESH = 16,
    NOTIFY_DISPLAY_HOTPLUG = 17,
    NOTIFY_VIRTUAL_DISPLAY = 18,
    NOTIFY_GPU_COMPOSITION = 19,
    // The framework again.
    FINGERPRINT = 20000,
    SELF_TEST = 20003,
};

/** What a client needs to know of one transaction; the dispatcher works from the same rows. */
struct TransactionInfo {
    uint32_t code;
    const char* name;
    /** The request begins with the interface token; a wrong one is answered with -1. */
    bool checksToken;
    /**
     * After it was handled the call also goes to the base binder, whose "unknown transaction" is
     * the status that the framework gets.
     */
    bool endsInBase;
};

/** All transactions, in ascending order of their codes. */
const TransactionInfo* Transactions(size_t* count);

}  // namespace KVT
