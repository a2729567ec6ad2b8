// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/linux/binder/FakeDriver.h"

#include <cerrno>
#include <utility>

#include "linux/binder/kernel/Driver.h"

namespace KVT::test {
namespace {

/** What a command does to a book: it enters a thing, or strikes one off. */
struct Posting {
    uint32_t command;
    FakeDriver::Book book;
    bool enters;
};

constexpr Posting kPostings[] = {
    {BC_FREE_BUFFER, FakeDriver::kBuffers, false},
    {BC_ACQUIRE, FakeDriver::kStrong, true},
    {BC_RELEASE, FakeDriver::kStrong, false},
    {BC_INCREFS, FakeDriver::kWeak, true},
    {BC_DECREFS, FakeDriver::kWeak, false},
    {BC_ACQUIRE_DONE, FakeDriver::kConfirmedStrong, true},
    {BC_INCREFS_DONE, FakeDriver::kConfirmedWeak, true},
    {BC_REQUEST_DEATH_NOTIFICATION, FakeDriver::kDeathRequests, true},
    {BC_CLEAR_DEATH_NOTIFICATION, FakeDriver::kDeathRequests, false},
    {BC_CLEAR_DEATH_NOTIFICATION, FakeDriver::kWithdrawnRequests, true},
};

/** A handle, or the last address among the arguments, which is the object's. */
uint64_t NameIn(const std::vector<uint8_t>& argument) {
    uint64_t name = 0;
    const size_t size = std::min(sizeof(name), argument.size());
    std::copy(argument.end() - static_cast<ptrdiff_t>(size), argument.end(),
              reinterpret_cast<uint8_t*>(&name));
    return name;
}

size_t Aligned(size_t size) {
    return (size + 7) & ~size_t{7};
}

}  // namespace

binder_ptr_cookie NameOf(android::BBinder* object) {
    return {reinterpret_cast<uintptr_t>(object->getWeakRefs()),
            reinterpret_cast<uintptr_t>(object)};
}

FakeDriver& FakeDriver::Get() {
    static auto& driver = *new FakeDriver;  // outlives every thread of the pool
    return driver;
}

void FakeDriver::answer(const Answer& answer) {
    MutexLock lock(mMutex);
    mSteps.push_back({0, SIZE_MAX, answer.get()});
}

void FakeDriver::fail(int error, size_t taken) {
    MutexLock lock(mMutex);
    mSteps.push_back({error, taken, {}});
}

binder_transaction_data FakeDriver::receive(const void* data, size_t size,
                                            const std::vector<binder_size_t>& offsets) {
    const size_t offsetsSize = offsets.size() * sizeof(binder_size_t);
    const size_t needed = Aligned(std::max<size_t>(size, 1)) + offsetsSize;
    MutexLock lock(mMutex);
    if (mBooks[kBuffers].empty() || mArenaUsed + needed > mArena.size()) {
        mArenaUsed = 0;
    }
    uint8_t* buffer = mArena.data() + mArenaUsed;
    mArenaUsed += needed;
    binder_transaction_data received{};
    received.data_size = size;
    received.offsets_size = offsetsSize;
    received.data.ptr.buffer = reinterpret_cast<uintptr_t>(buffer);
    received.data.ptr.offsets = received.data.ptr.buffer + Aligned(size);
    mBooks[kBuffers].push_back(received.data.ptr.buffer);
    if (size > 0) {
        memcpy(buffer, data, size);
    }
    if (offsetsSize > 0) {
        memcpy(buffer + Aligned(size), offsets.data(), offsetsSize);
    }
    return received;
}

binder_transaction_data FakeDriver::receiveWords(const std::vector<int32_t>& words,
                                                 uint32_t flags) {
    binder_transaction_data received = receive(words.data(), words.size() * sizeof(int32_t));
    received.flags = flags;
    return received;
}

binder_transaction_data FakeDriver::CallOf(android::BBinder* target, uint32_t code,
                                           binder_transaction_data received) {
    received.target.ptr = NameOf(target).ptr;
    received.cookie = NameOf(target).cookie;
    received.code = code;
    return received;
}

std::vector<FakeDriver::Command> FakeDriver::commands(uint32_t code) {
    MutexLock lock(mMutex);
    std::vector<Command> found;
    std::copy_if(mCommands.begin(), mCommands.end(), std::back_inserter(found),
                 [code](const Command& command) { return command.code == code; });
    return found;
}

void FakeDriver::await(uint32_t code, int times) {
    while (count(code) < times) {
        MutexLock lock(mMutex);
        mWritten.wait(mMutex);
    }
}

void FakeDriver::forgetCommands() {
    MutexLock lock(mMutex);
    mCommands.clear();
}

std::vector<uint64_t> FakeDriver::owed(Book book) {
    MutexLock lock(mMutex);
    return mBooks[book];
}

bool FakeDriver::settle(Book book, uint64_t name) {
    MutexLock lock(mMutex);
    return strikeOff(book, name);
}

bool FakeDriver::strikeOff(Book book, uint64_t name) {
    std::vector<uint64_t>& entries = mBooks[book];
    const auto found = std::find(entries.begin(), entries.end(), name);
    if (found == entries.end()) {
        return false;
    }
    entries.erase(found);
    return true;
}

int FakeDriver::faults() {
    MutexLock lock(mMutex);
    return mFaults;
}

void* FakeDriver::map(size_t size) {
    mapped = !mapFails && size <= mArena.size();
    return mapped ? mArena.data() : nullptr;
}

int FakeDriver::control(unsigned long request, void* argument) {
    if (request == BINDER_WRITE_READ) {
        return exchange(*static_cast<binder_write_read*>(argument));
    }
    MutexLock lock(mMutex);
    if (request == BINDER_VERSION) {
        static_cast<binder_version*>(argument)->protocol_version = version;
    } else if (request == BINDER_SET_MAX_THREADS) {
        maxThreads = *static_cast<uint32_t*>(argument);
    } else if (request == BINDER_THREAD_EXIT) {
        ++threadExits;
    }
    return results[request];
}

int FakeDriver::exchange(binder_write_read& request) {
    size_t size = request.write_size - request.write_consumed;
    int error = 0;
    {
        MutexLock lock(mMutex);
        if (!mSteps.empty() && mSteps.front().error != 0) {
            error = mSteps.front().error;
            size = std::min(size, mSteps.front().taken);
            mSteps.pop_front();
        }
    }
    const auto* data = reinterpret_cast<const uint8_t*>(request.write_buffer);
    request.write_consumed += write(data + request.write_consumed, size);
    return error == 0 && request.read_size > 0 ? read(request) : error;
}

size_t FakeDriver::write(const uint8_t* data, size_t size) {
    size_t taken = 0;
    while (size - taken >= sizeof(uint32_t)) {
        Command command{};
        memcpy(&command.code, data + taken, sizeof(command.code));
        const size_t length = sizeof(command.code) + _IOC_SIZE(command.code);
        if (size - taken < length) {
            break;
        }
        command.argument.assign(data + taken + sizeof(command.code), data + taken + length);
        taken += length;
        take(std::move(command));
    }
    return taken;
}

void FakeDriver::take(Command command) {
    if (keepsData && (command.code == BC_TRANSACTION || command.code == BC_REPLY)) {
        const auto sent = command.as<binder_transaction_data>();
        const auto* data = reinterpret_cast<const uint8_t*>(sent.data.ptr.buffer);
        command.data.assign(data, data + sent.data_size);
    }
    {
        MutexLock lock(mMutex);
        mCommands.push_back(command);
        mWritten.signal();
        const uint64_t name = NameIn(command.argument);
        for (const Posting& posting : kPostings) {
            if (posting.command != command.code) {
                continue;
            }
            if (posting.enters) {
                mBooks[posting.book].push_back(name);
            } else if (!strikeOff(posting.book, name)) {
                ++mFaults;
            } else if (posting.book == kBuffers) {
                *reinterpret_cast<uint8_t*>(name) = 0xdd;  // a later reader gets a surprise
            }
        }
    }
    if (onCommand) {
        if (const std::optional<Answer> next = onCommand(command); next.has_value()) {
            MutexLock lock(mMutex);
            mSteps.push_front({0, SIZE_MAX, next->get()});
        }
    }
}

std::optional<std::vector<uint8_t>> FakeDriver::nextAnswer() {
    {
        MutexLock lock(mMutex);
        if (!mSteps.empty()) {
            const Step step = std::move(mSteps.front());
            mSteps.pop_front();
            return step.bytes;
        }
    }
    const std::optional<Answer> answer = onRead ? onRead() : std::nullopt;
    return answer.has_value() ? std::optional(answer->get()) : std::nullopt;
}

int FakeDriver::read(binder_write_read& request) {
    const auto answer = nextAnswer();
    if (!answer.has_value()) {
        return -ECONNREFUSED;
    }
    if (answer->size() > request.read_size) {
        return -ENOSPC;
    }
    std::copy(answer->begin(), answer->end(), reinterpret_cast<uint8_t*>(request.read_buffer));
    request.read_consumed = answer->size();
    return 0;
}

}  // namespace KVT::test

namespace android::driver {

using KVT::test::FakeDriver;

int Open(const char* device) {
    FakeDriver& driver = FakeDriver::Get();
    driver.device = device;
    driver.open = driver.openResult >= 0;
    return driver.openResult;
}

void Close(int) {
    FakeDriver::Get().open = false;
}

void* Map(int, size_t size) {
    return FakeDriver::Get().map(size);
}

void Unmap(void*, size_t) {
    FakeDriver::Get().mapped = false;
}

int Ioctl(int, unsigned long request, void* argument) {
    return FakeDriver::Get().control(request, argument);
}

}  // namespace android::driver
