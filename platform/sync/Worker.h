// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT {

/**
 * Marks the life of a long-lived worker thread, so that virtual time knows whom to wait for.
 *
 * The thread that starts a worker announces it by name just before it does so (or withdraws the
 * announcement when the start fails), with no other operation of `sync/` in between; the worker
 * holds a WorkerScope of the same name from its first statement to its last. Whoever joins a worker
 * awaits its end first. In real time all of this costs nothing.
 */
class WorkerScope {
  public:
    static void Announce(const char* name);
    static void Withdraw(const char* name);

    /**
     * Waits until no worker of that name is left; in real time it returns at once, since the join
     * that follows does the waiting. Unlike a join inside an OutsideScope, it ends at the same
     * point of every run.
     */
    static void AwaitEnd(const char* name);

    explicit WorkerScope(const char* name);
    ~WorkerScope();
    WorkerScope(const WorkerScope&) = delete;
    WorkerScope& operator=(const WorkerScope&) = delete;
};

/**
 * Marks a stretch in which the calling thread blocks on something other than `sync/` (reading a
 * pipe, waiting for a process), so that virtual time goes on without it. When it comes back is up
 * to the real world: such a run is not repeatable.
 */
class OutsideScope {
  public:
    OutsideScope();
    ~OutsideScope();
    OutsideScope(const OutsideScope&) = delete;
    OutsideScope& operator=(const OutsideScope&) = delete;
};

}  // namespace KVT
