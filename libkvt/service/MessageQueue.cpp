// SPDX-License-Identifier: Apache-2.0
#include "service/MessageQueue.h"

#include <utility>

#include "common/Log.h"

namespace KVT {

using android::Looper;
using android::Message;
using android::MessageHandler;
using android::sp;

sp<Looper> MessageQueue::LooperSlot::get() const {
    MutexLock lock(mMutex);
    return mLooper;
}

sp<Looper> MessageQueue::LooperSlot::exchange(sp<Looper> looper) {
    MutexLock lock(mMutex);
    std::swap(mLooper, looper);
    return looper;
}

void MessageQueue::LooperSlot::poll() const {
    constexpr int kNoTimeout = -1;
    // The reference keeps the looper through a message that destroys the queue.
    while (const sp<Looper> looper = get()) {
        const int status = looper->pollOnce(kNoTimeout);
        switch (status) {
            case Looper::POLL_WAKE:
            case Looper::POLL_CALLBACK:
                break;
            case Looper::POLL_TIMEOUT:
                KVT_LOGE("POLL_TIMEOUT");
                break;
            case Looper::POLL_ERROR:
                KVT_LOGE("POLL_ERROR");
                break;
            default:
                KVT_LOGE("Looper::pollOnce() returned unknown status %d", status);
                break;
        }
    }
    KVT_LOGE("Looper mLooper is nullptr, break");
}

MessageQueue::Handler::Handler(const MessageQueue* queue) : mLooper(queue->mLooper) {}
MessageQueue::Handler::~Handler() = default;

void MessageQueue::Handler::handleMessage(const Message& message) {
    constexpr int kEvents = 3;
    if (message.what >= 0 && message.what < kEvents) {
        KVT_LOGI("MessageQueue::Handler::HandleMessage, handle event EVENT%d", message.what);
    }
}

void MessageQueue::Handler::DispatchMessage(int32_t what) {
    if (const sp<Looper> looper = mLooper->get(); looper != nullptr) {
        looper->sendMessage(this, Message(what));
    }
}

MessageQueue::HandleThread::HandleThread(const MessageQueue* queue)
    : android::Thread(/*canCallJava=*/true), mLooper(queue->mLooper) {}
MessageQueue::HandleThread::~HandleThread() = default;

bool MessageQueue::HandleThread::threadLoop() {
    mLooper->poll();
    return true;
}

MessageQueue::MessageQueue() : mLooper(std::make_shared<LooperSlot>()) {}

MessageQueue::~MessageQueue() {
    if (mThread != nullptr) {
        mThread->requestExit();
    }
    mThread.clear();
    mHandler.clear();
    // Whoever is polling would sleep for ever on a looper that nobody can post to any more.
    if (const sp<Looper> looper = mLooper->exchange(nullptr); looper != nullptr) {
        looper->wake();
    }
}

void MessageQueue::Init(bool startThread) {
    mLooper->exchange(new Looper(/*allowNonCallbacks=*/true));
    mHandler = new Handler(this);
    if (startThread) {
        constexpr size_t kDefaultStack = 0;
        mThread = new HandleThread(this);
        mThread->run("MessageHandle", android::PRIORITY_DEFAULT, kDefaultStack);
    }
}

void MessageQueue::WaitMessage() {
    // The queue may be gone before the poll returns.
    const std::shared_ptr<LooperSlot> slot = mLooper;
    slot->poll();
}

int32_t MessageQueue::PostMessage(const sp<MessageHandler>& target, const Message& message,
                                  int64_t delay) {
    const sp<Looper> looper = mLooper->get();
    if (looper == nullptr) {
        return android::NO_INIT;
    }
    if (delay >= 1) {
        looper->sendMessageDelayed(delay, target, message);
    } else {
        looper->sendMessage(target, message);
    }
    return android::OK;
}

int32_t MessageQueue::PostMessage(const Message& message, int64_t delay) {
    return PostMessage(mHandler, message, delay);
}

int32_t MessageQueue::RemoveMessages(const sp<MessageHandler>& target, int32_t what) {
    const sp<Looper> looper = mLooper->get();
    if (looper == nullptr) {
        return android::NO_INIT;
    }
    looper->removeMessages(target, what);
    return android::OK;
}

int32_t MessageQueue::RemoveMessages(const sp<MessageHandler>& target) {
    const sp<Looper> looper = mLooper->get();
    if (looper == nullptr) {
        return android::NO_INIT;
    }
    looper->removeMessages(target);
    return android::OK;
}

}  // namespace KVT
