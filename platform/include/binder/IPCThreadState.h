// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace android {

/**
 * One thread's conversation with the binder driver: the commands that wait to be sent, the answers
 * that wait to be executed, and who is calling.
 *
 * Every thread that uses binder has its own, made on first use and ended with the thread. What
 * comes from the driver is executed whichever call the thread happens to be waiting in, so a thread
 * that waits for a reply serves the calls that its own call causes.
 */
class IPCThreadState {
  public:
    static IPCThreadState* self();
    /** @return null when the thread has not used binder yet */
    static IPCThreadState* selfOrNull();

    /** While a call is served its caller's, otherwise the own ones. */
    pid_t getCallingPid() const { return mCallingPid; }
    uid_t getCallingUid() const { return mCallingUid; }
    /** Goes on as the process itself. @return what restoreCallingIdentity takes back */
    int64_t clearCallingIdentity();
    void restoreCallingIdentity(int64_t token);

    /**
     * Whether objects that this process gives away from now on are served at nice 0 at least, and
     * not at the priority of whoever calls, however low that is. Any thread.
     */
    static void disableBackgroundScheduling(bool disable);
    bool backgroundSchedulingDisabled();

    /** Serves calls until stopProcess(), or until the driver has no more need of the thread. */
    void joinThreadPool(bool isMain = true);
    /**
     * Takes the process off the driver: every thread of the pool ends, every call fails. For others
     * its objects die with the process.
     */
    void stopProcess(bool immediate = true);

    /** For one thread without a pool: the descriptor to poll, negative when there is no driver. */
    int setupPolling();
    /** Serves what has come; to be called when the descriptor is readable. */
    status_t handlePolledCommands();

    /** Sends what waits to be sent without waiting for anything. */
    void flushCommands();

    /** Status of the last call of this thread that failed, OK when none did. @post it is OK */
    status_t clearLastError();

    status_t transact(int32_t handle, uint32_t code, const Parcel& data, Parcel* reply,
                      uint32_t flags);

    void incStrongHandle(int32_t handle, BpBinder* proxy);
    void decStrongHandle(int32_t handle);
    void incWeakHandle(int32_t handle, BpBinder* proxy);
    void decWeakHandle(int32_t handle);
    /** Sent at once, so that requests and withdrawals of all threads keep their order. */
    status_t requestDeathNotification(int32_t handle, BpBinder* proxy);
    void clearDeathNotification(int32_t handle, BpBinder* proxy);

  private:
    friend class ProcessState;

    IPCThreadState();
    ~IPCThreadState();
    IPCThreadState(const IPCThreadState&) = delete;
    IPCThreadState& operator=(const IPCThreadState&) = delete;

    static void EndThread(void* state);

    // The streams.
    void queueBytes(uint32_t command, const void* argument, size_t size);
    template <typename T>
    void queue(uint32_t command, const T& argument) {
        queueBytes(command, &argument, sizeof(argument));
    }
    bool readBytes(void* out, size_t size);
    template <typename T>
    bool read(T* out) {
        return readBytes(out, sizeof(*out));
    }
    bool hasInput() const { return mInPos < mInSize; }
    /** Makes sure that there is input, sending what waits on the way; blocks. */
    status_t talkWithDriver();
    status_t sendCommands(bool receive);
    status_t exchange(bool receive);
    uint32_t discardRefusedCommand();
    void flushUnlessLooping();

    // Calls.
    status_t queueTransaction(uint32_t command, uint32_t flags, int32_t handle, uint32_t code,
                              const Parcel& data, const status_t* statusRoom);
    status_t waitForResponse(Parcel* reply);
    status_t takeReply(Parcel* reply);
    status_t serveTransaction(uint32_t command);
    void serve(const binder_transaction_data& transaction);
    void sendReply(const Parcel& reply);
    void refuse(const binder_transaction_data& transaction);
    bool takeRefusalsCompletion();
    bool receive(const binder_transaction_data& transaction, Parcel* parcel);
    static void FreeBuffer(Parcel* parcel, const uint8_t* data, size_t dataSize,
                           const binder_size_t* objects, size_t objectsCount, void* cookie);

    status_t serveCalls(bool isMain);
    void leaveThreadPool();

    // Everything else that the driver says.
    status_t executeNextCommand();
    status_t executeCommand(uint32_t command);
    status_t executeReferenceCommand(uint32_t command);
    status_t executeDeathCommand(uint32_t command);
    status_t skipUnknownCommand(uint32_t command);
    void processPendingDerefs();
    void processPostWriteDerefs();

    // An answer is a few commands of a hundred bytes at most; what does not fit comes next time.
    static constexpr size_t kInputSize = 256;

    ProcessState* const mProcess;
    std::vector<uint8_t> mOut;
    std::array<uint8_t, kInputSize> mIn;
    size_t mInPos = 0;
    size_t mInSize = 0;

    // Local objects that the driver has let go; dropped only once the input is executed, because a
    // command further on may still use them.
    std::vector<BBinder*> mPendingStrongDerefs;
    std::vector<RefBase::weakref_type*> mPendingWeakDerefs;
    // Proxies that must outlive the sending of the command that counts them in: another thread's
    // "release" must not overtake this thread's "acquire".
    std::vector<sp<BpBinder>> mPostWriteStrong;
    std::vector<wp<BpBinder>> mPostWriteWeak;

    pid_t mCallingPid;
    uid_t mCallingUid;
    status_t mLastError = OK;
    int mServing = 0;
    // Refusals are not waited for: whose turn it is to read that one was taken, must not take that
    // for word of a call of its own.
    int mRefusalsUnderWay = 0;
    bool mIsLooper = false;
};

}  // namespace android
