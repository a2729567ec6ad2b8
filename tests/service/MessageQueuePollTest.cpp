// SPDX-License-Identifier: Apache-2.0
// The loop over every answer that a looper can give. The program's own pollOnce takes the place of
// the one in libutils.
#include <gmock/gmock.h>
#include <utils/Looper.h>

#include <memory>
#include <vector>

#include "service/MessageQueue.h"
#include "tests/support/LogCapture.h"

static std::unique_ptr<KVT::MessageQueue> gQueue;
static std::vector<int> gAnswers = {-1, -2, -3, -4, 0, 7, -5, -1};

/** Gives the answers one by one, and destroys the queue with the last. */
int android::Looper::pollOnce(int timeoutMillis, int*, int*, void**) {
    EXPECT_EQ(timeoutMillis, -1);
    const int answer = gAnswers.front();
    gAnswers.erase(gAnswers.begin());
    if (gAnswers.empty()) {
        gQueue.reset();
    }
    return answer;
}

namespace KVT {
namespace {

TEST(MessageQueuePoll, LogsWhatIsOutOfTheOrdinaryAndGoesOn) {
    LogCapture log;
    gQueue = std::make_unique<MessageQueue>();
    gQueue->Init(/*startThread=*/false);
    gQueue->WaitMessage();
    EXPECT_THAT(log.take(),
                testing::ElementsAre("E/KVTService: POLL_TIMEOUT", "E/KVTService: POLL_ERROR",
                                     "E/KVTService: Looper::pollOnce() returned unknown status 0",
                                     "E/KVTService: Looper::pollOnce() returned unknown status 7",
                                     "E/KVTService: Looper::pollOnce() returned unknown status -5",
                                     "E/KVTService: Looper mLooper is nullptr, break"));
}

}  // namespace
}  // namespace KVT
