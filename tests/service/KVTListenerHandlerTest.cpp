// SPDX-License-Identifier: Apache-2.0
#include "service/KVTListenerHandler.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using android::Message;
using android::sp;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t kReport = 7;
constexpr const char* kExists =
    "W/KVTService: [kvt--->KVTListenerHandler:AddListener] Listener exist";
constexpr const char* kRemoving =
    "D/KVTService: [kvt--->KVTListenerHandler:RemoveListener] Remove listener.";
constexpr const char* kRemoved = "D/KVTService: kvt--->KVTListenerHandler::remove Listener";

/** Does `react` with the rate. */
class Reacting : public KVTListener {
  public:
    explicit Reacting(std::function<void(int32_t)> react) : mReact(std::move(react)) {}
    void NotifyGameFpsToAps(int32_t fps) override { mReact(fps); }

  private:
    const std::function<void(int32_t)> mReact;
};

class KVTListenerHandlerTest : public testing::Test {
  protected:
    sp<KVTListener> listener(const char* name) {
        return new Reacting(
            [this, name](int32_t fps) { told.push_back(name + std::to_string(fps)); });
    }

    const sp<KVTListenerHandler> handler = new KVTListenerHandler;
    std::vector<std::string> told;
    LogCapture log;
};

TEST_F(KVTListenerHandlerTest, RefusesToAddAListenerTwice) {
    const sp<KVTListener> a = listener("a");
    EXPECT_EQ(handler->GetListenerNum(), 0u);
    handler->AddListener(a);
    handler->AddListener(a);
    EXPECT_THAT(log.take(), ElementsAre(kExists));
    EXPECT_EQ(handler->GetListenerNum(), 1u);
    handler->HandleMessageSelf(kReport);
    EXPECT_THAT(told, ElementsAre("a60")) << "the rate before the first report";
}

TEST_F(KVTListenerHandlerTest, KeepsTheOrderOfTheRest) {
    const sp<KVTListener> b = listener("b");
    handler->AddListener(listener("a"));
    handler->AddListener(b);
    handler->AddListener(listener("c"));
    handler->RemoveListener(b);
    EXPECT_THAT(log.take(), ElementsAre(kRemoving, kRemoved));
    handler->RemoveListener(b);
    EXPECT_THAT(log.take(), ElementsAre(kRemoving));
    EXPECT_EQ(handler->GetListenerNum(), 2u);
    KVTListenerHandler::gameFps = 90;
    handler->HandleMessageSelf(kReport);
    EXPECT_THAT(told, ElementsAre("a90", "c90"));
}

TEST_F(KVTListenerHandlerTest, ReadsTheRateAfreshForEveryListenerThatIsThere) {
    handler->AddListener(new Reacting([](int32_t) { KVTListenerHandler::gameFps = 72; }));
    handler->AddListener(nullptr);
    handler->AddListener(listener("b"));
    EXPECT_EQ(handler->GetListenerNum(), 3u);
    handler->HandleMessageSelf(kReport);
    EXPECT_THAT(told, ElementsAre("b72"));
}

TEST_F(KVTListenerHandlerTest, OnlyAReportReachesListeners) {
    handler->AddListener(listener("a"));
    for (const int32_t what : {-1, 0, 4, 5, 6, 8, 1 << 30}) {
        handler->HandleMessageSelf(what);
        handler->handleMessage(Message(what));
    }
    EXPECT_THAT(told, IsEmpty());
    handler->handleMessage(Message(kReport));
    EXPECT_THAT(told, ElementsAre("a60"));
}

TEST_F(KVTListenerHandlerTest, IgnoresUnknownMessagesWithoutLocking) {
    MutexLock lock(KVTListenerHandler::mutexLock);
    handler->HandleMessageSelf(8);
    EXPECT_EQ(handler->GetListenerNum(), 0u) << "nor does counting lock";
}

TEST_F(KVTListenerHandlerTest, PostsThroughItsQueueOnceThatIsInitialised) {
    EXPECT_EQ(handler->SendMessage(handler, Message(kReport), 0), android::NO_INIT);
    sp<KVTListenerHandler> poster = new KVTListenerHandler;
    poster->GetMessageQueue().Init(/*startThread=*/false);
    // The only reference goes with the report: the loop ends.
    handler->AddListener(new Reacting([&](int32_t fps) {
        told.push_back("a" + std::to_string(fps));
        poster.clear();
    }));
    EXPECT_EQ(poster->SendMessage(handler, Message(kReport), 0), 0);
    poster->GetMessageQueue().WaitMessage();
    EXPECT_THAT(told, ElementsAre("a60"));
}

}  // namespace
}  // namespace KVT
