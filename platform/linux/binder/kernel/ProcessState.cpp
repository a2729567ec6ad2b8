// SPDX-License-Identifier: Apache-2.0
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <linux/android/binder.h>
#include <log/log.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

#include "linux/binder/kernel/Driver.h"

namespace android {
namespace {

constexpr const char* kDefaultDevice = "/dev/binder";
constexpr const char* kDeviceVariable = "KVT_BINDER_DEVICE";

// 1 MiB less a guard page on either side, as the phone's processes have.
size_t ReceiveBufferSize() {
    return (size_t{1} << 20) - 2 * static_cast<size_t>(sysconf(_SC_PAGE_SIZE));
}

constexpr uint32_t kDefaultMaxThreads = 15;

String8 Device() {
    const char* device = getenv(kDeviceVariable);
    return String8(device != nullptr && *device != '\0' ? device : kDefaultDevice);
}

void LogUnusable(const char* device, const char* reason) {
    ALOGE(
        "no binder: %s: %s. Load the kernel's module (modprobe binder_linux devices=binder), or "
        "run the program through scripts/vm",
        device, reason);
}

}  // namespace

sp<ProcessState> ProcessState::self() {
    // Kept for ever: threads of the pool may outlive main().
    static ProcessState* const state = [] {
        auto* made = new ProcessState;
        made->incStrong(made);
        return made;
    }();
    return state;
}

ProcessState::ProcessState() : mDriverName(Device()) {
    openDriver();
}

ProcessState::~ProcessState() = default;

void ProcessState::openDriver() {
    const char* const device = mDriverName.string();
    const int fd = driver::Open(device);
    if (fd < 0) {
        LogUnusable(device, strerror(-fd));
        return;
    }
    binder_version version{};
    const int result = driver::Ioctl(fd, BINDER_VERSION, &version);
    if (result < 0 || version.protocol_version != BINDER_CURRENT_PROTOCOL_VERSION) {
        LogUnusable(device, result < 0 ? "this is no binder device" : "wrong protocol version");
        driver::Close(fd);
        return;
    }
    void* received = driver::Map(fd, ReceiveBufferSize());
    if (received == nullptr) {
        LogUnusable(device, "it refuses the receive buffers");
        driver::Close(fd);
        return;
    }
    uint32_t maxThreads = kDefaultMaxThreads;
    if (const int refused = driver::Ioctl(fd, BINDER_SET_MAX_THREADS, &maxThreads); refused < 0) {
        LogUnusable(device, strerror(-refused));
        driver::Unmap(received, ReceiveBufferSize());
        driver::Close(fd);
        return;
    }
    mReceived = static_cast<const uint8_t*>(received);
    mDriverFd = fd;
}

void ProcessState::closeDriver() {
    // The mapping stays: calls that are being served still read from it.
    const int fd = mDriverFd.exchange(-1);
    if (fd >= 0) {
        driver::Close(fd);
    }
}

int ProcessState::ioctlDriver(unsigned long request, void* argument) {
    const int fd = mDriverFd.load();
    return fd < 0 ? -EBADF : driver::Ioctl(fd, request, argument);
}

bool ProcessState::isReceived(uint64_t address, uint64_t size) const {
    const auto begin = reinterpret_cast<uintptr_t>(mReceived);
    const size_t length = ReceiveBufferSize();
    return address >= begin && address - begin <= length && size <= length - (address - begin);
}

sp<IBinder> ProcessState::getContextObject(const sp<IBinder>&) {
    // Asked before the proxy is made: a reference to nobody would be refused by the driver.
    Parcel data;
    Parcel reply;
    const status_t status =
        IPCThreadState::self()->transact(0, IBinder::PING_TRANSACTION, data, &reply, 0);
    return status == OK ? getStrongProxyForHandle(0) : nullptr;
}

sp<IBinder> ProcessState::getStrongProxyForHandle(int32_t handle) {
    sp<IBinder> proxy;
    KVT::MutexLock lock(mMutex);
    BpBinder*& known = mProxies[handle];
    // A proxy that nobody refers to any more is on its way to expungeHandle, which waits for the
    // lock: its memory is still good, but it is past saving.
    if (known != nullptr && known->getWeakRefs()->attemptIncWeak(this)) {
        proxy.force_set(known);
        known->getWeakRefs()->decWeak(this);
    } else {
        known = new BpBinder(handle);
        proxy = known;
    }
    return proxy;
}

void ProcessState::expungeHandle(int32_t handle, const BpBinder* proxy) {
    KVT::MutexLock lock(mMutex);
    const auto found = mProxies.find(handle);
    if (found != mProxies.end() && found->second == proxy) {
        mProxies.erase(found);
    }
}

status_t ProcessState::becomeContextManager(const sp<BBinder>& object) {
    int32_t unused = 0;
    const int result = ioctlDriver(BINDER_SET_CONTEXT_MGR, &unused);
    if (result < 0) {
        return result;
    }
    mContextObject = object;
    return OK;
}

status_t ProcessState::setThreadPoolMaxThreadCount(size_t maxThreads) {
    auto count = static_cast<uint32_t>(maxThreads);
    const int result = ioctlDriver(BINDER_SET_MAX_THREADS, &count);
    return result < 0 ? result : OK;
}

void ProcessState::startThreadPool() {
    if (mPoolStarted.exchange(true)) {
        startMissingThreads();
    } else {
        spawnPooledThread(true);
    }
}

void ProcessState::spawnPooledThread(bool isMain) {
    if (!mPoolStarted) {
        return;
    }
    startMissingThreads();
    if (const int error = startThread(isMain); error != 0) {
        ALOGW("no thread for the pool for now: %s", strerror(error));
        ++mMissingThreads[isMain];  // the driver asks only once
    }
}

void ProcessState::startMissingThreads() {
    for (const bool isMain : {true, false}) {
        std::atomic<int>& missing = mMissingThreads[isMain];
        for (int count = missing.load(std::memory_order_relaxed); count > 0;) {
            if (!missing.compare_exchange_weak(count, count - 1)) {
                continue;
            }
            if (startThread(isMain) != 0) {
                ++missing;
                return;
            }
            count = missing.load();
        }
    }
}

int ProcessState::startThread(bool isMain) {
    const auto body = [this, isMain] {
        IPCThreadState* const thread = IPCThreadState::self();
        const status_t end = thread->serveCalls(isMain);
        // Neither sent away nor without a driver: it is missed. The driver counts it for ever as one
        // of those that it asked for, so its successor is one that it did not.
        if (end != TIMED_OUT && end != -EBADF && end != -ECONNREFUSED) {
            ++mMissingThreads[true];
        }
        thread->leaveThreadPool();
    };
    char name[16];  // the kernel's limit
    snprintf(name, sizeof(name), "binder:%d", ++mPoolThreads);
    try {
        std::thread thread(body);
        pthread_setname_np(thread.native_handle(), name);
        thread.detach();
        return 0;
    } catch (const std::system_error& error) {
        return error.code().value();
    }
}

}  // namespace android
