// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <thread>

#include "sync/Mutex.h"

namespace KVT {

/**
 * Tells when processes end, on a thread of its own, which is there from the first watch on.
 *
 * A process is watched by a descriptor, which stays its own when its number has been given to the
 * next one. Needs Linux 5.3.
 */
class ProcessWatch {
  public:
    /** @param ended gets the number that the process is watched under; may still get one after its
     *         descriptor was closed */
    explicit ProcessWatch(std::function<void(uint64_t)> ended);
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    /** @return none, and the reason in errno: ESRCH when the process is gone */
    static android::base::unique_fd Open(pid_t process);

    /**
     * Tells once when the process has ended, if need be at once. Closing its descriptor ends that.
     *
     * @param id not 0
     * @return false, with the reason in errno, when it can not be watched
     */
    bool watch(const android::base::unique_fd& process, uint64_t id) EXCLUDES(mMutex);

  private:
    bool start() EXCLUDES(mMutex);
    void run();

    const std::function<void(uint64_t)> mEnded;
    const android::base::unique_fd mEvents;
    const android::base::unique_fd mStop;
    Mutex mMutex;
    std::thread mThread GUARDED_BY(mMutex);
};

}  // namespace KVT
