// SPDX-License-Identifier: Apache-2.0
#include "host/ProcessWatch.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "sync/Worker.h"

namespace KVT {

using android::base::unique_fd;

namespace {

constexpr const char* kThreadName = "process watch";
constexpr uint64_t kStop = 0;

bool Add(int events, int descriptor, uint64_t id) {
    epoll_event wanted{};
    wanted.events = EPOLLIN | EPOLLONESHOT;
    wanted.data.u64 = id;
    return epoll_ctl(events, EPOLL_CTL_ADD, descriptor, &wanted) == 0;
}

}  // namespace

ProcessWatch::ProcessWatch(std::function<void(uint64_t)> ended)
    : mEnded(std::move(ended)),
      mEvents(epoll_create1(EPOLL_CLOEXEC)),
      mStop(eventfd(0, EFD_CLOEXEC)) {
    Add(mEvents.get(), mStop.get(), kStop);
}

ProcessWatch::~ProcessWatch() {
    MutexLock lock(mMutex);
    if (mThread.joinable()) {
        eventfd_write(mStop.get(), 1);
        WorkerScope::AwaitEnd(kThreadName);
        mThread.join();
    }
}

unique_fd ProcessWatch::Open(pid_t process) {
    // The C library's own function is younger than the phone's.
    return unique_fd(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

bool ProcessWatch::watch(const unique_fd& process, uint64_t id) {
    return start() && Add(mEvents.get(), process.get(), id);
}

bool ProcessWatch::start() {
    MutexLock lock(mMutex);
    if (mThread.joinable()) {
        return true;
    }
    WorkerScope::Announce(kThreadName);
    try {
        mThread = std::thread([this] { run(); });
    } catch (const std::system_error& error) {
        WorkerScope::Withdraw(kThreadName);
        errno = error.code().value();
        return false;
    }
    pthread_setname_np(mThread.native_handle(), kThreadName);
    return true;
}

void ProcessWatch::run() {
    const WorkerScope life(kThreadName);
    for (;;) {
        epoll_event event{};
        const int events = [this, &event] {
            const OutsideScope outside;
            return epoll_wait(mEvents.get(), &event, 1, -1);
        }();
        if (events == 1 && event.data.u64 == kStop) {
            return;
        }
        if (events == 1) {
            mEnded(event.data.u64);
        } else if (events < 0 && errno != EINTR) {
            return;  // no descriptor was left at the start: nobody can be watched
        }
    }
}

}  // namespace KVT
