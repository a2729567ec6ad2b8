// SPDX-License-Identifier: Apache-2.0
// The loop over every answer that a looper can give. The program's own pollOnce takes the place of
// the one in libutils.
#include <gmock/gmock.h>
#include <utils/Looper.h>

#include <memory>
#include <vector>

#include "service/MessageQueue.h"
#include "tests/support/LogCapture.h"

namespace {

std::unique_ptr<KVT::MessageQueue> gQueue;
std::vector<int> gAnswers;
std::vector<int> gTimeouts;

}  // namespace

/** Gives the answers one by one, and destroys the queue with the last. */
int android::Looper::pollOnce(int timeoutMillis, int*, int*, void**) {
    gTimeouts.push_back(timeoutMillis);
    const int answer = gAnswers.front();
    gAnswers.erase(gAnswers.begin());
    if (gAnswers.empty()) {
        gQueue.reset();
    }
    return answer;
}

namespace KVT {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

TEST(MessageQueuePoll, LogsWhatIsOutOfTheOrdinaryAndGoesOn) {
    LogCapture log;
    gAnswers = {-1, -2, -3, -4, 0, 7, -5, -1};
    gQueue = std::make_unique<MessageQueue>();
    gQueue->Init(/*startThread=*/false);
    gQueue->WaitMessage();
    EXPECT_THAT(log.take(),
                ElementsAre("E/KVTService: POLL_TIMEOUT", "E/KVTService: POLL_ERROR",
                            "E/KVTService: Looper::pollOnce() returned unknown status 0",
                            "E/KVTService: Looper::pollOnce() returned unknown status 7",
                            "E/KVTService: Looper::pollOnce() returned unknown status -5",
                            "E/KVTService: Looper mLooper is nullptr, break"));
    EXPECT_THAT(gTimeouts, SizeIs(8));
    EXPECT_THAT(gTimeouts, Each(-1));
}

}  // namespace
}  // namespace KVT
