// SPDX-License-Identifier: Apache-2.0
// Calls: made, waited for, served.
#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <log/log.h>

#include <utility>

namespace android {
namespace {

// A reply of this size or more is given back to the driver at once, not with the next command:
// all of the process's threads receive into the same mebibyte.
constexpr size_t kLargeReply = size_t{16} * 1024;

// How deep calls may nest on one thread. Two processes that call each other in turn, for ever, use
// up the stack of both, and it takes only one of them to want it.
constexpr int kMaxNestedCalls = 100;

// From kernels newer than this one's headers: a one-way call that a frozen process will get later.
constexpr uint32_t kBrTransactionPendingFrozen = _IO('r', 20);

}  // namespace

status_t IPCThreadState::transact(int32_t handle, uint32_t code, const Parcel& data, Parcel* reply,
                                  uint32_t flags) {
    status_t status =
        queueTransaction(BC_TRANSACTION, flags | TF_ACCEPT_FDS, handle, code, data, nullptr);
    if (status == OK) {
        Parcel discarded;
        const bool oneWay = (flags & TF_ONE_WAY) != 0;
        status = waitForResponse(oneWay ? nullptr : reply != nullptr ? reply : &discarded);
    }
    if (status != OK) {
        mLastError = status;
        if (reply != nullptr) {
            reply->setError(status);
        }
    }
    if (!mIsLooper && mServing == 0) {
        processPendingDerefs();
    }
    // A one-way call does not wait for more, and until the driver knows that the objects in it are
    // acquired, it tells nobody of their release.
    flushUnlessLooping();
    return status;
}

status_t IPCThreadState::clearLastError() {
    return std::exchange(mLastError, OK);
}

status_t IPCThreadState::queueTransaction(uint32_t command, uint32_t flags, int32_t handle,
                                          uint32_t code, const Parcel& data,
                                          const status_t* statusRoom) {
    binder_transaction_data transaction{};
    transaction.target.handle = static_cast<uint32_t>(handle);
    transaction.code = code;
    transaction.flags = flags;
    if (data.errorCheck() == OK) {
        transaction.data_size = data.dataSize();
        transaction.data.ptr.buffer = reinterpret_cast<uintptr_t>(data.data());
        transaction.offsets_size = data.objectsCount() * sizeof(binder_size_t);
        transaction.data.ptr.offsets = reinterpret_cast<uintptr_t>(data.ipcObjects());
    } else if (statusRoom != nullptr) {
        transaction.flags |= TF_STATUS_CODE;
        transaction.data_size = sizeof(*statusRoom);
        transaction.data.ptr.buffer = reinterpret_cast<uintptr_t>(statusRoom);
    } else {
        return data.errorCheck();
    }
    queue(command, transaction);
    return OK;
}

/** Without a `reply` it is enough that the driver has taken the call or the reply. */
status_t IPCThreadState::waitForResponse(Parcel* reply) {
    for (;;) {
        if (const status_t status = talkWithDriver(); status != OK) {
            return status;
        }
        if (!hasInput()) {
            continue;
        }
        uint32_t command = 0;
        if (!read(&command)) {
            return NOT_ENOUGH_DATA;
        }
        switch (command) {
            case BR_TRANSACTION_COMPLETE:
                if (!takeRefusalsCompletion() && reply == nullptr) {
                    return OK;
                }
                break;
            case BR_ONEWAY_SPAM_SUSPECT:
            case kBrTransactionPendingFrozen:
                if (reply == nullptr) {
                    return OK;
                }
                break;
            case BR_DEAD_REPLY:
                return DEAD_OBJECT;
            case BR_FAILED_REPLY:
            case BR_FROZEN_REPLY:
                return FAILED_TRANSACTION;
            case BR_REPLY: {
                const status_t status = takeReply(reply);
                if (reply != nullptr || status != OK) {
                    return status;
                }
                break;
            }
            default:
                if (const status_t status = executeCommand(command); status != OK) {
                    return status;
                }
        }
    }
}

/** A reply that nobody waits for is only given back. */
status_t IPCThreadState::takeReply(Parcel* reply) {
    binder_transaction_data transaction;
    if (!read(&transaction)) {
        return NOT_ENOUGH_DATA;
    }
    Parcel stray;
    if (reply == nullptr) {
        receive(transaction, &stray);
        return OK;
    }
    if (!receive(transaction, reply)) {
        return FAILED_TRANSACTION;
    }
    if ((transaction.flags & TF_STATUS_CODE) == 0) {
        return OK;
    }
    const status_t status = reply->readInt32();
    reply->freeData();
    return status;
}

status_t IPCThreadState::serveTransaction(uint32_t command) {
    binder_transaction_data_secctx transaction{};
    const bool complete =
        command == BR_TRANSACTION ? read(&transaction.transaction_data) : read(&transaction);
    if (!complete) {
        return NOT_ENOUGH_DATA;
    }
    if (mServing >= kMaxNestedCalls) {
        refuse(transaction.transaction_data);
        return OK;
    }
    const pid_t callingPid = mCallingPid;
    const uid_t callingUid = mCallingUid;
    mCallingPid = transaction.transaction_data.sender_pid;
    mCallingUid = transaction.transaction_data.sender_euid;
    ++mServing;
    serve(transaction.transaction_data);
    --mServing;
    mCallingPid = callingPid;
    mCallingUid = callingUid;
    return OK;
}

void IPCThreadState::serve(const binder_transaction_data& transaction) {
    Parcel data;
    Parcel reply;
    status_t status = FAILED_TRANSACTION;
    if (receive(transaction, &data)) {
        if (transaction.target.ptr == 0) {
            const sp<BBinder>& manager = mProcess->mContextObject;
            status = manager == nullptr
                         ? UNKNOWN_TRANSACTION
                         : manager->transact(transaction.code, data, &reply, transaction.flags);
        } else if (auto* refs = reinterpret_cast<RefBase::weakref_type*>(transaction.target.ptr);
                   refs->attemptIncStrong(this)) {
            // The driver may hold the object weakly only; from here on it lives.
            auto* object = reinterpret_cast<BBinder*>(transaction.cookie);
            status = object->transact(transaction.code, data, &reply, transaction.flags);
            object->decStrong(this);
        } else {
            status = UNKNOWN_TRANSACTION;
        }
    }
    // Given back before the reply: a caller that sends large requests one after the other would
    // otherwise find the previous one still in the way.
    data.freeData();
    if ((transaction.flags & TF_ONE_WAY) == 0) {
        if (status != OK) {
            reply.setError(status);
        }
        sendReply(reply);
    }
}

void IPCThreadState::sendReply(const Parcel& reply) {
    const status_t error = reply.errorCheck();
    queueTransaction(BC_REPLY, 0, -1, 0, reply, &error);
    const status_t status = waitForResponse(nullptr);
    ALOGW_IF(status != OK, "a reply can not be sent: status %d", status);
}

/** Answers without serving, and without waiting, which could bring yet another call. */
void IPCThreadState::refuse(const binder_transaction_data& transaction) {
    static const status_t kRefused = FAILED_TRANSACTION;
    ALOGW("calls from process %d nest too deep", transaction.sender_pid);
    Parcel data;
    receive(transaction, &data);
    data.freeData();
    if ((transaction.flags & TF_ONE_WAY) == 0) {
        data.setError(kRefused);
        queueTransaction(BC_REPLY, 0, -1, 0, data, &kRefused);
    }
    const bool isSent = sendCommands(false) == OK;
    if (isSent && (transaction.flags & TF_ONE_WAY) == 0) {
        ++mRefusalsUnderWay;
    }
}

/** @return whether the driver's word that it has taken something is about a refusal */
bool IPCThreadState::takeRefusalsCompletion() {
    if (mRefusalsUnderWay == 0) {
        return false;
    }
    --mRefusalsUnderWay;
    return true;
}

/** @return false when the driver's numbers do not add up; what can be given back, is */
bool IPCThreadState::receive(const binder_transaction_data& transaction, Parcel* parcel) {
    const binder_uintptr_t buffer = transaction.data.ptr.buffer;
    const binder_uintptr_t offsets = transaction.data.ptr.offsets;
    const size_t count = transaction.offsets_size / sizeof(binder_size_t);
    if (!mProcess->isReceived(buffer, transaction.data_size) ||
        (count > 0 && (!mProcess->isReceived(offsets, transaction.offsets_size) ||
                       offsets % alignof(binder_size_t) != 0))) {
        ALOGE("received data that is not in the receive buffers");
        FreeBuffer(nullptr, reinterpret_cast<const uint8_t*>(buffer), 0, nullptr, 0, this);
        return false;
    }
    parcel->ipcSetDataReference(reinterpret_cast<const uint8_t*>(buffer), transaction.data_size,
                                reinterpret_cast<const binder_size_t*>(offsets), count, &FreeBuffer,
                                this);
    return true;
}

void IPCThreadState::FreeBuffer(Parcel* parcel, const uint8_t* data, size_t dataSize,
                                const binder_size_t*, size_t objectsCount, void*) {
    if (parcel != nullptr) {
        parcel->closeFileDescriptors();
    }
    IPCThreadState* const thread = self();
    thread->queue(BC_FREE_BUFFER, reinterpret_cast<binder_uintptr_t>(data));
    // Objects in a buffer stay referred to as long as it does.
    if (objectsCount > 0 || dataSize >= kLargeReply) {
        thread->flushUnlessLooping();
    }
}

}  // namespace android
