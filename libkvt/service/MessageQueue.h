// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Looper.h>
#include <utils/Thread.h>

#include <cstdint>
#include <memory>

#include "sync/Mutex.h"

namespace KVT {

/**
 * A looper with a handler of its own and, on request, a thread that polls it.
 *
 * Init() comes first and once; after it every operation may be called from any thread.
 */
class MessageQueue {
  private:
    class LooperSlot;

  public:
    /** Logs the queue's own events 0, 1 and 2. */
    class Handler : public android::MessageHandler {
      public:
        explicit Handler(const MessageQueue* queue);
        ~Handler() override;

        void handleMessage(const android::Message& message) override;
        /** Sends this handler a message, at once, through its queue's looper. */
        void DispatchMessage(int32_t what);

      private:
        const std::shared_ptr<LooperSlot> mLooper;
    };

    /** Polls the queue until it is asked to exit. */
    class HandleThread : public android::Thread {
      public:
        explicit HandleThread(const MessageQueue* queue);
        ~HandleThread() override;

      private:
        bool threadLoop() override;

        const std::shared_ptr<LooperSlot> mLooper;
    };

    MessageQueue();
    /** Asks the thread to exit but does not wait for it: it may be the thread that runs this. */
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    /** @param startThread a thread "MessageHandle" polls; otherwise the owner calls WaitMessage */
    void Init(bool startThread);

    /** Delivers messages on the calling thread until the queue has no looper (any more). */
    void WaitMessage();

    /**
     * Sends a message to `target`.
     *
     * @param delay nanoseconds; less than 1 sends at once
     * @return 0; NO_INIT before Init(), nothing is sent then
     */
    int32_t PostMessage(const android::sp<android::MessageHandler>& target,
                        const android::Message& message, int64_t delay);
    /** Sends a message to the queue's own handler. */
    int32_t PostMessage(const android::Message& message, int64_t delay);

    /**
     * Drops the messages of `target` that are still pending, of one `what` or all.
     *
     * @return 0; NO_INIT before Init()
     */
    int32_t RemoveMessages(const android::sp<android::MessageHandler>& target, int32_t what);
    int32_t RemoveMessages(const android::sp<android::MessageHandler>& target);

  private:
    /**
     * Where the queue keeps its looper. Handler and thread share the place instead of pointing back
     * to the queue: both may outlive it, the thread because nobody joins it.
     */
    class LooperSlot {
      public:
        android::sp<android::Looper> get() const;
        /** Puts a looper in and hands out the one before. */
        android::sp<android::Looper> exchange(android::sp<android::Looper> looper);
        /** What WaitMessage does; touches nothing but the slot. */
        void poll() const;

      private:
        mutable Mutex mMutex;
        android::sp<android::Looper> mLooper GUARDED_BY(mMutex);
    };

    // The slot is empty and the other two are null until Init().
    const std::shared_ptr<LooperSlot> mLooper;
    android::sp<Handler> mHandler;
    android::sp<HandleThread> mThread;
};

}  // namespace KVT
