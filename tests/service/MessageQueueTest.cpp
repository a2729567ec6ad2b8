// SPDX-License-Identifier: Apache-2.0
#include "service/MessageQueue.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

#include "sync/Clock.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using android::Message;
using android::MessageHandler;
using android::sp;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNoLooper = "E/KVTService: Looper mLooper is nullptr, break";
constexpr int kStop = 99;

/** Notes what it gets, and does `onStop` for kStop. */
class Recorder : public MessageHandler {
  public:
    explicit Recorder(std::function<void()> onStop = [] {}) : mOnStop(std::move(onStop)) {}

    void handleMessage(const Message& message) override {
        if (message.what == kStop) {
            mOnStop();
        } else {
            received.push_back(message.what);
        }
    }

    std::vector<int> received;

  private:
    const std::function<void()> mOnStop;
};

class MessageQueueTest : public testing::Test {
  protected:
    MessageQueueTest() { queue->Init(/*startThread=*/false); }

    void post(int what, int64_t delay = 0) {
        EXPECT_EQ(queue->PostMessage(recorder, Message(what), delay), 0);
    }
    /** Delivers what is posted on this thread, until the message that ends the queue. */
    std::vector<int> received(int64_t stopDelay = 0) {
        post(kStop, stopDelay);
        queue->WaitMessage();
        return recorder->received;
    }

    std::unique_ptr<MessageQueue> queue = std::make_unique<MessageQueue>();
    const sp<Recorder> recorder = new Recorder([this] { queue.reset(); });
    const sp<Recorder> other = new Recorder;
    LogCapture log;
};

TEST_F(MessageQueueTest, SendsAtOnceOrAfterTheDelay) {
    post(3, kNsPerMs);
    post(0);
    post(1, -kNsPerS);
    post(2, 1);
    EXPECT_THAT(received(2 * kNsPerMs), ElementsAre(0, 1, 2, 3));
}

TEST_F(MessageQueueTest, RemovesPendingMessagesOfOneKindOrAll) {
    const sp<Recorder> third = new Recorder;
    for (const sp<Recorder>& each : {recorder, other, third}) {
        for (const int what : {1, 2, 1, 3}) {
            queue->PostMessage(each, Message(what), 0);
        }
    }
    EXPECT_EQ(queue->RemoveMessages(recorder, 1), 0);
    EXPECT_EQ(queue->RemoveMessages(other), 0);
    EXPECT_THAT(received(), ElementsAre(2, 3));
    EXPECT_THAT(other->received, IsEmpty());
    EXPECT_THAT(third->received, ElementsAre(1, 2, 1, 3));
}

TEST_F(MessageQueueTest, ItsOwnHandlerLogsThreeEvents) {
    for (const int what : {0, 3, 1, -1}) {
        EXPECT_EQ(queue->PostMessage(Message(what), 0), 0);
    }
    sp<MessageQueue::Handler>(new MessageQueue::Handler(queue.get()))->DispatchMessage(2);
    received();
    EXPECT_THAT(
        log.take(),
        ElementsAre("I/KVTService: MessageQueue::Handler::HandleMessage, handle event EVENT0",
                    "I/KVTService: MessageQueue::Handler::HandleMessage, handle event EVENT1",
                    "I/KVTService: MessageQueue::Handler::HandleMessage, handle event EVENT2",
                    kNoLooper));
}

TEST_F(MessageQueueTest, DoesNothingBeforeInit) {
    MessageQueue idle;
    EXPECT_EQ(idle.PostMessage(recorder, Message(1), 0), android::NO_INIT);
    EXPECT_EQ(idle.PostMessage(Message(1), 1), android::NO_INIT);
    EXPECT_EQ(idle.RemoveMessages(recorder), android::NO_INIT);
    EXPECT_EQ(idle.RemoveMessages(recorder, 1), android::NO_INIT);
    idle.WaitMessage();
    EXPECT_THAT(log.take(), ElementsAre(kNoLooper));
}

/** Waits for what another thread does; the test's time limit ends it when that never happens. */
void Await(const std::function<bool()>& done) {
    while (!done()) {
        std::this_thread::yield();
    }
}

class MessageThreadTest : public testing::Test {
  protected:
    MessageThreadTest() {
        // A sanitizer may start a thread of its own beside the first one.
        std::thread([] {}).join();
        mThreadsBefore = Threads();
    }

    void awaitThreadsEnd() {
        Await([this] { return Threads() <= mThreadsBefore; });
    }

    LogCapture log;

  private:
    /** One that was joined may be counted for a moment longer. */
    static ptrdiff_t Threads() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    }

    ptrdiff_t mThreadsBefore;
};

TEST_F(MessageThreadTest, OutlivesAQueueThatGoesAtAnyMoment) {
    constexpr int kQueues = 200;
    for (int i = 0; i < kQueues; ++i) {
        MessageQueue queue;
        queue.Init(/*startThread=*/true);
        queue.PostMessage(Message(0), i % 2);
    }
    awaitThreadsEnd();
}

TEST_F(MessageThreadTest, AMessageMayEndItsOwnQueue) {
    auto* queue = new MessageQueue;
    queue->Init(/*startThread=*/true);
    queue->PostMessage(new Recorder([queue] { delete queue; }), Message(kStop), 0);
    awaitThreadsEnd();
    EXPECT_THAT(log.take(), ElementsAre(kNoLooper));
}

TEST_F(MessageThreadTest, WithoutALooperItComplainsUntilAskedToExit) {
    auto queue = std::make_unique<MessageQueue>();
    const sp<MessageQueue::HandleThread> thread = new MessageQueue::HandleThread(queue.get());
    queue.reset();
    thread->run("complaining");
    for (int i = 0; i < 3; ++i) {
        Await([&] { return testing::Value(log.take(), testing::Contains(kNoLooper)); });
    }
    thread->requestExitAndWait();
}

}  // namespace
}  // namespace KVT
