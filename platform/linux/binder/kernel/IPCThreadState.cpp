// SPDX-License-Identifier: Apache-2.0
// The thread's own state: its life, who is calling, the loop that serves, and the two streams.
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <log/log.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace android {
namespace {

thread_local IPCThreadState* tState = nullptr;

constexpr size_t kUsualOutputSize = 256;

}  // namespace

IPCThreadState* IPCThreadState::self() {
    if (tState != nullptr) {
        return tState;
    }
    // A key and no thread-local object: it ends after the thread's C++ objects, which may still
    // release proxies, and on the main thread not at all.
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, &IPCThreadState::EndThread);
        return made;
    }();
    tState = new IPCThreadState;
    pthread_setspecific(key, tState);
    return tState;
}

IPCThreadState* IPCThreadState::selfOrNull() {
    return tState;
}

void IPCThreadState::EndThread(void* state) {
    auto* const thread = static_cast<IPCThreadState*>(state);
    thread->mIsLooper = false;
    thread->processPendingDerefs();
    thread->flushCommands();
    thread->flushCommands();  // what the proxies that were held until now had to say
    thread->mProcess->ioctlDriver(BINDER_THREAD_EXIT, nullptr);
    tState = nullptr;
    delete thread;
}

IPCThreadState::IPCThreadState()
    : mProcess(ProcessState::self().get()), mCallingPid(getpid()), mCallingUid(getuid()) {
    mOut.reserve(kUsualOutputSize);
}

IPCThreadState::~IPCThreadState() = default;

void IPCThreadState::joinThreadPool(bool isMain) {
    serveCalls(isMain);
    leaveThreadPool();
}

/** @return TIMED_OUT when the driver has no more need of the thread, or how the driver failed */
status_t IPCThreadState::serveCalls(bool isMain) {
    queueBytes(isMain ? BC_ENTER_LOOPER : BC_REGISTER_LOOPER, nullptr, 0);
    mIsLooper = true;
    for (;;) {
        processPendingDerefs();
        if (const status_t status = talkWithDriver(); status != OK) {
            return status;
        }
        mProcess->startMissingThreads();
        // Any other status is the trouble of one command, and the next one may be good.
        if (executeNextCommand() == TIMED_OUT && !isMain) {
            return TIMED_OUT;
        }
    }
}

void IPCThreadState::leaveThreadPool() {
    mIsLooper = false;
    queueBytes(BC_EXIT_LOOPER, nullptr, 0);
    flushCommands();
}

void IPCThreadState::stopProcess(bool) {
    flushCommands();
    mProcess->closeDriver();
}

int IPCThreadState::setupPolling() {
    queueBytes(BC_ENTER_LOOPER, nullptr, 0);
    mIsLooper = true;
    flushCommands();
    return mProcess->mDriverFd.load();
}

status_t IPCThreadState::handlePolledCommands() {
    status_t status = OK;
    do {
        status = talkWithDriver();
        if (status == OK) {
            status = executeNextCommand();
        }
    } while (hasInput());
    processPendingDerefs();
    flushCommands();
    return status;
}

status_t IPCThreadState::executeNextCommand() {
    uint32_t command = 0;
    if (!hasInput()) {
        return OK;
    }
    return read(&command) ? executeCommand(command) : NOT_ENOUGH_DATA;
}

void IPCThreadState::queueBytes(uint32_t command, const void* argument, size_t size) {
    const size_t begin = mOut.size();
    mOut.resize(begin + sizeof(command) + size);
    memcpy(&mOut[begin], &command, sizeof(command));
    if (size > 0) {
        memcpy(&mOut[begin + sizeof(command)], argument, size);
    }
}

bool IPCThreadState::readBytes(void* out, size_t size) {
    if (size > mInSize - mInPos) {
        ALOGE("the driver's answer ends in mid-command");
        mInPos = mInSize;
        return false;
    }
    memcpy(out, &mIn[mInPos], size);
    mInPos += size;
    return true;
}

status_t IPCThreadState::exchange(bool receive) {
    binder_write_read exchange{};
    exchange.write_size = mOut.size();
    exchange.write_buffer = reinterpret_cast<uintptr_t>(mOut.data());
    if (receive) {
        exchange.read_size = mIn.size();
        exchange.read_buffer = reinterpret_cast<uintptr_t>(mIn.data());
    }
    int result = 0;
    do {
        // Interrupted, the driver goes on where it was: what it has consumed is in `exchange`.
        result = mProcess->ioctlDriver(BINDER_WRITE_READ, &exchange);
    } while (result == -EINTR);

    const size_t sent = std::min<size_t>(exchange.write_consumed, mOut.size());
    mOut.erase(mOut.begin(), mOut.begin() + static_cast<ptrdiff_t>(sent));
    if (receive) {
        mInPos = 0;
        mInSize = result < 0 ? 0 : std::min<size_t>(exchange.read_consumed, mIn.size());
    }
    return result < 0 ? result : OK;
}

uint32_t IPCThreadState::discardRefusedCommand() {
    uint32_t command = 0;
    memcpy(&command, mOut.data(), std::min(mOut.size(), sizeof(command)));
    const size_t length = std::min(mOut.size(), sizeof(command) + _IOC_SIZE(command));
    mOut.erase(mOut.begin(), mOut.begin() + static_cast<ptrdiff_t>(length));
    return command;
}

status_t IPCThreadState::sendCommands(bool receive) {
    status_t status = OK;
    while (receive || !mOut.empty()) {
        status = exchange(receive);
        if (status == OK || mOut.empty()) {
            break;
        }
        // Refused, and with it what stands behind it. A call must not stay queued: its data goes
        // away when its caller learns of the failure. Buffers and references must.
        const uint32_t refused = discardRefusedCommand();
        if (refused == BC_TRANSACTION || refused == BC_REPLY) {
            break;
        }
    }
    ALOGE_IF(status != OK && status != -EBADF, "the driver fails: %s", strerror(-status));
    return status;
}

status_t IPCThreadState::talkWithDriver() {
    if (hasInput()) {
        return OK;
    }
    // What is held until the driver has counted it in must not be held through a long wait.
    if (!mPostWriteStrong.empty() || !mPostWriteWeak.empty()) {
        const status_t status = sendCommands(false);
        processPostWriteDerefs();
        if (status != OK) {
            return status;
        }
    }
    return sendCommands(true);
}

void IPCThreadState::flushCommands() {
    sendCommands(false);
    processPostWriteDerefs();
}

void IPCThreadState::flushUnlessLooping() {
    // A thread that serves comes back to the driver by itself; another may never do.
    if (!mIsLooper && mServing == 0) {
        flushCommands();
    }
}

}  // namespace android
