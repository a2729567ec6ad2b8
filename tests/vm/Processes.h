// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <sys/types.h>

#include <functional>
#include <map>
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
    /** Returns when the driver, too, knows that it is dead. */
    void kill();
    /** @return its exit status: 0 when it ran to the end without a failed expectation */
    int wait();

  private:
    pid_t mPid;
    int mStatus = -1;
};

/** Runs the body in a process of its own and expects it to succeed. */
void InProcess(const std::function<void()>& body);

/** What a process does once and another one waits for. Made before both are forked. */
class Signal {
  public:
    Signal();
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    void raise() const;
    /** Returns at once for each time that it was raised. */
    void await() const;

  private:
    int mEnds[2];
};

/** What the driver says about a process ("threads", "nodes", ...); empty if it knows none. */
std::map<std::string, std::string> DriverStats(pid_t pid);

/** How many threads or descriptors ("task", "fd") a process has. */
int ProcessCount(pid_t pid, const std::string& kind);

/** Asks again for a minute at most until the answer is yes. */
bool Eventually(const std::function<bool()>& question);

/** The service manager, waited for. */
android::sp<android::IServiceManager> Manager();

/** One synchronous call with at most one int32 in the request. */
android::Parcel& Call(const android::sp<android::IBinder>& target, uint32_t code,
                      android::Parcel* reply, int32_t argument = 0);

}  // namespace KVT::test
