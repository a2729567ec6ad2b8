// SPDX-License-Identifier: Apache-2.0
#include "host/Listeners.h"

#include <iterator>

#include "host/Limits.h"

namespace KVT {

using android::IBinder;
using android::IInterface;
using android::sp;
using android::wp;

class Listeners::Death : public IBinder::DeathRecipient {
  public:
    explicit Death(Listeners* listeners) : mListeners(listeners) {}
    void binderDied(const wp<IBinder>& who) override {
        const sp<Listeners> listeners = mListeners.promote();
        const sp<IBinder> binder = who.promote();
        if (listeners != nullptr && binder != nullptr) {
            listeners->remove(binder);
        }
    }

  private:
    const wp<Listeners> mListeners;
};

bool Listeners::add(const sp<IKVTListener>& listener, uid_t owner, bool trusted) {
    const sp<IBinder> binder = IInterface::asBinder(listener);
    const sp<Death> death = new Death(this);
    MutexLock lock(mMutex);
    if (mByBinder.count(binder.get()) != 0) {
        return true;
    }
    if (!hasRoom(owner, trusted)) {
        return false;
    }
    // With the lock: a removal or a death in this very moment then finds entry and link, or neither.
    // One of this process can not be linked to, and need not be.
    if (binder->linkToDeath(death) == android::DEAD_OBJECT) {
        return true;  // as if it had died just afterwards
    }
    mEntries.push_back({listener, death, owner});
    mByBinder[binder.get()] = std::prev(mEntries.end());
    ++mCountByOwner[owner];
    return true;
}

bool Listeners::hasRoom(uid_t owner, bool trusted) const {
    if (trusted) {
        return mEntries.size() < kMostListeners;
    }
    const auto found = mCountByOwner.find(owner);
    return mEntries.size() < kMostListeners - kListenersKeptForTrusted &&
           (found == mCountByOwner.end() || found->second < kMostListenersOfCaller);
}

void Listeners::remove(const sp<IBinder>& binder) {
    Entries removed;  // released behind the lock
    {
        MutexLock lock(mMutex);
        const auto found = mByBinder.find(binder.get());
        if (found == mByBinder.end()) {
            return;
        }
        const auto counted = mCountByOwner.find(found->second->owner);
        if (--counted->second == 0) {
            mCountByOwner.erase(counted);
        }
        removed.splice(removed.end(), mEntries, found->second);
        mByBinder.erase(found);
    }
    binder->unlinkToDeath(removed.front().death);
}

std::vector<sp<IKVTListener>> Listeners::all() {
    MutexLock lock(mMutex);
    std::vector<sp<IKVTListener>> listeners;
    listeners.reserve(mEntries.size());
    for (const Entry& entry : mEntries) {
        listeners.push_back(entry.listener);
    }
    return listeners;
}

size_t Listeners::count() {
    MutexLock lock(mMutex);
    return mEntries.size();
}

}  // namespace KVT
