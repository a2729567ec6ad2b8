// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <utils/String8.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "sync/Mutex.h"

namespace android {

/**
 * The process's side of the binder driver: the open device with its receive buffers, the proxies by
 * handle, and the thread pool.
 *
 * There is one, made on first use and never destroyed. When the device can not be used, one line in
 * the log says why and how to get one, and every call fails with -EBADF from then on. The device is
 * /dev/binder unless the environment variable KVT_BINDER_DEVICE names another.
 *
 * A process that was forked from one that has used it must not use it.
 */
class ProcessState : public virtual RefBase {
  public:
    static sp<ProcessState> self();

    /** @return the context manager's proxy, or null while there is no context manager */
    sp<IBinder> getContextObject(const sp<IBinder>& caller);
    /** @return the one proxy of the handle; it need not lead anywhere */
    sp<IBinder> getStrongProxyForHandle(int32_t handle);

    /** Makes `object` the service manager of the device. Before the process serves any call. */
    status_t becomeContextManager(const sp<BBinder>& object);

    /** Starts the first thread that serves calls; the driver asks for more when it needs them. */
    void startThreadPool();
    /** How many threads the driver may ask for, beside those that joined by themselves (15). */
    status_t setThreadPoolMaxThreadCount(size_t maxThreads);
    /**
     * Starts a thread of the pool, once startThreadPool() was called. One that can not be started
     * now, or that the driver fails later, is started again when a thread of the pool gets its next
     * command, or by the next call of this or of startThreadPool().
     */
    void spawnPooledThread(bool isMain);

    /** Whether the device is open and speaks this protocol. */
    bool hasDriver() const { return mDriverFd.load() >= 0; }
    /** The path of the device. */
    String8 getDriverName() { return mDriverName; }

  protected:
    ProcessState();
    ~ProcessState() override;

  private:
    friend class BpBinder;
    friend class IPCThreadState;

    void openDriver();
    /** Wakes every thread out of the driver, for good. */
    void closeDriver();
    /** @return 0 or more, or a negative errno */
    int ioctlDriver(unsigned long request, void* argument);
    bool isReceived(uint64_t address, uint64_t size) const;
    void expungeHandle(int32_t handle, const BpBinder* proxy);
    /** @return 0, or the errno */
    int startThread(bool isMain);
    void startMissingThreads();

    const String8 mDriverName;
    std::atomic<int> mDriverFd{-1};
    const uint8_t* mReceived = nullptr;
    sp<BBinder> mContextObject;
    std::atomic<bool> mPoolStarted{false};
    std::atomic<int> mPoolThreads{0};
    std::atomic<int> mMissingThreads[2]{};  // [1]: main ones

    KVT::Mutex mMutex;
    // Proxies take themselves out when they are destroyed.
    std::unordered_map<int32_t, BpBinder*> mProxies GUARDED_BY(mMutex);
};

}  // namespace android
