// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Parcel.h>
#include <utils/Errors.h>

#include <cstdint>

#include "common/Rows.h"

namespace KVT {

class EventRunner;
class IKVTService;

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

/** Who sends a transaction. */
enum class Sender { kListener, kFramework, kCompositor };

/** Whose a transaction is, for a host that tells callers apart. The dispatcher itself does not. */
enum class Callers { kFramework, kCompositor, kAnyone };

/** As its sender sends it. The service answers whoever waits, all the same. */
enum class Call { kOneWay, kWaits };

/** Where one transaction goes. */
struct Receiver {
    IKVTService& service;
    /** Who acts on its event; null: the thread that received it. */
    EventRunner* events;
    /** Whether its sender waits, of whatever Call it is. */
    bool senderWaits;
};

/**
 * One transaction. The dispatcher works from its row, and the protocol's description is held to it.
 * Of one that is a single number, or a query, the row also makes the client's request, kvtctl's
 * subcommand and the scenario's event.
 */
struct TransactionInfo {
    uint32_t code;
    const char* name;
    Sender sender;
    Callers callers;
    Call call;
    /** The request begins with the interface token; a wrong one is answered with -1. */
    bool checksToken;
    /** Fields of the request behind the token: type and name each, "none" without any. */
    const char* request;
    /**
     * Fields of the reply. "unknown transaction": after it was handled the call also goes to the
     * base binder, and that is the status that the framework gets.
     */
    const char* reply;
    /** kvtctl's subcommand and a scenario's event; null where there is none. */
    const char* command;
    const char* event;
    /** For people. */
    const char* meaning;
    /** What tools accept for the value of a request that is one int32. */
    int32_t least;
    int32_t most;

    /** Reads and logs the request, writes the reply, and has it acted on. */
    android::status_t (*handle)(const TransactionInfo& row, const Receiver& receiver,
                                const android::Parcel& data, android::Parcel* reply);
    // Of a request that is one int32, where they are not null:
    int logPriority = 0;
    const char* log = nullptr;
    void (*act)(IKVTService& service, int32_t value) = nullptr;

    bool endsInBase() const;
    bool takesOneNumber() const { return least != most; }
};

/** All transactions, in ascending order of their codes. */
Rows<TransactionInfo> Transactions();

/** @return null for a code that nobody serves */
const TransactionInfo* FindTransaction(uint32_t code);

}  // namespace KVT
