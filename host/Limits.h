// SPDX-License-Identifier: Apache-2.0
// How much the service takes from others: each limit is far above what a phone needs, and low enough
// that all of it at once neither fills nor delays the service.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "service/Transactions.h"

namespace KVT {

// Of a request.

/** A package's name, UTF-8: it names folders, and Linux has no longer names for them. */
constexpr size_t kMostNameBytes = 255;

/** Packages that are visible at a time: split screen, floating windows and what shines through. */
constexpr size_t kMostVisiblePackages = 64;

/** A layer's name, UTF-8: package and activity, 255 each, and what the compositor writes around. */
constexpr size_t kMostLayerNameBytes = 1024;

/**
 * Beside its fields: an interface token, 40 bytes, which some write before every request, and what
 * a later framework may append.
 */
constexpr size_t kRequestAllowance = 256;

/** Bytes of a request with everything in it that may be. */
constexpr size_t MostRequestBytes(uint32_t code) {
    constexpr size_t kInt32 = 4;
    constexpr size_t kInt64 = 8;
    constexpr size_t kBinder = 24;
    // Length, units and zero unit. A character takes no more UTF-16 units than UTF-8 bytes.
    constexpr size_t kName = kInt32 + (kMostNameBytes + 1) * sizeof(char16_t);
    const size_t fields = [code] {
        switch (code) {
            case REGISTER_LISTENER:
            case UNREGISTER_LISTENER:
                return kBinder;
            case APPLICATION_STATE:
                return 4 * kInt32 + kMostNameBytes * kInt32;
            case PACKAGES:
                return kName + kInt32 + kMostVisiblePackages * kName;
            case SEND_LAYER_TIME_INFO:
                return kMostLayerNameBytes + kInt64 + kInt32;
            case FINGERPRINT:
                return kName + kInt32;
            case SELF_TEST:
                return kInt32 + 2 * kName + kInt32;
            default:
                return kInt64;  // a number or none
        }
    }();
    return kRequestAllowance + fields;
}

/** Of a dump: arguments, which nobody reads here, and the descriptor. */
constexpr size_t kMostDumpRequestBytes = 4096;

// Of listeners: a phone has a handful.

constexpr size_t kMostListeners = 1024;
/** Of those, the ones that only trusted callers get. */
constexpr size_t kListenersKeptForTrusted = 256;
/** Of a uid that is not trusted, however many processes it has. A process needs one. */
constexpr size_t kMostListenersOfCaller = 16;

// Of queries of those who are not trusted: what they ask for stays the same as long as the phone runs.

constexpr size_t kMostQueriesAMinute = 60;
/** Uids that may ask in a minute: far more than a phone has apps that run at a time. */
constexpr size_t kMostAskingUids = 1024;

// Of the dump.

/** What a pipe takes at once. */
constexpr size_t kMostDumpBytes = size_t{64} * 1024;
/**
 * For all of a dump: a reader takes 64 kB in milliseconds even on a loaded phone, and the thread is
 * wanted for events.
 */
constexpr std::chrono::seconds kDumpPatience{2};
/**
 * Dumps under way at a time: enough for a report of a bug and a few people, and far from the binder
 * pool's sixteen threads.
 */
constexpr size_t kMostDumps = 4;
/** Of those, the ones for readers of one uid, so that none keeps out all others. */
constexpr size_t kMostDumpsOfUid = 2;

// Of what is remembered about who was refused.

/** Callers that are counted each for itself; an app has one uid, or a few. */
constexpr size_t kMostRefusedUids = 64;

}  // namespace KVT
