// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>
#include <linux/android/binder.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
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

/** A local object as the driver names it. */
binder_ptr_cookie NameOf(android::BBinder* object);

/**
 * The binder driver as one process sees it, with everybody else played by the test: it hands out
 * what the test has prepared, and keeps the books of what the process owes it. Linked in place of
 * the kernel's. Thread-safe.
 */
class FakeDriver {
  public:
    static FakeDriver& Get();

    struct Command {
        uint32_t code;
        std::vector<uint8_t> argument;
        std::vector<uint8_t> data;  // of a call or reply, if it is kept

        template <typename T>
        T as() const {
            T value{};
            memcpy(&value, argument.data(), std::min(sizeof(value), argument.size()));
            return value;
        }
    };

    /** One entry for each thing owed: a handle, or an address in the process. */
    enum Book {
        kBuffers,  // receive buffers that are out
        kStrong,   // references to remote objects
        kWeak,
        kConfirmedStrong,  // references to local objects that the process has confirmed
        kConfirmedWeak,
        kDeathRequests,      // proxies that wait for news of a death
        kWithdrawnRequests,  // ... that do so no more, but have not been told "done"
        kBooks,
    };

    // Preparation.

    int openResult = 3;
    bool mapFails = false;
    int32_t version = BINDER_CURRENT_PROTOCOL_VERSION;
    bool keepsData = true;
    /** Of the simple requests, by their numbers. */
    std::map<unsigned long, int> results;

    /** What a later read returns, in order; it has room for 256 bytes. */
    void answer(const Answer& answer);
    /** A later exchange fails, having taken so many of the bytes written to it. */
    void fail(int error, size_t taken = SIZE_MAX);
    /** Asked for an answer when none is prepared; nothing ends the conversation. */
    std::function<std::optional<Answer>()> onRead;
    /** Told of each command once it is in the books; what it returns is answered next. */
    std::function<std::optional<Answer>(const Command&)> onCommand;

    /** Puts bytes, and where objects stand among them, into a receive buffer. */
    binder_transaction_data receive(const void* data, size_t size,
                                    const std::vector<binder_size_t>& offsets = {});
    binder_transaction_data receiveWords(const std::vector<int32_t>& words, uint32_t flags = 0);
    /** Makes what has been received a call of a local object. */
    static binder_transaction_data CallOf(android::BBinder* target, uint32_t code,
                                          binder_transaction_data received);

    // What has become of it.

    std::vector<Command> commands(uint32_t code);
    int count(uint32_t code) { return static_cast<int>(commands(code).size()); }
    /** Waits until the process has sent so many of such commands. */
    void await(uint32_t code, int times = 1);
    /** Of all that was sent, nothing is remembered any more, but for the books. */
    void forgetCommands();
    std::vector<uint64_t> owed(Book book);
    /** Strikes an entry off. @return false when there is none */
    bool settle(Book book, uint64_t name);
    /** How often something was given back that was not held. */
    int faults();
    std::string device;
    uint32_t maxThreads = 0;
    bool open = false;
    bool mapped = false;
    int threadExits = 0;

    // The driver's side.

    void* map(size_t size);
    int control(unsigned long request, void* argument);

  private:
    struct Step {
        int error = 0;
        size_t taken = SIZE_MAX;
        std::vector<uint8_t> bytes;
    };

    int exchange(binder_write_read& request);
    size_t write(const uint8_t* data, size_t size);
    void take(Command command);
    bool strikeOff(Book book, uint64_t name) REQUIRES(mMutex);
    int read(binder_write_read& request);
    std::optional<std::vector<uint8_t>> nextAnswer();

    Mutex mMutex;
    Condition mWritten GUARDED_BY(mMutex);
    std::deque<Step> mSteps GUARDED_BY(mMutex);
    std::vector<Command> mCommands GUARDED_BY(mMutex);
    // As large as the runtime may map, and there before it does.
    std::vector<uint8_t> mArena = std::vector<uint8_t>(1 << 20);
    size_t mArenaUsed GUARDED_BY(mMutex) = 0;
    std::vector<uint64_t> mBooks[kBooks] GUARDED_BY(mMutex);
    int mFaults GUARDED_BY(mMutex) = 0;
};

}  // namespace KVT::test
