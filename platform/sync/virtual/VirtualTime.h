// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "sync/Clock.h"

namespace KVT {

/**
 * The virtual implementation of `sync/`: a deterministic scheduler for all threads of a process.
 *
 * One participating thread runs at a time. When all of them wait, the clock jumps to the earliest
 * deadline, so hours cost microseconds and every run takes the same course. Participants are the
 * thread that entered, workers (WorkerScope) and VirtualThreads. Any other thread, and everything
 * before Enter(), gets the real pthread behaviour; it may share locks with participants, but a run
 * that depends on it is not repeatable.
 *
 * When every participant waits and none has a deadline, or some wait for each other's mutexes or
 * ends, the process reports who waits for what on standard error and aborts.
 */
class VirtualTime {
  public:
    struct Options {
        /**
         * Without a seed the running thread goes on until it waits, and the others take turns in
         * the order in which they became ready. With one, every lock, unlock, wait, signal and
         * sleep is a choice point, at which the turn may pass to a thread picked at random; the
         * seed also chooses how rarely it does, and with rare changes threads are held back while
         * time passes. Each seed is one schedule.
         */
        std::optional<uint64_t> seed;
        /** The clock's first value; well after zero, since a time stamp of 0 means "never". */
        int64_t startNs = 1000 * kNsPerS;
    };

    /**
     * Starts virtual time with the calling thread as the first participant, for the rest of the
     * process: objects that are destroyed at exit can still end their workers. Once per process,
     * with no lock held and no worker started. From then on the process stays on one processor.
     */
    static void Enter(const Options& options);

    /**
     * Lets the other participants run until all of them wait. No time passes, but for one that a
     * seed holds back.
     */
    static void Settle();

    /** The phone was suspended for so long: boot time went on meanwhile, and nothing else did. */
    static void Suspend(int64_t ns);

    /** A hash of all scheduling decisions so far: equal for two runs that took the same course. */
    static uint64_t Digest();
};

/** A thread that takes part in virtual time: for tests and for the simulator's actors. */
class VirtualThread {
  public:
    VirtualThread(std::string name, std::function<void()> body);
    ~VirtualThread() { Join(); }
    VirtualThread(const VirtualThread&) = delete;
    VirtualThread& operator=(const VirtualThread&) = delete;

    /** Waits, in virtual time, until the body has returned. */
    void Join();

  private:
    uint64_t mId = 0;
    std::thread mThread;
};

}  // namespace KVT
