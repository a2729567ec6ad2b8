// SPDX-License-Identifier: Apache-2.0
#include "host/SoleHost.h"

#include <binder/Parcel.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "common/Log.h"
#include "service/IKVTService.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

using android::base::unique_fd;

constexpr int64_t kPatienceNs = kNsPerS;
constexpr int64_t kPollNs = 10 * kNsPerMs;

/** A name that no file belongs to: it begins with a zero. */
class Address {
  public:
    explicit Address(const std::string& name) {
        mAddress.sun_family = AF_UNIX;
        const size_t length = std::min(name.size(), sizeof(mAddress.sun_path) - 1);
        std::copy_n(name.begin(), length, mAddress.sun_path + 1);
        mLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&mAddress); }
    socklen_t length() const { return mLength; }

  private:
    sockaddr_un mAddress{};
    socklen_t mLength;
};

unique_fd Socket() {
    return unique_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/** Uids below it belong to the system; no app has one. */
constexpr uid_t kFirstAppUid = 10000;

/** Who listens under the name; all zero while nobody does. */
ucred OwnerOf(const Address& address) {
    ucred owner{};
    socklen_t size = sizeof(owner);
    const unique_fd asking = Socket();
    if (connect(asking.get(), address.get(), address.length()) != 0 ||
        getsockopt(asking.get(), SOL_SOCKET, SO_PEERCRED, &owner, &size) != 0) {
        return {};
    }
    return owner;
}

}  // namespace

SoleHost::SoleHost(const std::string& name) {
    const Address address(name);
    const int64_t deadline = MonotonicNow() + kPatienceNs;
    do {
        mName = Socket();
        if (bind(mName.get(), address.get(), address.length()) == 0) {
            listen(mName.get(), SOMAXCONN);
            return;
        }
        if (errno != EADDRINUSE) {
            return;  // a system without such names
        }
        const ucred owner = OwnerOf(address);
        if (owner.pid != 0 && (owner.uid < kFirstAppUid || owner.uid == geteuid())) {
            mOther = owner.pid;
            return;
        }
        // Somebody who is about to listen, or has just gone; or who only wants to be in the way.
        SleepFor(kPollNs);
    } while (MonotonicNow() < deadline);
    KVT_LOGW("another user's process has the name %s: a second host would not be noticed at once",
             name.c_str());
}

bool IsServed(const android::sp<android::IServiceManager>& manager) {
    const int64_t deadline = MonotonicNow() + kPatienceNs;
    for (;;) {
        const android::sp<android::IBinder> service =
            manager->checkService(IKVTService::descriptor);
        // One-way: of a process that is stopped, an answer would never come.
        if (service == nullptr ||
            service->transact(android::IBinder::PING_TRANSACTION, android::Parcel(), nullptr,
                              android::IBinder::FLAG_ONEWAY) == android::DEAD_OBJECT) {
            return false;
        }
        if (MonotonicNow() >= deadline) {
            return true;
        }
        SleepFor(kPollNs);
    }
}

}  // namespace KVT
