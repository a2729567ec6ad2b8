// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IInterface.h>
#include <binder/Parcel.h>

#include <atomic>
#include <cstdint>

namespace KVT {

/**
 * What the resource-awareness game SDK calls back. The interface has no operation of its own: the
 * one call there is ends in the stub, which hands the report to whoever asked for it.
 */
class IKoraCallback : public android::IInterface {
  public:
    DECLARE_META_INTERFACE(KoraCallback)

    enum : uint32_t { GAME_INFO = android::IBinder::FIRST_CALL_TRANSACTION };
};

class BnKoraCallback : public android::BnInterface<IKoraCallback> {
  public:
    using Receiver = void (*)(const android::String8& report);

    /** Who gets the reports, JSON texts, from now on. Any thread. */
    static void SetReceiver(Receiver receiver) { sReceiver = receiver; }

    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags = 0) override;

  private:
    static std::atomic<Receiver> sReceiver;
};

class BpKoraCallback : public android::BpInterface<IKoraCallback> {
  public:
    explicit BpKoraCallback(const android::sp<android::IBinder>& remote)
        : android::BpInterface<IKoraCallback>(remote) {}
};

/** The callback object that is registered; it lives through the SDK's reference alone. */
class IKoraCallbackImp : public BnKoraCallback {
  public:
    ~IKoraCallbackImp() override = default;
};

}  // namespace KVT
