// SPDX-License-Identifier: Apache-2.0
#include "host/StateOwners.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "common/Dumper.h"
#include "common/Log.h"
#include "common/Turn.h"
#include "policy/FpsCommon.h"
#include "service/IKVTService.h"
#include "sync/Clock.h"

namespace KVT {

using android::Parcel;
using android::status_t;
using android::base::unique_fd;

namespace {

constexpr int32_t kOff = 0;
constexpr int32_t kOn = 1;
constexpr int32_t kIdle = 0;
constexpr int32_t kNoLimit = -1;

void SetLimit(int32_t fps) {
    FpsCommon::limitedGameFps = fps;
}

/** A state that is one value: what it is at rest, and what sets it. */
struct ValueState {
    int32_t rest;
    void (*set)(int32_t value);
};

/** In the order of StateOwners::State. */
constexpr ValueState kValueStates[] = {
    {kOff, FpsCommon::OnDisplayHotplugEventReceived},
    {kOff, FpsCommon::SetLcdLowDownByTpPointer},
    {kNoLimit, SetLimit},
};

bool IsUnlockOf(const std::string& package) {
    MutexLock lock(FpsCommon::decisionMutex);
    return FpsCommon::fingerprintStatus != kIdle && FpsCommon::fingerprintPkgName == package;
}

}  // namespace

bool StateOwners::InPlace(std::function<void()> event) {
    return Turn::Take(std::move(event));
}

StateOwners::StateOwners(Refusals& refusals, RunEvent run)
    : mRefusals(refusals), mRun(std::move(run)), mWatch([this](uint64_t id) { onEnd(id); }) {
    static_assert(std::size(kValueStates) == kValues);
}

bool StateOwners::Process::ownsNothing() const {
    return values == decltype(values){} && virtualDisplays == 0 && unlock.empty();
}

std::optional<StateOwners::Change> StateOwners::Read(uint32_t code, const Parcel& data) {
    if (FindTransaction(code)->checksToken && !data.enforceInterface(IKVTService::descriptor)) {
        return std::nullopt;
    }
    if (code == FINGERPRINT) {
        std::string package = android::String8(data.readString16()).string();
        const int32_t status = data.readInt32();
        if (status < 0 || status > 2 || package.empty()) {
            return std::nullopt;
        }
        return Change{kUnlock, status != kIdle, std::move(package)};
    }
    const int32_t value = data.readInt32();
    if (code == GAME_FPS_LIMIT) {
        return Change{kLimit, value != kNoLimit, ""};
    }
    if (value != kOn && value != kOff) {
        return std::nullopt;
    }
    const State state = code == NOTIFY_DISPLAY_HOTPLUG ? kHotplug
                        : code == TOUCH_POINTER        ? kPointer
                                                       : kVirtualDisplay;
    return Change{state, value == kOn, ""};
}

status_t StateOwners::serveOwned(const Caller& caller, uint32_t code, const Parcel& data,
                                 const std::function<status_t()>& dispatch) {
    const std::optional<Change> change = Read(code, data);
    data.setDataPosition(0);
    if (code == FINGERPRINT && !mayUnlock(caller.uid, change)) {
        mRefusals.add(caller.uid, code, "another uid's unlock goes on");
        return android::PERMISSION_DENIED;
    }
    if (!change.has_value()) {
        return dispatch();
    }
    unique_fd end;
    if (change->brings && caller.pid != 0 && caller.pid != getpid()) {
        // Before the caller has its answer, so that its number is still its own.
        end = ProcessWatch::Open(caller.pid);
        if (!end.ok() && errno == ESRCH) {
            return android::DEAD_OBJECT;  // killed while it waited: nobody brings this any more
        }
        if (!end.ok()) {
            countNotWatched(caller.pid, strerror(errno));
        }
    }
    // Nobody's from before it is acted on, the caller's after: what follows from an owner's end is
    // then in order behind what the owner brought, and never undoes what another one has.
    disown(caller.pid, *change);
    const status_t status = dispatch();
    const bool isDone = status == android::OK || status == android::UNKNOWN_TRANSACTION;
    if (end.ok() && isDone) {
        own(caller.pid, *change, std::move(end));
    }
    return status;
}

bool StateOwners::mayUnlock(uid_t caller, const std::optional<Change>& change) {
    constexpr uid_t kRoot = 0;
    MutexLock lock(mMutex);
    if (FpsCommon::fingerprintStatus != kIdle && caller != mUnlockUid && caller != kRoot &&
        mUnlockUid != kRoot) {
        return false;
    }
    if (change.has_value() && change->brings) {
        mUnlockUid = caller;
    }
    return true;
}

void StateOwners::disown(pid_t caller, const Change& change) {
    MutexLock lock(mMutex);
    for (Process& process : mProcesses) {
        if (change.state < kValues) {
            process.values[change.state] = false;
        } else if (change.state == kUnlock && process.unlock == change.package) {
            process.unlock.clear();
        } else if (change.state == kVirtualDisplay && !change.brings && process.pid == caller &&
                   !process.hasEnded && process.virtualDisplays > 0) {
            --process.virtualDisplays;
        }
    }
    mProcesses.erase(std::remove_if(mProcesses.begin(), mProcesses.end(),
                                    [](const Process& p) { return p.ownsNothing(); }),
                     mProcesses.end());
}

void StateOwners::own(pid_t caller, const Change& change, unique_fd end) {
    MutexLock lock(mMutex);
    auto process = std::find_if(mProcesses.begin(), mProcesses.end(), [caller](const Process& p) {
        return p.pid == caller && !p.hasEnded;
    });
    if (process == mProcesses.end()) {
        const bool isFull = mProcesses.size() == kMostProcesses;
        if (isFull || !mWatch.watch(end, mLastId + 1)) {
            countNotWatched(caller, isFull ? "too many are" : strerror(errno));
            return;
        }
        process = mProcesses.insert(process, {++mLastId, caller, std::move(end)});
    }
    if (change.state < kValues) {
        process->values[change.state] = true;
    } else if (change.state == kUnlock) {
        process->unlock = change.package;
    } else {
        ++process->virtualDisplays;
    }
}

void StateOwners::countNotWatched(pid_t process, const char* reason) {
    if (++mNotWatched == 1) {
        KVT_LOGW("process %d is not watched (%s): what it brought stays when it ends", process,
                 reason);
    }
}

void StateOwners::onEnd(uint64_t id) {
    constexpr int64_t kBetweenTries = 100 * kNsPerMs;
    {
        MutexLock lock(mMutex);
        for (Process& process : mProcesses) {
            process.hasEnded = process.hasEnded || process.id == id;
        }
    }
    while (!mRun([this, id] { takeBack(id); })) {
        SleepFor(kBetweenTries);
    }
}

void StateOwners::takeBack(uint64_t id) {
    Process gone{};
    {
        MutexLock lock(mMutex);
        const auto found = std::find_if(mProcesses.begin(), mProcesses.end(),
                                        [id](const Process& p) { return p.id == id; });
        if (found == mProcesses.end()) {
            return;  // somebody else set all of it again
        }
        gone = std::move(*found);
        mProcesses.erase(found);
    }
    KVT_LOGI("process %d has ended: what it brought is taken back", gone.pid);
    for (size_t i = 0; i < kValues; ++i) {
        if (gone.values[i]) {
            kValueStates[i].set(kValueStates[i].rest);
        }
    }
    // Others, of whom nothing is known, may have removed some of them.
    for (; gone.virtualDisplays > 0 && FpsCommon::virtualDisplayStatus > 0;
         --gone.virtualDisplays) {
        FpsCommon::OnVirtualDisplayEventReceived(kOff);
    }
    if (!gone.unlock.empty() && IsUnlockOf(gone.unlock)) {
        FpsCommon::OnFingerprintMessageReceived(gone.unlock, kIdle);
    }
}

void StateOwners::dump(Dumper* dumper) {
    dumper->section("owners");
    MutexLock lock(mMutex);
    dumper->value("processes", uint64_t{mProcesses.size()});
    dumper->value("not_watched", mNotWatched);
}

}  // namespace KVT
