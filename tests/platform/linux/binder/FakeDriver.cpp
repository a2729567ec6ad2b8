// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/linux/binder/FakeDriver.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "linux/binder/kernel/Driver.h"

namespace KVT::test {
namespace {

size_t Aligned(size_t size) {
    return (size + 7) & ~size_t{7};
}

}  // namespace

FakeDriver& FakeDriver::Get() {
    static auto& driver = *new FakeDriver;  // outlives every thread of the pool
    return driver;
}

int FakeDriver::openDevice(const char* path) {
    device = path;
    open = openResult >= 0;
    return openResult;
}

void FakeDriver::closeDevice() {
    open = false;
}

void* FakeDriver::map(size_t size) {
    if (mapFails) {
        return nullptr;
    }
    mapped = size <= mArena.size();
    return mapped ? mArena.data() : nullptr;
}

void FakeDriver::unmap() {
    mapped = false;
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
    if (mBuffers.empty() || mArenaUsed + needed > mArena.size()) {
        mArenaUsed = 0;
    }
    uint8_t* buffer = mArena.data() + mArenaUsed;
    mArenaUsed += needed;
    mBuffers.insert(reinterpret_cast<uintptr_t>(buffer));
    if (size > 0) {
        memcpy(buffer, data, size);
    }
    if (offsetsSize > 0) {
        memcpy(buffer + Aligned(size), offsets.data(), offsetsSize);
    }
    binder_transaction_data received{};
    received.data_size = size;
    received.offsets_size = offsetsSize;
    received.data.ptr.buffer = reinterpret_cast<uintptr_t>(buffer);
    received.data.ptr.offsets = reinterpret_cast<uintptr_t>(buffer + Aligned(size));
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
    received.target.ptr = reinterpret_cast<uintptr_t>(target->getWeakRefs());
    received.cookie = reinterpret_cast<uintptr_t>(target);
    received.code = code;
    return received;
}

std::vector<FakeDriver::Command> FakeDriver::commands() {
    MutexLock lock(mMutex);
    return mCommands;
}

int FakeDriver::count(uint32_t code) {
    MutexLock lock(mMutex);
    return static_cast<int>(
        std::count_if(mCommands.begin(), mCommands.end(),
                      [code](const Command& command) { return command.code == code; }));
}

void FakeDriver::await(uint32_t code, int times) {
    while (count(code) < times) {
        MutexLock lock(mMutex);
        mWritten.wait(mMutex);
    }
}

size_t FakeDriver::buffersOut() {
    MutexLock lock(mMutex);
    return mBuffers.size();
}

int FakeDriver::faults() {
    MutexLock lock(mMutex);
    return mFaults;
}

int FakeDriver::references() {
    MutexLock lock(mMutex);
    int sum = 0;
    for (const auto* references : {&mStrong, &mWeak}) {
        for (const auto& [handle, count] : *references) {
            sum += count;
        }
    }
    return sum;
}

int FakeDriver::confirmed(uint64_t cookie) {
    MutexLock lock(mMutex);
    return mConfirmed[cookie];
}

int FakeDriver::confirmedWeak(uint64_t counts) {
    MutexLock lock(mMutex);
    return mConfirmedWeak[counts];
}

std::vector<binder_uintptr_t> FakeDriver::deathRequests(bool withdrawn) {
    MutexLock lock(mMutex);
    std::vector<binder_uintptr_t> cookies;
    for (const DeathRequest& request : mDeathRequests) {
        if (request.withdrawn == withdrawn) {
            cookies.push_back(request.cookie);
        }
    }
    return cookies;
}

void FakeDriver::forgetDeathRequest(binder_uintptr_t cookie) {
    MutexLock lock(mMutex);
    const auto found = std::find_if(mDeathRequests.begin(), mDeathRequests.end(),
                                    [cookie](const DeathRequest& request) {
                                        return request.cookie == cookie && request.withdrawn;
                                    });
    mDeathRequests.erase(found);
}

void FakeDriver::forgetCommands() {
    MutexLock lock(mMutex);
    mCommands.clear();
    mConfirmed.clear();
    mConfirmedWeak.clear();
}

int FakeDriver::control(unsigned long request, void* argument) {
    switch (request) {
        case BINDER_VERSION:
            static_cast<binder_version*>(argument)->protocol_version = version;
            return versionResult;
        case BINDER_SET_MAX_THREADS:
            maxThreads = *static_cast<uint32_t*>(argument);
            return maxThreadsResult;
        case BINDER_SET_CONTEXT_MGR:
            return contextResult;
        case BINDER_THREAD_EXIT: {
            MutexLock lock(mMutex);
            ++threadExits;
            return 0;
        }
        case BINDER_WRITE_READ:
            return exchange(*static_cast<binder_write_read*>(argument));
        default:
            return -EINVAL;
    }
}

int FakeDriver::exchange(binder_write_read& request) {
    const auto* data = reinterpret_cast<const uint8_t*>(request.write_buffer);
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
    request.write_consumed += write(data + request.write_consumed, size);
    if (error != 0) {
        return error;
    }
    return request.read_size > 0 ? read(request) : 0;
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
        take(command);
    }
    return taken;
}

void FakeDriver::take(const Command& command) {
    {
        MutexLock lock(mMutex);
        mCommands.push_back(command);
        mWritten.signal();
        switch (command.code) {
            case BC_FREE_BUFFER: {
                const auto buffer = command.as<binder_uintptr_t>();
                if (mBuffers.erase(buffer) == 0) {
                    ++mFaults;
                } else {
                    *reinterpret_cast<uint8_t*>(buffer) = 0xdd;  // a later reader gets a surprise
                }
                break;
            }
            case BC_ACQUIRE:
                countReference(mStrong, command, 1);
                break;
            case BC_RELEASE:
                countReference(mStrong, command, -1);
                break;
            case BC_INCREFS:
                countReference(mWeak, command, 1);
                break;
            case BC_DECREFS:
                countReference(mWeak, command, -1);
                break;
            case BC_ACQUIRE_DONE:
                ++mConfirmed[command.as<binder_ptr_cookie>().cookie];
                break;
            case BC_INCREFS_DONE:
                ++mConfirmedWeak[command.as<binder_ptr_cookie>().ptr];
                break;
            case BC_REQUEST_DEATH_NOTIFICATION:
                mDeathRequests.push_back({command.as<binder_handle_cookie>().cookie, false});
                break;
            case BC_CLEAR_DEATH_NOTIFICATION:
                withdrawDeathRequest(command.as<binder_handle_cookie>().cookie);
                break;
            default:
                break;
        }
    }
    if (command.code != BC_TRANSACTION && command.code != BC_REPLY) {
        if (onCommand) {
            onCommand(command);
        }
    } else if (onCall) {
        const Answer next = onCall(command);
        MutexLock lock(mMutex);
        mSteps.push_front({0, SIZE_MAX, next.get()});
    }
}

void FakeDriver::withdrawDeathRequest(binder_uintptr_t cookie) {
    const auto found = std::find_if(mDeathRequests.begin(), mDeathRequests.end(),
                                    [cookie](const DeathRequest& request) {
                                        return request.cookie == cookie && !request.withdrawn;
                                    });
    if (found == mDeathRequests.end()) {
        ++mFaults;
    } else {
        found->withdrawn = true;
    }
}

void FakeDriver::countReference(std::map<uint32_t, int>& references, const Command& command,
                                int change) {
    int& count = references[command.as<uint32_t>()];
    count += change;
    if (count < 0) {
        ++mFaults;
    }
}

std::optional<FakeDriver::Step> FakeDriver::nextStep() {
    {
        MutexLock lock(mMutex);
        if (!mSteps.empty()) {
            Step step = std::move(mSteps.front());
            mSteps.pop_front();
            return step;
        }
    }
    if (onRead) {
        if (const std::optional<Answer> answer = onRead(); answer.has_value()) {
            return Step{0, SIZE_MAX, answer->get()};
        }
    }
    return std::nullopt;
}

int FakeDriver::read(binder_write_read& request) {
    std::optional<Step> step = nextStep();
    if (!step.has_value()) {
        return -ECONNREFUSED;
    }
    const size_t size = std::min<size_t>(step->bytes.size(), request.read_size);
    if (size > 0) {
        memcpy(reinterpret_cast<void*>(request.read_buffer), step->bytes.data(), size);
    }
    request.read_consumed = size;
    if (size < step->bytes.size()) {
        step->bytes.erase(step->bytes.begin(), step->bytes.begin() + static_cast<ptrdiff_t>(size));
        MutexLock lock(mMutex);
        mSteps.push_front(std::move(*step));
    }
    return 0;
}

}  // namespace KVT::test

namespace android::driver {

using KVT::test::FakeDriver;

int Open(const char* device) {
    return FakeDriver::Get().openDevice(device);
}

void Close(int) {
    FakeDriver::Get().closeDevice();
}

void* Map(int, size_t size) {
    return FakeDriver::Get().map(size);
}

void Unmap(void*, size_t) {
    FakeDriver::Get().unmap();
}

int Ioctl(int, unsigned long request, void* argument) {
    return FakeDriver::Get().control(request, argument);
}

}  // namespace android::driver
