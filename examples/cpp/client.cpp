// SPDX-License-Identifier: Apache-2.0
// A client of the service: prints the frame rates that it reports of the game in front, and
// outlives it. Usage: kvt-example-client
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <service/IKVTService.h>
#include <service/KVTListener.h>
#include <service/KVTManager.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <iostream>
#include <mutex>
#include <optional>
#include <thread>

namespace {

using android::IBinder;
using android::sp;

/** Hands the main thread what arrives on binder threads, which are not to be kept waiting. */
class Inbox : public KVT::KVTListener, public IBinder::DeathRecipient {
  public:
    void NotifyGameFpsToAps(int32_t fps) override { put(fps); }
    void binderDied(const android::wp<IBinder>&) override { put(std::nullopt); }

    /** Waits for the next report. @return nothing when the service has ended */
    std::optional<int32_t> take() {
        std::unique_lock lock(mMutex);
        mArrived.wait(lock, [this] { return !mNews.empty(); });
        const std::optional<int32_t> first = mNews.front();
        mNews.pop_front();
        return first;
    }

  private:
    void put(std::optional<int32_t> news) {
        const std::lock_guard lock(mMutex);
        mNews.push_back(news);
        mArrived.notify_one();
    }

    std::mutex mMutex;
    std::condition_variable mArrived;
    std::deque<std::optional<int32_t>> mNews;
};

/** Waits until there is a service whose end `inbox` will be told. */
void AwaitService(const sp<Inbox>& inbox) {
    for (;; std::this_thread::sleep_for(std::chrono::seconds(1))) {
        const auto manager = android::defaultServiceManager();
        const sp<IBinder> service =
            manager == nullptr ? nullptr : manager->checkService(KVT::IKVTService::descriptor);
        if (service != nullptr && service->linkToDeath(inbox) == android::OK) {
            return;
        }
    }
}

}  // namespace

int main() {
    // Reports and deaths are told on threads of this pool: without them, nothing is ever heard.
    android::ProcessState::self()->startThreadPool();
    const sp<Inbox> inbox = new Inbox;
    for (;;) {
        // A registration ends with its service. So the end comes first: should the service go
        // before it has the registration, that is told too.
        AwaitService(inbox);
        if (KVT::KVTManager::RegisterListener(inbox) == KVT::REGISTRATION_DONE) {
            std::cout << "registered" << std::endl;
        }
        while (const std::optional<int32_t> fps = inbox->take()) {
            std::cout << *fps << " fps" << std::endl;
        }
        std::cout << "the service is gone" << std::endl;
    }
}
