// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Thread.h>

#include <functional>

namespace KVT {

/**
 * A check thread: it does nothing but repeat its strategy's check step until exit is asked for.
 *
 * Strategies hold it through a strong pointer, since a platform thread that runs references itself.
 */
class BaseThread : virtual public android::Thread {
  public:
    ~BaseThread() override;

    /** Starts the thread. `name` must outlive it. @return the platform's status */
    android::status_t run(const char* name, int32_t priority = android::PRIORITY_DEFAULT,
                          size_t stack = 0) override;

    /**
     * Ends a running thread and waits for its end: asks for exit, then lets `wake` end the wait
     * that the check step may be in.
     */
    void Stop(const std::function<void()>& wake);

    /** Whether the check step should return without acting. */
    bool IsStopping() const { return exitPending(); }

  protected:
    android::status_t readyToRun() override;

  private:
    const char* mName = nullptr;
};

}  // namespace KVT
