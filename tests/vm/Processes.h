// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace KVT::test {

/**
 * A process that runs one function and ends. Forked from a process that has never used binder, so
 * each is a binder process of its own. Killed when the object goes away.
 */
class Child {
  public:
    explicit Child(const std::function<void()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return mPid; }
    void kill();
    /** @return its exit status: 0 when it ran to the end without a failed expectation */
    int wait();

  private:
    pid_t mPid;
    int mStatus = -1;
};

/** What the driver counts of one kind of thing ("node", "ref", "death") over all processes. */
int DriverCount(const std::string& kind);

/** Asks again for 10 s at most until the answer is yes. */
bool Eventually(const std::function<bool()>& question);

}  // namespace KVT::test
