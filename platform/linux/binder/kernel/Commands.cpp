// SPDX-License-Identifier: Apache-2.0
// What the driver says beside calls: references to local objects, deaths, the thread pool.
#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <log/log.h>

#include <utility>

namespace android {
namespace {

RefBase::weakref_type* WeakRefs(binder_uintptr_t address) {
    return reinterpret_cast<RefBase::weakref_type*>(address);
}

BBinder* Local(binder_uintptr_t address) {
    return reinterpret_cast<BBinder*>(address);
}

BpBinder* Proxy(binder_uintptr_t address) {
    return reinterpret_cast<BpBinder*>(address);
}

}  // namespace

/** @return OK, TIMED_OUT when the thread is not needed any more, or the trouble with the command */
status_t IPCThreadState::executeCommand(uint32_t command) {
    switch (command) {
        case BR_OK:
        case BR_NOOP:
            return OK;
        case BR_TRANSACTION_COMPLETE:
            takeRefusalsCompletion();
            return OK;
        case BR_ERROR: {
            int32_t error = OK;
            return !read(&error) ? NOT_ENOUGH_DATA : error < 0 ? error : UNKNOWN_ERROR;
        }
        case BR_TRANSACTION:
        case BR_TRANSACTION_SEC_CTX:
            return serveTransaction(command);
        case BR_REPLY:
            return takeReply(nullptr);
        case BR_INCREFS:
        case BR_ACQUIRE:
        case BR_RELEASE:
        case BR_DECREFS:
            return executeReferenceCommand(command);
        case BR_ATTEMPT_ACQUIRE: {
            binder_pri_ptr_cookie object;
            if (!read(&object)) {
                return NOT_ENOUGH_DATA;
            }
            const bool acquired = object.ptr != 0 && WeakRefs(object.ptr)->attemptIncStrong(this);
            queue(BC_ACQUIRE_RESULT, int32_t{acquired});
            return OK;
        }
        case BR_DEAD_BINDER:
        case BR_CLEAR_DEATH_NOTIFICATION_DONE:
            return executeDeathCommand(command);
        case BR_SPAWN_LOOPER:
            mProcess->spawnPooledThread(false);
            return OK;
        case BR_FINISHED:
            return TIMED_OUT;
        default:
            return skipUnknownCommand(command);
    }
}

/** A command's number holds the length of what follows, so a newer driver's can be passed over. */
status_t IPCThreadState::skipUnknownCommand(uint32_t command) {
    ALOGW("unknown command %#x from the driver", command);
    std::array<uint8_t, kInputSize> argument;
    const size_t size = _IOC_SIZE(command);
    if (_IOC_TYPE(command) != 'r' || size > argument.size()) {
        mInPos = mInSize;
        return UNKNOWN_ERROR;
    }
    return readBytes(argument.data(), size) ? OK : NOT_ENOUGH_DATA;
}

status_t IPCThreadState::executeReferenceCommand(uint32_t command) {
    binder_ptr_cookie object;
    if (!read(&object)) {
        return NOT_ENOUGH_DATA;
    }
    // The context manager's object has no address, and the process holds it anyway.
    const bool exists = object.ptr != 0 && object.cookie != 0;
    switch (command) {
        case BR_INCREFS:
            if (exists) {
                WeakRefs(object.ptr)->incWeak(mProcess);
            }
            queue(BC_INCREFS_DONE, object);
            break;
        case BR_ACQUIRE:
            if (exists) {
                Local(object.cookie)->incStrong(mProcess);
            }
            queue(BC_ACQUIRE_DONE, object);
            break;
        case BR_RELEASE:
            if (exists) {
                mPendingStrongDerefs.push_back(Local(object.cookie));
            }
            break;
        default:
            if (exists) {
                mPendingWeakDerefs.push_back(WeakRefs(object.ptr));
            }
    }
    return OK;
}

status_t IPCThreadState::executeDeathCommand(uint32_t command) {
    binder_uintptr_t cookie = 0;
    if (!read(&cookie)) {
        return NOT_ENOUGH_DATA;
    }
    if (command == BR_DEAD_BINDER) {
        Proxy(cookie)->sendObituary();
        queue(BC_DEAD_BINDER_DONE, cookie);
    } else {
        Proxy(cookie)->getWeakRefs()->decWeak(Proxy(cookie));
    }
    return OK;
}

void IPCThreadState::processPendingDerefs() {
    if (hasInput()) {
        return;
    }
    // A destructor may call out, and so bring in more of these: start afresh after each.
    while (!mPendingWeakDerefs.empty() || !mPendingStrongDerefs.empty()) {
        while (!mPendingWeakDerefs.empty()) {
            RefBase::weakref_type* refs = mPendingWeakDerefs.front();
            mPendingWeakDerefs.erase(mPendingWeakDerefs.begin());
            refs->decWeak(mProcess);
        }
        if (!mPendingStrongDerefs.empty()) {
            BBinder* object = mPendingStrongDerefs.front();
            mPendingStrongDerefs.erase(mPendingStrongDerefs.begin());
            object->decStrong(mProcess);
        }
    }
}

void IPCThreadState::processPostWriteDerefs() {
    if (!mOut.empty() || (mPostWriteStrong.empty() && mPostWriteWeak.empty())) {
        return;
    }
    // Taken out first: the last reference to a proxy has commands of its own to send.
    auto strong = std::exchange(mPostWriteStrong, {});
    auto weak = std::exchange(mPostWriteWeak, {});
    strong.clear();
    weak.clear();
    if (mPostWriteStrong.empty() && mPostWriteWeak.empty()) {
        mPostWriteStrong.swap(strong);  // for their memory
        mPostWriteWeak.swap(weak);
    }
}

void IPCThreadState::incStrongHandle(int32_t handle, BpBinder* proxy) {
    queue(BC_ACQUIRE, handle);
    mPostWriteStrong.emplace_back(proxy);
}

void IPCThreadState::decStrongHandle(int32_t handle) {
    queue(BC_RELEASE, handle);
    // The remote object may wait for this to go away. The weak reference costs it nothing, and can
    // wait for the next command.
    flushUnlessLooping();
}

void IPCThreadState::incWeakHandle(int32_t handle, BpBinder* proxy) {
    queue(BC_INCREFS, handle);
    mPostWriteWeak.emplace_back(proxy);
}

void IPCThreadState::decWeakHandle(int32_t handle) {
    queue(BC_DECREFS, handle);
}

status_t IPCThreadState::requestDeathNotification(int32_t handle, BpBinder* proxy) {
    // The driver holds the proxy's address until it confirms the end of the notification.
    proxy->getWeakRefs()->incWeak(proxy);
    binder_handle_cookie registration{static_cast<uint32_t>(handle),
                                      reinterpret_cast<binder_uintptr_t>(proxy)};
    queue(BC_REQUEST_DEATH_NOTIFICATION, registration);
    const status_t status = sendCommands(false);
    if (status != OK) {
        proxy->getWeakRefs()->decWeak(proxy);
    }
    return status;
}

void IPCThreadState::clearDeathNotification(int32_t handle, BpBinder* proxy) {
    binder_handle_cookie registration{static_cast<uint32_t>(handle),
                                      reinterpret_cast<binder_uintptr_t>(proxy)};
    queue(BC_CLEAR_DEATH_NOTIFICATION, registration);
    sendCommands(false);
}

}  // namespace android
