// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IInterface.h>
#include <binder/Parcel.h>

#include <cstdint>

namespace KVT {

/**
 * Carries the frame rate of the game in front from the service to a registered process: nothing in
 * a game's first 121 s, then the highest rate so far, then every change.
 */
class IKVTListener : public android::IInterface {
  public:
    DECLARE_META_INTERFACE(KVTListener)

    enum : uint32_t {
        /** Codes 1 and 2 check the caller's token and do nothing. */
        RESERVED_1 = android::IBinder::FIRST_CALL_TRANSACTION,
        RESERVED_2,
        NOTIFY_GAME_FPS_TO_APS,
    };

    /** @param fps detected frame rate of the foreground game, at least 60 */
    virtual void NotifyGameFpsToAps(int32_t fps) = 0;
};

/** Receives reports, on any binder thread. */
class BnKVTListener : public android::BnInterface<IKVTListener> {
  public:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags = 0) override;
};

/** Sends reports one-way: a slow or dead listener does not hold the sender up. */
class BpKVTListener : public android::BpInterface<IKVTListener> {
  public:
    explicit BpKVTListener(const android::sp<android::IBinder>& remote)
        : android::BpInterface<IKVTListener>(remote) {}

    void NotifyGameFpsToAps(int32_t fps) override;
};

}  // namespace KVT
