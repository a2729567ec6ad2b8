// SPDX-License-Identifier: Apache-2.0
// poll() promises nothing: whoever shares the descriptor may fill it before the write. So pipes and
// sockets are written with calls that are told not to block. Nothing tells that to a file, nor to a
// lock in the kernel that the reader holds: hence the thread, which can be left behind.
#include "host/ReaderWrite.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "host/Limits.h"

namespace KVT {

using android::status_t;
using android::base::unique_fd;

namespace {

using Clock = std::chrono::steady_clock;

/** One of the writes that may be under way at a time, those left behind included. */
class Place {
  public:
    explicit Place(uid_t reader) {
        const std::lock_guard lock(sMutex);
        if (std::count_if(std::begin(sPlaces), std::end(sPlaces), [reader](const Taken& place) {
                return place.taken && place.reader == reader;
            }) >= static_cast<ptrdiff_t>(kMostDumpsOfUid)) {
            return;
        }
        mPlace = std::find_if_not(std::begin(sPlaces), std::end(sPlaces),
                                  [](const Taken& place) { return place.taken; });
        if (taken()) {
            *mPlace = {true, reader};
        }
    }
    ~Place() {
        const std::lock_guard lock(sMutex);
        if (taken()) {
            mPlace->taken = false;
        }
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    bool taken() const { return mPlace != std::end(sPlaces); }

  private:
    struct Taken {
        bool taken;
        uid_t reader;
    };
    // Outlive the threads that are left behind: nothing destroys them.
    static inline std::mutex sMutex;
    static inline Taken sPlaces[kMostDumps];
    Taken* mPlace = std::end(sPlaces);
};

/** Calls push(begin) for what is left, each time that the descriptor may take some. */
template <typename Push>
status_t PushAll(int fd, size_t size, Clock::time_point deadline, Push push) {
    for (size_t done = 0; done < size;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd reader{fd, POLLOUT, 0};
        if (left.count() <= 0 || poll(&reader, 1, static_cast<int>(left.count())) == 0) {
            return android::TIMED_OUT;
        }
        const ssize_t pushed = push(done);
        if (pushed < 0 && errno != EAGAIN && errno != EINTR) {
            return -EIO;
        }
        done += static_cast<size_t>(std::max<ssize_t>(pushed, 0));
    }
    return android::OK;
}

/** By way of a pipe of our own: bytes move from pipe to pipe without blocking where asked to. */
status_t PushToPipe(int fd, const std::string& text, Clock::time_point deadline) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return android::NO_MEMORY;
    }
    const unique_fd out(ends[0]);
    const unique_fd in(ends[1]);
    size_t staged = 0;
    return PushAll(fd, text.size(), deadline, [&](size_t begin) {
        if (staged == begin) {
            const ssize_t taken = write(in.get(), text.data() + begin, text.size() - begin);
            if (taken < 0) {
                return taken;
            }
            staged += static_cast<size_t>(taken);
        }
        return splice(out.get(), nullptr, fd, nullptr, staged - begin, SPLICE_F_NONBLOCK);
    });
}

/**
 * Whether writing to a file waits for nobody but the kernel. What a process serves, or another
 * machine, can keep the writing thread, and with it the end of this process.
 */
bool IsLocal(int fd) {
    struct statfs about {};
    constexpr decltype(about.f_type) kLocal[] = {EXT4_SUPER_MAGIC,  F2FS_SUPER_MAGIC,
                                                 BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC,
                                                 TMPFS_MAGIC,       OVERLAYFS_SUPER_MAGIC};
    return fstatfs(fd, &about) == 0 &&
           std::find(std::begin(kLocal), std::end(kLocal), about.f_type) != std::end(kLocal);
}

status_t Push(const unique_fd fd, mode_t kind, const std::string& text,
              Clock::time_point deadline) {
    // A reader that is gone ends the write, not the process; the signal dies with this thread.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (kind == S_IFIFO) {
        return PushToPipe(fd.get(), text, deadline);
    }
    return PushAll(fd.get(), text.size(), deadline, [&](size_t begin) {
        const char* const data = text.data() + begin;
        const size_t size = text.size() - begin;
        return kind == S_IFSOCK ? send(fd.get(), data, size, MSG_DONTWAIT | MSG_NOSIGNAL)
                                : write(fd.get(), data, size);
    });
}

}  // namespace

status_t WriteToReader(int fd, uid_t reader, const std::function<std::string()>& gather,
                       std::chrono::milliseconds patience) {
    const Clock::time_point deadline = Clock::now() + patience;
    struct stat about {};
    if (fstat(fd, &about) != 0) {
        return android::BAD_TYPE;
    }
    const mode_t kind = about.st_mode & S_IFMT;
    if (kind != S_IFIFO && kind != S_IFSOCK && !(kind == S_IFREG && IsLocal(fd))) {
        return android::BAD_TYPE;
    }
    auto place = std::make_unique<Place>(reader);
    if (!place->taken()) {
        return android::WOULD_BLOCK;
    }
    unique_fd own(fcntl(fd, F_DUPFD_CLOEXEC, 0));  // the caller's is closed when its call ends
    if (own < 0) {
        return android::NO_MEMORY;
    }
    std::packaged_task<status_t()> task([own = std::move(own), place = std::move(place), kind,
                                         text = gather(), deadline]() mutable {
        const std::unique_ptr<Place> untilHere = std::move(place);
        return Push(std::move(own), kind, text, deadline);
    });
    std::future<status_t> result = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error&) {
        return android::NO_MEMORY;
    }
    return result.wait_until(deadline) == std::future_status::ready ? result.get()
                                                                    : android::TIMED_OUT;
}

}  // namespace KVT
