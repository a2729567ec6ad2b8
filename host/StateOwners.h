// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <binder/Parcel.h>
#include <sys/types.h>
#include <utils/Errors.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/Caller.h"
#include "host/ProcessWatch.h"
#include "host/Refusals.h"
#include "service/Transactions.h"
#include "sync/Atomic.h"
#include "sync/Mutex.h"

namespace KVT {

class Dumper;

/**
 * Whose doing it is that virtual displays are open, that an external display, a pointer, a limit or
 * an unlock is there: what a process brought and has not taken back when it ends is taken back for
 * it, by the events that it would have sent.
 *
 * An owner is who waits for its answer, since of a one-way call the driver tells no process. What is
 * set again, by whomever, no longer belongs to who set it before. By uid an unlock has an owner in
 * any case: nobody but that one and root may touch it while it goes on.
 *
 * Any thread. Transactions that bring nothing of the kind cost a look at their code.
 */
class StateOwners {
  public:
    /** Runs an event in order with all others; false when it can not be taken on now. */
    using RunEvent = std::function<bool(std::function<void()> event)>;
    static bool InPlace(std::function<void()> event);

    /** Processes that own something, at a time: two or three ever would. */
    static constexpr size_t kMostProcesses = 64;

    /**
     * @param refusals counts who may not touch an unlock
     * @param run      has to be done with every event before this object ends
     */
    explicit StateOwners(Refusals& refusals, RunEvent run = InPlace);

    /**
     * Has `dispatch` handle an admitted transaction, and takes note of what it brings.
     *
     * @return what `dispatch` does; PERMISSION_DENIED for who may not touch another's unlock;
     *         DEAD_OBJECT when the caller has been killed meanwhile
     */
    template <typename Dispatch>
    android::status_t serve(const Caller& caller, uint32_t code, const android::Parcel& data,
                            Dispatch&& dispatch) {
        return Owns(code) ? serveOwned(caller, code, data, dispatch) : dispatch();
    }

    /** The section "owners". */
    void dump(Dumper* dumper) EXCLUDES(mMutex);

  private:
    /** The first ones are one value each, whoever sets it. */
    enum State : size_t { kHotplug, kPointer, kLimit, kValues, kVirtualDisplay = kValues, kUnlock };

    struct Process {
        uint64_t id;
        pid_t pid;
        android::base::unique_fd end;
        std::array<bool, kValues> values{};
        int32_t virtualDisplays = 0;
        /** The package that it unlocks for; empty without an unlock. */
        std::string unlock{};
        bool hasEnded = false;

        bool ownsNothing() const;
    };

    /** What a transaction is about to do. */
    struct Change {
        State state;
        /** It sets the state; else it takes it back. */
        bool brings;
        /** Of an unlock. */
        std::string package;
    };

    static constexpr bool Owns(uint32_t code) {
        return code == NOTIFY_VIRTUAL_DISPLAY || code == NOTIFY_DISPLAY_HOTPLUG ||
               code == TOUCH_POINTER || code == GAME_FPS_LIMIT || code == FINGERPRINT;
    }
    /** @return none for a request that changes nothing */
    static std::optional<Change> Read(uint32_t code, const android::Parcel& data);

    android::status_t serveOwned(const Caller& caller, uint32_t code, const android::Parcel& data,
                                 const std::function<android::status_t()>& dispatch);
    bool mayUnlock(uid_t caller, const std::optional<Change>& change) EXCLUDES(mMutex);
    void disown(pid_t caller, const Change& change) EXCLUDES(mMutex);
    void own(pid_t caller, const Change& change, android::base::unique_fd end) EXCLUDES(mMutex);
    /** Logged once: where one can not be watched, mostly none can. */
    void countNotWatched(pid_t process, const char* reason);
    void onEnd(uint64_t id) EXCLUDES(mMutex);
    void takeBack(uint64_t id) EXCLUDES(mMutex);

    Refusals& mRefusals;
    const RunEvent mRun;
    Mutex mMutex;
    std::vector<Process> mProcesses GUARDED_BY(mMutex);
    uint64_t mLastId GUARDED_BY(mMutex) = 0;
    uid_t mUnlockUid GUARDED_BY(mMutex) = 0;
    Atomic<uint64_t> mNotWatched{0};
    ProcessWatch mWatch;  // last: its thread uses the others
};

}  // namespace KVT
