// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <linux/android/binder.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sync/Condition.h"
#include "sync/Mutex.h"

namespace KVT::test {

/** A row of the driver's commands, built piece by piece. */
class Answer {
  public:
    Answer& add(uint32_t command) { return bytes(&command, sizeof(command)); }
    template <typename T>
    Answer& add(uint32_t command, const T& argument) {
        return add(command).bytes(&argument, sizeof(argument));
    }
    Answer& bytes(const void* data, size_t size) {
        const auto* from = static_cast<const uint8_t*>(data);
        mBytes.insert(mBytes.end(), from, from + size);
        return *this;
    }
    const std::vector<uint8_t>& get() const { return mBytes; }

  private:
    std::vector<uint8_t> mBytes;
};

/**
 * The binder driver as one process sees it, with everybody else played by the test: it hands out
 * what the test has prepared, and keeps the books of what the process owes it: receive buffers,
 * references, death notices. Linked in place of the kernel's. Thread-safe.
 */
class FakeDriver {
  public:
    static FakeDriver& Get();

    struct Command {
        uint32_t code;
        std::vector<uint8_t> argument;

        template <typename T>
        T as() const {
            T value{};
            memcpy(&value, argument.data(), std::min(sizeof(value), argument.size()));
            return value;
        }
    };

    // Preparation.

    int openResult = 3;
    int versionResult = 0;
    int32_t version = BINDER_CURRENT_PROTOCOL_VERSION;
    bool mapFails = false;
    int maxThreadsResult = 0;
    int contextResult = 0;

    /** What a later read returns, in order; what a read has no room for is left for the next. */
    void answer(const Answer& answer);
    /** A later exchange fails, having taken so many of the bytes written to it. */
    void fail(int error, size_t taken = SIZE_MAX);
    /** Asked for an answer when none is prepared; nothing ends the conversation. */
    std::function<std::optional<Answer>()> onRead;
    /** Told of each call and reply while its data is there; what it returns is answered next. */
    std::function<Answer(const Command&)> onCall;
    /** Told of each other command once it is in the books. */
    std::function<void(const Command&)> onCommand;

    /** Puts bytes, and where objects stand among them, into a receive buffer. */
    binder_transaction_data receive(const void* data, size_t size,
                                    const std::vector<binder_size_t>& offsets = {});
    binder_transaction_data receiveWords(const std::vector<int32_t>& words, uint32_t flags = 0);
    /** Makes what has been received a call of a local object. */
    static binder_transaction_data CallOf(android::BBinder* target, uint32_t code,
                                          binder_transaction_data received);

    // What has become of it.

    std::vector<Command> commands();
    int count(uint32_t code);
    /** Waits until the process has sent so many of such commands. */
    void await(uint32_t code, int times = 1);
    size_t buffersOut();
    /** Buffers given back that were not out, references released that were not held. */
    int faults();
    /** Strong and weak references to remote objects. */
    int references();
    /** How often the process has confirmed a strong reference to the local object at `cookie`. */
    int confirmed(uint64_t cookie);
    /** The same for weak references, by the address of its counts. */
    int confirmedWeak(uint64_t counts);
    /** The proxies that wait for news of a death: still, or no more but not yet told so. */
    std::vector<binder_uintptr_t> deathRequests(bool withdrawn);
    /** The driver's "done" to the withdrawal of this one is on its way. */
    void forgetDeathRequest(binder_uintptr_t cookie);
    /** Of all that was sent, nothing is remembered any more. */
    void forgetCommands();
    std::string device;
    uint32_t maxThreads = 0;
    bool open = false;
    bool mapped = false;
    int threadExits = 0;

    // The driver's side.

    int openDevice(const char* path);
    void closeDevice();
    void* map(size_t size);
    void unmap();
    int control(unsigned long request, void* argument);

  private:
    struct Step {
        int error = 0;
        size_t taken = SIZE_MAX;
        std::vector<uint8_t> bytes;
    };

    struct DeathRequest {
        binder_uintptr_t cookie;
        bool withdrawn;
    };

    int exchange(binder_write_read& request);
    size_t write(const uint8_t* data, size_t size);
    void take(const Command& command);
    void countReference(std::map<uint32_t, int>& references, const Command& command, int change)
        REQUIRES(mMutex);
    void withdrawDeathRequest(binder_uintptr_t cookie) REQUIRES(mMutex);
    int read(binder_write_read& request);
    std::optional<Step> nextStep();

    Mutex mMutex;
    Condition mWritten GUARDED_BY(mMutex);
    std::deque<Step> mSteps GUARDED_BY(mMutex);
    std::vector<Command> mCommands GUARDED_BY(mMutex);
    // As large as the runtime may map, and there before it does.
    std::vector<uint8_t> mArena = std::vector<uint8_t>(1 << 20);
    size_t mArenaUsed GUARDED_BY(mMutex) = 0;
    std::set<binder_uintptr_t> mBuffers GUARDED_BY(mMutex);
    std::map<uint32_t, int> mStrong GUARDED_BY(mMutex);
    std::map<uint32_t, int> mWeak GUARDED_BY(mMutex);
    std::map<binder_uintptr_t, int> mConfirmed GUARDED_BY(mMutex);
    std::map<binder_uintptr_t, int> mConfirmedWeak GUARDED_BY(mMutex);
    std::vector<DeathRequest> mDeathRequests GUARDED_BY(mMutex);
    int mFaults GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT::test
