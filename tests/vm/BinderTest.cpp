// SPDX-License-Identifier: Apache-2.0
// The runtime on a real driver, between real processes. Every process of a test is forked, clients
// too, because the one that forks must not use binder itself.
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <random>
#include <thread>

#include "linux/servicemanager/ServiceManager.h"
#include "sync/Clock.h"
#include "tests/vm/Processes.h"
#include "tests/vm/Workshop.h"

namespace KVT::test {
namespace {

using namespace android;

class BinderVm : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(access("/dev/binder", R_OK | W_OK), 0) << "run this through scripts/vm";
        mManager.emplace([] { RunServiceManager(); });
    }

    /** Runs the body in a process of its own and expects it to succeed. */
    static void client(const std::function<void()>& body) {
        EXPECT_EQ(Child(body).wait(), 0) << "see the client's failures above";
    }

    std::optional<Child> mManager;
};

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>&) override { ++mDeaths; }
    int deaths() const { return mDeaths; }

  private:
    std::atomic<int> mDeaths{0};
};

TEST_F(BinderVm, EchoesEveryByte) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        EXPECT_EQ(shop->localBinder(), nullptr);
        EXPECT_EQ(shop->pingBinder(), OK);
        EXPECT_EQ(shop->getInterfaceDescriptor(), String16("test.Workshop"));
        for (const size_t size : {0u, 1u, 4u, 100u, 4096u, 500'000u}) {
            Parcel data;
            Parcel reply;
            const std::string bytes(size, 'x');
            data.write(bytes.data(), size);
            ASSERT_EQ(shop->transact(kEcho, data, &reply), OK) << size;
            ASSERT_EQ(reply.dataSize(), data.dataSize());
            EXPECT_TRUE(std::equal(data.data(), data.data() + data.dataSize(), reply.data()));
        }
    });
}

TEST_F(BinderVm, ServesCallsThatItsOwnCallCauses) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        // No pool here: the thread that waits for the reply is the only one.
        const sp<Workshop> own = new Workshop;
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(own);
        data.writeInt32(10);
        ASSERT_EQ(Find("shop")->transact(kBounce, data, &reply), OK);
        EXPECT_EQ(reply.readInt32(), 11);
    });
}

TEST_F(BinderVm, RefusesCallsThatNestTooDeep) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        const sp<Workshop> own = new Workshop;
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(own);
        data.writeInt32(100'000);
        EXPECT_EQ(shop->transact(kBounce, data, &reply), FAILED_TRANSACTION);
        EXPECT_EQ(shop->pingBinder(), OK);
    });
}

TEST_F(BinderVm, AQueueOfOneWayCallsKeepsItsOrderAndNobodyElseWaiting) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        constexpr int32_t kCalls = 5000;
        constexpr int32_t kGuests = 2;
        // The first one waits for a guest, and all the others behind it.
        Parcel first;
        first.writeInt32(kGuests);
        ASSERT_EQ(shop->transact(kMeet, first, nullptr, IBinder::FLAG_ONEWAY), OK);
        for (int32_t i = 0; i < kCalls; ++i) {
            Parcel data;
            data.writeInt32(i);
            ASSERT_EQ(shop->transact(kAppend, data, nullptr, IBinder::FLAG_ONEWAY), OK) << i;
        }
        Parcel reply;
        for (int i = 0; i < 200; ++i) {
            ASSERT_EQ(Call(shop, kAppended, &reply).readInt32(), 0);
        }
        Call(shop, kMeet, &reply, kGuests);
        EXPECT_TRUE(
            Eventually([&] { return Call(shop, kAppended, &reply).readInt32() == kCalls; }));
        for (int32_t i = 0; i < kCalls; ++i) {
            ASSERT_EQ(reply.readInt32(), i);
        }
    });
}

TEST_F(BinderVm, OneWayCallsOfSeveralSendersKeepTheOrderOfEach) {
    static constexpr int32_t kSenders = 3;
    static constexpr int32_t kCalls = 1000;
    Child server([] { RunWorkshop("shop"); });
    std::array<std::optional<Child>, kSenders> senders;
    for (int32_t sender = 0; sender < kSenders; ++sender) {
        senders[static_cast<size_t>(sender)].emplace([sender] {
            const sp<IBinder> shop = Find("shop");
            for (int32_t i = 0; i < kCalls; ++i) {
                Parcel data;
                data.writeInt32(i * kSenders + sender);
                ASSERT_EQ(shop->transact(kAppend, data, nullptr, IBinder::FLAG_ONEWAY), OK);
            }
        });
    }
    client([] {
        const sp<IBinder> shop = Find("shop");
        Parcel reply;
        EXPECT_TRUE(Eventually(
            [&] { return Call(shop, kAppended, &reply).readInt32() == kSenders * kCalls; }));
        std::array<int32_t, kSenders> next{};
        while (reply.dataAvail() > 0) {
            const int32_t value = reply.readInt32();
            ASSERT_EQ(value / kSenders, next[static_cast<size_t>(value % kSenders)]++);
        }
    });
}

TEST_F(BinderVm, KeepsObjectsAsLongAsSomeoneElsewhereHoldsThem) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        Parcel reply;
        {
            sp<IBinder> product = Call(shop, kMake, &reply).readStrongBinder();
            reply.freeData();
            ASSERT_NE(product, nullptr);
            EXPECT_EQ(Call(shop, kAlive, &reply).readInt32(), 1);
        }
        EXPECT_TRUE(Eventually([&] { return Call(shop, kAlive, &reply).readInt32() == 0; }));
    });
    client([] {
        const sp<IBinder> shop = Find("shop");
        wp<Workshop> own;
        {
            sp<Workshop> given = new Workshop;
            own = given;
            Parcel data;
            Parcel reply;
            data.writeStrongBinder(given);
            ASSERT_EQ(shop->transact(kKeep, data, &reply), OK);
        }
        EXPECT_NE(own.promote(), nullptr);
        ProcessState::self()->startThreadPool();
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(nullptr);
        ASSERT_EQ(shop->transact(kKeep, data, &reply), OK);
        EXPECT_TRUE(Eventually([&] { return own.promote() == nullptr; }));
    });
}

TEST_F(BinderVm, KnowsAnObjectWhereverItComesFrom) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        EXPECT_EQ(shop, Find("shop"));
        const sp<IBinder> own = new Workshop;
        for (const sp<IBinder>& sent : {own, shop, sp<IBinder>()}) {
            Parcel data;
            Parcel reply;
            data.writeStrongBinder(sent);
            ASSERT_EQ(shop->transact(kReturn, data, &reply), OK);
            EXPECT_EQ(reply.readStrongBinder(), sent);
        }
    });
}

TEST_F(BinderVm, TellsDeathsOnceToThoseWhoStillWantToKnow) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        ProcessState::self()->startThreadPool();
        const sp<IBinder> shop = Find("shop");
        const sp<Watcher> told = new Watcher;
        const sp<Watcher> left = new Watcher;
        EXPECT_EQ(shop->linkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), NAME_NOT_FOUND);
        EXPECT_EQ(shop->linkToDeath(told), OK);
        EXPECT_EQ(shop->linkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), OK);

        Parcel data;
        Parcel reply;
        EXPECT_EQ(shop->transact(kDie, data, &reply), DEAD_OBJECT);
        EXPECT_TRUE(Eventually([&] { return told->deaths() == 1; }));
        EXPECT_EQ(left->deaths(), 0);
        EXPECT_FALSE(shop->isBinderAlive());
        EXPECT_EQ(shop->transact(kEcho, data, &reply), DEAD_OBJECT);
        EXPECT_EQ(shop->linkToDeath(left), DEAD_OBJECT);
        EXPECT_TRUE(
            Eventually([] { return Manager()->checkService(String16("shop")) == nullptr; }));
    });
}

TEST_F(BinderVm, TellsTheDeathOfAnObjectThatIsNotHeldAnyMore) {
    Child server([] { RunWorkshop("shop"); });
    client([pid = server.pid()] {
        ProcessState::self()->startThreadPool();
        const sp<Watcher> unheld = new Watcher;
        const sp<Watcher> weaklyHeld = new Watcher;
        wp<IBinder> weak;
        const int deaths = DriverCount("death");
        {
            const sp<IBinder> shop = Find("shop");
            Parcel reply;
            EXPECT_EQ(Call(shop, kMake, &reply).readStrongBinder()->linkToDeath(unheld), OK);
            sp<IBinder> product = Call(shop, kMake, &reply).readStrongBinder();
            EXPECT_EQ(product->linkToDeath(weaklyHeld), OK);
            weak = product;
            product.clear();
            reply.freeData();
            IPCThreadState::self()->flushCommands();
            EXPECT_TRUE(Eventually([&] { return Call(shop, kAlive, &reply).readInt32() == 0; }));
        }
        kill(pid, SIGKILL);
        EXPECT_TRUE(Eventually([&] { return unheld->deaths() == 1 && weaklyHeld->deaths() == 1; }))
            << unheld->deaths() << ", " << weaklyHeld->deaths();
        EXPECT_EQ(weak.promote(), nullptr);
        EXPECT_TRUE(Eventually([&] { return DriverCount("death") <= deaths; }));
    });
}

TEST_F(BinderVm, CarriesFileDescriptorsAndClosesItsOwn) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        Parcel reply;
        const int32_t before = Call(shop, kOpenFiles, &reply).readInt32();
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        for (int i = 0; i < 100; ++i) {
            Parcel data;
            data.writeDupFileDescriptor(ends[1]);
            ASSERT_EQ(shop->transact(kWriteTo, data, &reply), OK);
            char text[6] = {};
            ASSERT_EQ(read(ends[0], text, 5), 5);
            EXPECT_STREQ(text, "hello");
        }
        EXPECT_EQ(Call(shop, kOpenFiles, &reply).readInt32(), before);
        Vector<String16> arguments;
        arguments.add(String16("-a"));
        EXPECT_EQ(shop->dump(ends[1], arguments), OK);
    });
}

TEST_F(BinderVm, PassesStatusesOn) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> shop = Find("shop");
        for (const status_t status : {status_t{OK}, status_t{PERMISSION_DENIED}, status_t{-4711}}) {
            Parcel data;
            Parcel reply;
            data.writeInt32(status);
            EXPECT_EQ(shop->transact(kFail, data, &reply), status);
            EXPECT_EQ(reply.dataSize(), 0u);
        }
        Parcel data;
        Parcel reply;
        EXPECT_EQ(shop->transact(4711, data, &reply), UNKNOWN_TRANSACTION);
        ASSERT_NE(data.writeInplace(2 << 20), nullptr);
        EXPECT_EQ(shop->transact(kEcho, data, &reply), FAILED_TRANSACTION);
        data.freeData();
        data.writeInt32(2 << 20);
        EXPECT_EQ(shop->transact(kBig, data, &reply), FAILED_TRANSACTION);
        EXPECT_EQ(shop->pingBinder(), OK);
        EXPECT_EQ(ProcessState::self()->getStrongProxyForHandle(4711)->pingBinder(),
                  FAILED_TRANSACTION);
    });
}

TEST_F(BinderVm, NamesTheCaller) {
    static constexpr uid_t kUid = 12345;
    Child server([] { RunWorkshop("shop"); });
    client([] {
        ASSERT_EQ(setuid(kUid), 0);
        Parcel reply;
        Call(Find("shop"), kWho, &reply);
        EXPECT_EQ(reply.readInt32(), getpid());
        EXPECT_EQ(reply.readInt32(), static_cast<int32_t>(kUid));
        IPCThreadState* thread = IPCThreadState::self();
        EXPECT_EQ(thread->getCallingPid(), getpid());
        thread->restoreCallingIdentity(thread->clearCallingIdentity());
        EXPECT_EQ(thread->getCallingUid(), kUid);
    });
}

TEST_F(BinderVm, GrowsThePoolToItsLimitAndNoFurther) {
    // One that started the pool, one that joined it, and fifteen that the driver asks for.
    static constexpr int32_t kThreads = 17;
    static constexpr int32_t kTooMany = 4;
    Child server([] { RunWorkshop("shop"); });
    client([pid = server.pid()] {
        const sp<IBinder> shop = Find("shop");
        std::vector<std::thread> callers;
        for (int32_t i = 0; i < kThreads + kTooMany; ++i) {
            callers.emplace_back([&shop] {
                Parcel data;
                Parcel reply;
                data.writeInt32(kThreads + 1);  // one more thread, and they would meet
                EXPECT_EQ(shop->transact(kMeet, data, &reply), DEAD_OBJECT);
            });
        }
        EXPECT_TRUE(Eventually([pid] {
            auto stats = DriverStats(pid);
            return stats["pending transactions"] == std::to_string(kTooMany) &&
                   stats["threads"] == std::to_string(kThreads) &&
                   stats["requested threads"] == "0+15/15";
        })) << DriverStats(pid)["pending transactions"]
            << " pending, threads " << DriverStats(pid)["threads"];
        EXPECT_LE(ProcessCount(pid, "task"), kThreads + 2) << "two may be a sanitizer's";
        kill(pid, SIGKILL);
        for (std::thread& caller : callers) {
            caller.join();
        }
    });
}

TEST_F(BinderVm, LeavesNothingInTheDriver) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        // Releases reach a process through its pool.
        ProcessState::self()->startThreadPool();
        const sp<IBinder> shop = Find("shop");
        const int nodes = DriverCount("node");
        const int references = DriverCount("ref");
        const int deaths = DriverCount("death");
        Parcel reply;
        constexpr int kObjects = 3000;
        for (int i = 0; i < kObjects; ++i) {
            const sp<IBinder> product = Call(shop, kMake, &reply).readStrongBinder();
            const sp<Watcher> watcher = new Watcher;
            ASSERT_EQ(product->linkToDeath(watcher), OK);
            ASSERT_EQ(product->unlinkToDeath(watcher), OK);
            Parcel data;
            data.writeStrongBinder(new Workshop);
            ASSERT_EQ(shop->transact(kReturn, data, &reply), OK);
            reply.freeData();
        }
        EXPECT_TRUE(Eventually([&] {
            IPCThreadState::self()->flushCommands();
            return Call(shop, kAlive, &reply).readInt32() == 0 && DriverCount("node") <= nodes &&
                   DriverCount("ref") <= references && DriverCount("death") <= deaths;
        })) << DriverCount("node")
            << " nodes of " << nodes << ", " << DriverCount("ref") << " references of "
            << references << ", " << DriverCount("death") << " deaths of " << deaths;
    });
}

TEST_F(BinderVm, SurvivesGarbage) {
    Child server([] { RunWorkshop("shop"); });
    client([] {
        const sp<IBinder> targets[] = {Find("shop"),
                                       ProcessState::self()->getContextObject(nullptr)};
        std::mt19937_64 random(1);
        for (int i = 0; i < 2000; ++i) {
            std::vector<uint8_t> bytes(random() % 200);
            for (uint8_t& byte : bytes) {
                byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : 0);
            }
            Parcel data;
            Parcel reply;
            data.setData(bytes.data(), bytes.size());
            const auto code = static_cast<uint32_t>(random() % kFail);
            targets[i % 2]->transact(code, data, &reply);
        }
        EXPECT_EQ(targets[0]->pingBinder(), OK);
        EXPECT_EQ(targets[1]->pingBinder(), OK);
    });
}

TEST_F(BinderVm, StopsServingWhenTold) {
    client([] {
        ASSERT_NE(Manager(), nullptr);
        ProcessState::self()->startThreadPool();
        std::thread stopper([] {
            SleepFor(100 * kNsPerMs);
            IPCThreadState::self()->stopProcess();
        });
        IPCThreadState::self()->joinThreadPool();
        stopper.join();
        EXPECT_NE(Manager()->addService(String16("late"), new Workshop), OK);
    });
}

}  // namespace
}  // namespace KVT::test
