// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "sync/Mutex.h"

namespace android {

/**
 * A binder object of another process, known to the driver by a number of this process, its handle.
 * The process has one of these per handle (ProcessState::getStrongProxyForHandle), so that identity
 * of objects is identity of pointers. Thread-safe.
 */
class BpBinder : public IBinder {
  public:
    /** For ProcessState only; anyone else asks it for the handle's one proxy. */
    explicit BpBinder(int32_t handle);

    int32_t handle() const { return mHandle; }

    /** Asked of the remote object once; empty as long as it does not answer. */
    const String16& getInterfaceDescriptor() const override;
    /** Whether nothing is known of the object's death yet. */
    bool isBinderAlive() const override;
    status_t pingBinder() override;
    status_t dump(int fd, const Vector<String16>& args) override;
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply,
                      uint32_t flags = 0) override;

    /**
     * Registers a recipient, which is held weakly: who wants to be told keeps it alive. The proxy
     * need not be kept: a registration holds it, and the driver's weak reference to the object,
     * until it is ended or the object's process dies. Who wants to hear no more ends it. Death is
     * told on a thread of the pool; with no strong reference to the proxy left, the recipient can
     * not promote the one it is given.
     *
     * @return DEAD_OBJECT when the death has been told already, or the driver's error
     */
    status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                         uint32_t flags = 0) override;
    /**
     * Ends the oldest registration of the recipient, or of the cookie when the recipient is null.
     *
     * @return NAME_NOT_FOUND when there is none, DEAD_OBJECT when the death has been told already
     */
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                           uint32_t flags = 0, wp<DeathRecipient>* outRecipient = nullptr) override;

    BpBinder* remoteBinder() override;

    /** For IPCThreadState: the driver says that the object's process is gone. */
    void sendObituary();

  protected:
    ~BpBinder() override;
    void onFirstRef() override;
    void onLastStrongRef(const void* id) override;
    bool onIncStrongAttempted(uint32_t flags, const void* id) override;

  private:
    struct Obituary {
        wp<DeathRecipient> recipient;
        void* cookie;
        uint32_t flags;
    };

    const int32_t mHandle;
    std::atomic<bool> mAlive{true};
    mutable KVT::Mutex mMutex;
    std::vector<Obituary> mObituaries GUARDED_BY(mMutex);
    bool mDeathTold GUARDED_BY(mMutex) = false;
    mutable bool mDescriptorKnown GUARDED_BY(mMutex) = false;
    mutable String16 mDescriptor;  // written once, before mDescriptorKnown
};

}  // namespace android
