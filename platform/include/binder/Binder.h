// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

namespace android {

/** A binder object of this process. */
class BBinder : public IBinder {
  public:
    BBinder();

    const String16& getInterfaceDescriptor() const override;
    bool isBinderAlive() const override;
    status_t pingBinder() override;
    status_t dump(int fd, const Vector<String16>& args) override;

    /**
     * Serves one transaction on the calling thread. A one-way caller gets no reply, as if it were
     * in another process.
     */
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) final;

    /** A local object does not die before its process: always INVALID_OPERATION. */
    status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                         uint32_t flags = 0) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                           uint32_t flags = 0, wp<DeathRecipient>* outRecipient = nullptr) override;

    BBinder* localBinder() override;

  protected:
    ~BBinder() override;

    /** @return UNKNOWN_TRANSACTION for every code but the built-in ones. */
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                uint32_t flags = 0);
};

/** The part of a proxy that holds the binder it stands for. */
class BpRefBase : public virtual RefBase {
  protected:
    explicit BpRefBase(const sp<IBinder>& remote);
    ~BpRefBase() override;

    IBinder* remote() { return mRemote.get(); }
    IBinder* remote() const { return mRemote.get(); }

  private:
    BpRefBase(const BpRefBase&) = delete;
    BpRefBase& operator=(const BpRefBase&) = delete;

    const sp<IBinder> mRemote;
};

}  // namespace android
