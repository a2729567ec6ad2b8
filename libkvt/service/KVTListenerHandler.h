// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Looper.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "service/KVTListener.h"
#include "service/MessageQueue.h"
#include "sync/Mutex.h"

namespace KVT {

/**
 * The listeners behind one client manager, in the order of their registration.
 *
 * Reports are delivered on the caller's thread. The queue can deliver them asynchronously instead,
 * but has to be initialised for that, which nobody does at present.
 */
class KVTListenerHandler : public android::MessageHandler {
  public:
    ~KVTListenerHandler() override;

    /** HandleMessageSelf, for a message that came through a looper. */
    void handleMessage(const android::Message& message) override;

    /** What a message asks for; any other number is ignored. */
    enum : int32_t {
        RESERVED_5 = 5,
        RESERVED_6 = 6,
        /** Tells every listener the current gameFps. */
        GAME_FPS_REPORT = 7,
    };

    /** Adds a listener, unless it is there already. */
    void AddListener(const android::sp<KVTListener>& listener);
    /** Removes a listener, if it is there. */
    void RemoveListener(const android::sp<KVTListener>& listener);
    /** Takes no lock: only an estimate while others add and remove. */
    size_t GetListenerNum() const { return mListenerNum.load(std::memory_order_relaxed); }

    /** Carries out a message here and now. The listeners are called with `mutexLock` held. */
    void HandleMessageSelf(int32_t what);

    /**
     * Posts a message for `target` through this handler's queue.
     *
     * @param delay nanoseconds; less than 1 sends at once
     * @return 0; NO_INIT while the queue is not initialised, nothing is sent then
     */
    int32_t SendMessage(const android::sp<KVTListenerHandler>& target,
                        const android::Message& message, int64_t delay);
    /** For whoever initialises it. */
    MessageQueue& GetMessageQueue() { return mMessageQueue; }

    /** One lock for the lists of all handlers of the process. */
    static Mutex mutexLock;
    /** The last reported frame rate, whichever manager got it; 60 before the first report. */
    static std::atomic<int32_t> gameFps;

  private:
    MessageQueue mMessageQueue;
    std::vector<android::sp<KVTListener>> mListeners GUARDED_BY(mutexLock);
    std::atomic<size_t> mListenerNum{0};
};

}  // namespace KVT
