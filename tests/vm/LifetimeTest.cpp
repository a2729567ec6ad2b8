// SPDX-License-Identifier: Apache-2.0
// How long listeners live between processes, and that nobody keeps anything of the dead: the real
// service, and clients that register through the facade.
#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "host/KVTServiceImpl.h"
#include "linux/servicemanager/ServiceManager.h"
#include "service/KVTManager.h"
#include "service/KVTManagerImpl.h"
#include "tests/vm/Processes.h"

namespace KVT::test {
namespace {

using namespace android;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kScale = 10;  // it is enough that one build counts to the end
#else
constexpr int kScale = 1;
#endif
// Together 10,000 registrations that end by a death: half by the client's, half by the service's.
constexpr int kDeaths = 100 / kScale;
constexpr int kRegistrationsPerDeath = 50;
constexpr int kCycles = 2'000 / kScale;

/** Fewer threads than usual: each has memory of its own, and takes some more from the heap. */
constexpr int kPoolThreads = 3;

void StartPool() {
    ProcessState::self()->setThreadPoolMaxThreadCount(kPoolThreads);
    ProcessState::self()->startThreadPool();
}

/** What only the test asks of the service. */
enum Question : uint32_t {
    kListeners = 1000,  // -> int32: how many are registered
    kHeap,              // -> int32: bytes in use
};

int32_t HeapBytes() {
    return static_cast<int32_t>(mallinfo2().uordblks);
}

class AnsweringService : public KVTServiceImpl {
  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        switch (code) {
            case kListeners:
                return reply->writeInt32(static_cast<int32_t>(listenerCount()));
            case kHeap:
                return reply->writeInt32(HeapBytes());
            default:
                return KVTServiceImpl::onTransact(code, data, reply, flags);
        }
    }
};

void RunService(const Signal& published) {
    const sp<KVTServiceImpl> service = new AnsweringService;
    StartPool();
    ASSERT_EQ(Manager()->addService(IKVTService::descriptor, service), OK);
    IPCThreadState::self()->flushCommands();
    published.raise();
    IPCThreadState::self()->joinThreadPool();
}

int32_t Ask(Question question) {
    const sp<IBinder> service = Manager()->checkService(IKVTService::descriptor);
    Parcel reply;
    return service == nullptr ? -1 : Call(service, question, &reply).readInt32();
}

void ExpectListeners(int32_t count) {
    EXPECT_TRUE(Eventually([&] { return Ask(kListeners) == count; })) << Ask(kListeners);
}

class Listener : public KVTListener {
  public:
    Listener() { ++sAlive; }
    ~Listener() override { --sAlive; }

    static int alive() { return sAlive; }

  private:
    inline static std::atomic<int> sAlive{0};
};

void RegisterNewListeners() {
    for (int i = 0; i < kRegistrationsPerDeath; ++i) {
        EXPECT_EQ(KVTManager::RegisterListener(new Listener), 0);
    }
}

/** What a process has, and the driver for it. */
using Holdings = std::map<std::string, int>;

Holdings HoldingsOf(pid_t pid) {
    if (auto* thread = IPCThreadState::selfOrNull(); thread != nullptr) {
        thread->flushCommands();  // if it is this process, it may have a buffer to give back
    }
    Holdings holdings{{"descriptors", ProcessCount(pid, "fd")}};
    const auto stats = DriverStats(pid);
    for (const char* kind : {"nodes", "refs", "buffers", "pending transactions"}) {
        const auto found = stats.find(kind);
        holdings[kind] = found == stats.end() ? -1 : std::stoi(found->second);
    }
    return holdings;
}

/** As above, once what the process has just started has come to rest. */
Holdings HoldingsAtRest(pid_t pid) {
    Holdings holdings = HoldingsOf(pid);
    int unchanged = 0;
    Eventually([&] {
        unchanged = std::exchange(holdings, HoldingsOf(pid)) == holdings ? unchanged + 1 : 0;
        return unchanged == 10;
    });
    return holdings;
}

void ExpectAgain(pid_t pid, const Holdings& before) {
    Eventually([&] { return HoldingsOf(pid) == before; });
    EXPECT_EQ(HoldingsOf(pid), before);
    // Threads of the pool come when they are needed, and stay. Two started it, and two
    // may be a sanitizer's.
    EXPECT_LE(ProcessCount(pid, "task"), kPoolThreads + 4);
}

/** No block is smaller than 32 bytes: so much at least would a leak in every cycle be. */
void ExpectHeap(int32_t after, int32_t before, int32_t cycles) {
    // The allocator keeps some kilobytes for each thread, which drowns a short run.
    if (kScale == 1) {
        EXPECT_LT(after - before, 32 * cycles);
    }
}

class LifetimeVm : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(access("/dev/binder", R_OK | W_OK), 0) << "run this through scripts/vm";
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);  // one line for each registration
        mManager.emplace([] { RunServiceManager(); });
    }

    void startService() {
        mService.emplace([this] { RunService(mPublished); });
        mPublished.await();
    }

    Signal mPublished;
    Signal mRegistered;
    std::optional<Child> mManager;
    std::optional<Child> mService;
};

TEST_F(LifetimeVm, DeadServicesLeaveNothingWithTheirClients) {
    Signal ready;
    Child client([&] {
        StartPool();
        Manager();
        ready.raise();
        const Holdings before = HoldingsAtRest(getpid());
        int32_t heap = 0;
        for (int death = 0; death < kDeaths; ++death) {
            mPublished.await();
            RegisterNewListeners();
            // Some die with everything registered, some with registrations on their way.
            if (death % 4 == 0) {
                ExpectListeners(kRegistrationsPerDeath);
                EXPECT_EQ(Listener::alive(), kRegistrationsPerDeath);
            }
            mRegistered.raise();
            ASSERT_TRUE(Eventually([] { return Listener::alive() == 0; })) << Listener::alive();
            heap = death == 0 ? HeapBytes() : heap;
        }
        ExpectAgain(getpid(), before);
        ExpectHeap(HeapBytes(), heap, kDeaths * kRegistrationsPerDeath);
    });
    ready.await();
    const Holdings managers = HoldingsAtRest(mManager->pid());
    for (int death = 0; death < kDeaths; ++death) {
        mService.emplace([this] { RunService(mPublished); });
        mRegistered.await();
        mService->kill();
    }
    EXPECT_EQ(client.wait(), 0);
    ExpectAgain(mManager->pid(), managers);
}

TEST_F(LifetimeVm, DeadClientsLeaveNothingWithTheService) {
    startService();
    const Holdings service = HoldingsAtRest(mService->pid());
    const Holdings managers = HoldingsAtRest(mManager->pid());
    Signal first;
    Signal last;
    Child observer([&] {
        const auto heapWithoutListeners = [](const Signal& when) {
            when.await();
            ExpectListeners(0);
            return Ask(kHeap);
        };
        const int32_t heap = heapWithoutListeners(first);
        ExpectHeap(heapWithoutListeners(last), heap, kDeaths * kRegistrationsPerDeath);
    });
    for (int death = 0; death < kDeaths; ++death) {
        Child client([this] {
            RegisterNewListeners();
            mRegistered.raise();
            pause();
        });
        mRegistered.await();
        client.kill();
        if (death == 0) {
            first.raise();
        }
    }
    last.raise();
    EXPECT_EQ(observer.wait(), 0);
    ExpectAgain(mService->pid(), service);
    ExpectAgain(mManager->pid(), managers);
}

TEST_F(LifetimeVm, UnregisteredManagersLeaveNothingAnywhere) {
    startService();
    const Holdings service = HoldingsAtRest(mService->pid());
    const Holdings managers = HoldingsAtRest(mManager->pid());
    InProcess([&] {
        StartPool();
        Manager();
        const Holdings own = HoldingsAtRest(getpid());
        const auto cycle = [](int times) {
            for (int i = 0; i < times; ++i) {
                const sp<Listener> listener = new Listener;
                const sp<KVTManagerImpl> manager = new KVTManagerImpl;
                EXPECT_EQ(manager->RegisterListener(listener), 0);
                EXPECT_EQ(manager->UnRegisterListener(listener), 0);
            }
            ExpectListeners(0);
            EXPECT_EQ(Listener::alive(), 0);
        };
        cycle(100);
        const int32_t ownHeap = HeapBytes();
        const int32_t serviceHeap = Ask(kHeap);
        cycle(kCycles);
        ExpectAgain(getpid(), own);
        ExpectAgain(mService->pid(), service);
        ExpectAgain(mManager->pid(), managers);
        ExpectHeap(HeapBytes(), ownHeap, kCycles);
        ExpectHeap(Ask(kHeap), serviceHeap, kCycles);
    });
}

}  // namespace
}  // namespace KVT::test
