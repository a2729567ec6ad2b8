// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "sync/Mutex.h"

namespace KVT {

/**
 * What a thread does for one event, or in one step of a check thread, to the last consequence.
 *
 * Meanwhile it holds locks, and it waits for other processes. When one of those makes a waiting
 * call to us before it answers, binder has that call served by the very thread that waits. An event
 * that comes in this way would wait for the locks of its own thread for ever, so it is put off to
 * the end of the turn, just as it would wait on any other thread.
 *
 * A turn costs a look at a thread-local variable, and allocates only for what is put off.
 */
class Turn {
  public:
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /** What one turn takes on besides its own: more than that only a caller without end sends. */
    static constexpr size_t kMostPutOff = 64;

    /** Whether the calling thread is in the middle of a turn. */
    static bool IsUnderWay();

    /**
     * Does `action` as a turn of its own, or puts a copy off to the end of the one under way.
     *
     * @return false when it is dropped, because too many have been put off already
     */
    template <typename Action>
    static bool Take(Action&& action) {
        if (IsUnderWay()) {
            return PutOff(std::forward<Action>(action));
        }
        Turn turn;
        action();
        turn.doPutOff();
        return true;
    }

    /** Forgets what was put off: its thread is about to end. */
    static void DropPutOff();

    /** Does now, without `mutex`, what was put off, before the calling thread waits for longer. */
    static void CatchUp(Mutex& mutex) REQUIRES(mutex);

  private:
    Turn();
    ~Turn();

    static bool PutOff(std::function<void()> action);
    void doPutOff();

    std::vector<std::function<void()>> mPutOff;
    /** How many of them have been begun. */
    size_t mBegun = 0;
    bool mDropped = false;
};

}  // namespace KVT
