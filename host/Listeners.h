// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <sys/types.h>
#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

#include "service/IKVTListener.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * The registered listeners, each once, in the order of their registration. One whose process dies
 * is forgotten. Any thread; adding and removing take the same time however many there are.
 */
class Listeners : public android::RefBase {
  public:
    /**
     * @param owner   a uid and no process: who registers one-way, as all do that use the proxy, has
     *                no more than that
     * @param trusted neither bound by kMostListenersOfCaller nor by kListenersKeptForTrusted
     * @return whether it is registered now; false when there is no room for it
     */
    bool add(const android::sp<IKVTListener>& listener, uid_t owner, bool trusted) EXCLUDES(mMutex);
    void remove(const android::sp<android::IBinder>& binder) EXCLUDES(mMutex);

    std::vector<android::sp<IKVTListener>> all() EXCLUDES(mMutex);
    size_t count() EXCLUDES(mMutex);

  private:
    class Death;
    struct Entry {
        android::sp<IKVTListener> listener;
        android::sp<android::IBinder::DeathRecipient> death;
        uid_t owner;
    };
    using Entries = std::list<Entry>;

    bool hasRoom(uid_t owner, bool trusted) const REQUIRES(mMutex);

    Mutex mMutex;
    Entries mEntries GUARDED_BY(mMutex);
    std::unordered_map<const android::IBinder*, Entries::iterator> mByBinder GUARDED_BY(mMutex);
    std::unordered_map<uid_t, size_t> mCountByOwner GUARDED_BY(mMutex);
};

}  // namespace KVT
