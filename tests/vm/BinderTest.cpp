// SPDX-License-Identifier: Apache-2.0
// The runtime on a real driver, between real processes. Every process of a test is forked, clients
// too, because the one that forks must not use binder itself.
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "linux/servicemanager/ServiceManager.h"
#include "tests/vm/Processes.h"
#include "tests/vm/Workshop.h"

namespace KVT::test {
namespace {

using namespace android;

class BinderVm : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(access("/dev/binder", R_OK | W_OK), 0) << "run this through scripts/vm";
    }

    static void client(const std::function<void(const sp<IBinder>& shop)>& body) {
        InProcess([&] { body(Find("shop")); });
    }

    Child mManager{[] { RunServiceManager(); }};
    Child mServer{[] { RunWorkshop("shop"); }};
};

/** Has the shop do one work on an object. */
Parcel& Give(const sp<IBinder>& shop, uint32_t code, const sp<IBinder>& object, Parcel* reply) {
    Parcel data;
    data.writeStrongBinder(object);
    EXPECT_EQ(shop->transact(code, data, reply), OK);
    return *reply;
}

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>&) override { ++mDeaths; }
    int deaths() const { return mDeaths; }

  private:
    std::atomic<int> mDeaths{0};
};

TEST_F(BinderVm, EchoesEveryByte) {
    client([](const sp<IBinder>& shop) {
        EXPECT_EQ(shop->localBinder(), nullptr);
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

TEST_F(BinderVm, NestsCallsButNotTooDeep) {
    client([](const sp<IBinder>& shop) {
        // No pool here: the thread that waits for the reply is the only one.
        const sp<IBinder> own = NewWorkshop();
        for (const auto& [times, expected] : {std::pair(10, OK), {100'000, FAILED_TRANSACTION}}) {
            Parcel data;
            Parcel reply;
            data.writeStrongBinder(own);
            data.writeInt32(times);
            EXPECT_EQ(shop->transact(kBounce, data, &reply), expected);
            EXPECT_EQ(reply.readInt32(), expected == OK ? times + 1 : 0);
        }
        EXPECT_EQ(shop->pingBinder(), OK);
    });
}

TEST_F(BinderVm, AQueueOfOneWayCallsKeepsItsOrderAndNobodyElseWaiting) {
    client([](const sp<IBinder>& shop) {
        constexpr int32_t kCalls = 5000;
        constexpr int32_t kGuests = 2;
        const auto send = [&](uint32_t code, int32_t value) {
            Parcel data;
            data.writeInt32(value);
            ASSERT_EQ(shop->transact(code, data, nullptr, IBinder::FLAG_ONEWAY), OK) << value;
        };
        // The first one waits for a guest, and all the others behind it.
        send(kMeet, kGuests);
        for (int32_t i = 0; i < kCalls; ++i) {
            send(kAppend, i);
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

TEST_F(BinderVm, KeepsObjectsAsLongAsSomeoneElsewhereHoldsThem) {
    client([](const sp<IBinder>& shop) {
        ProcessState::self()->startThreadPool();
        sp<IBinder> given = NewWorkshop();
        const wp<IBinder> own = given;
        Parcel reply;
        Give(shop, kKeep, given, &reply);
        given.clear();
        EXPECT_NE(own.promote(), nullptr);
        Give(shop, kKeep, nullptr, &reply);
        EXPECT_TRUE(Eventually([&] { return own.promote() == nullptr; }));
    });
}

TEST_F(BinderVm, KnowsAnObjectWhereverItComesFrom) {
    client([](const sp<IBinder>& shop) {
        EXPECT_EQ(shop, Find("shop"));
        for (const sp<IBinder>& sent : {NewWorkshop(), shop, sp<IBinder>()}) {
            Parcel reply;
            EXPECT_EQ(Give(shop, kReturn, sent, &reply).readStrongBinder(), sent);
        }
    });
}

TEST_F(BinderVm, TellsDeathsOnceToThoseWhoStillWantToKnow) {
    client([this](const sp<IBinder>& shop) {
        ProcessState::self()->startThreadPool();
        const int deaths = DriverCount("death");
        const sp<Watcher> told = new Watcher;
        const sp<Watcher> left = new Watcher;
        // Asked again while the driver has not yet confirmed the first withdrawal.
        EXPECT_EQ(shop->linkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), OK);
        EXPECT_EQ(shop->linkToDeath(told), OK);
        EXPECT_EQ(shop->linkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), OK);
        const sp<Watcher> ofUnheld = new Watcher;
        const sp<Watcher> ofWeaklyHeld = new Watcher;
        wp<IBinder> weak;
        {
            Parcel reply;
            EXPECT_EQ(Call(shop, kMake, &reply).readStrongBinder()->linkToDeath(ofUnheld), OK);
            const sp<IBinder> product = Call(shop, kMake, &reply).readStrongBinder();
            EXPECT_EQ(product->linkToDeath(ofWeaklyHeld), OK);
            weak = product;
            EXPECT_GE(Call(shop, kAlive, &reply).readInt32(), 1);
        }
        Parcel reply;
        EXPECT_TRUE(Eventually([&] { return Call(shop, kAlive, &reply).readInt32() == 0; }));
        kill(mServer.pid(), SIGKILL);
        for (const auto& watcher : {told, ofUnheld, ofWeaklyHeld}) {
            EXPECT_TRUE(Eventually([&] { return watcher->deaths() == 1; })) << watcher->deaths();
        }
        EXPECT_EQ(left->deaths(), 0);
        EXPECT_EQ(weak.promote(), nullptr);
        EXPECT_EQ(shop->pingBinder(), DEAD_OBJECT);
        EXPECT_TRUE(Eventually([&] { return DriverCount("death") <= deaths; }));
    });
}

TEST_F(BinderVm, CarriesFileDescriptorsAndClosesItsOwn) {
    client([this](const sp<IBinder>& shop) {
        const int before = ProcessCount(mServer.pid(), "fd");
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        for (int i = 0; i < 100; ++i) {
            Parcel data;
            Parcel reply;
            data.writeDupFileDescriptor(ends[1]);
            ASSERT_EQ(shop->transact(kWriteTo, data, &reply), OK);
            char text[6] = {};
            ASSERT_EQ(read(ends[0], text, 5), 5);
            EXPECT_STREQ(text, "hello");
        }
        EXPECT_EQ(ProcessCount(mServer.pid(), "fd"), before);
    });
}

TEST_F(BinderVm, PassesStatusesOn) {
    client([](const sp<IBinder>& shop) {
        const sp<IBinder> nobody = ProcessState::self()->getStrongProxyForHandle(4711);
        constexpr int32_t kTooMuch = 2 << 20;
        Parcel large;
        ASSERT_NE(large.writeInplace(kTooMuch), nullptr);
        Parcel reply;
        EXPECT_EQ(shop->transact(kEcho, large, &reply), FAILED_TRANSACTION);
        const struct {
            const sp<IBinder>& target;
            uint32_t code;
            int32_t argument;
            status_t expected;
        } cases[] = {
            {shop, kFail, OK, OK},
            {shop, kFail, PERMISSION_DENIED, PERMISSION_DENIED},
            {shop, kFail, -4711, -4711},
            {shop, 4711, 0, UNKNOWN_TRANSACTION},
            {shop, kBig, kTooMuch, FAILED_TRANSACTION},
            {nobody, kEcho, 0, FAILED_TRANSACTION},
            {shop, IBinder::PING_TRANSACTION, 0, OK},
        };
        for (const auto& row : cases) {
            Parcel data;
            data.writeInt32(row.argument);
            EXPECT_EQ(row.target->transact(row.code, data, &reply), row.expected) << row.code;
        }
    });
}

TEST_F(BinderVm, GrowsThePoolToItsLimitAndNoFurther) {
    client([pid = mServer.pid()](const sp<IBinder>& shop) {
        // One that started the pool, one that joined it, and fifteen that the driver asks for.
        constexpr int32_t kThreads = 17;
        constexpr int32_t kTooMany = 4;
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
    client([](const sp<IBinder>& shop) {
        // Releases reach a process through its pool.
        ProcessState::self()->startThreadPool();
        const auto counts = [] {
            IPCThreadState::self()->flushCommands();
            return std::vector{DriverCount("node"), DriverCount("ref"), DriverCount("death")};
        };
        const std::vector<int> before = counts();
        Parcel reply;
        constexpr int kObjects = 3000;
        for (int i = 0; i < kObjects; ++i) {
            const sp<IBinder> product = Call(shop, kMake, &reply).readStrongBinder();
            const sp<Watcher> watcher = new Watcher;
            ASSERT_EQ(product->linkToDeath(watcher), OK);
            ASSERT_EQ(product->unlinkToDeath(watcher), OK);
            Give(shop, kReturn, NewWorkshop(), &reply).freeData();
        }
        EXPECT_TRUE(Eventually([&] {
            const std::vector<int> now = counts();
            return Call(shop, kAlive, &reply).readInt32() == 0 && now[0] <= before[0] &&
                   now[1] <= before[1] && now[2] <= before[2];
        })) << testing::PrintToString(counts())
            << " nodes, references, deaths of " << testing::PrintToString(before);
    });
}

}  // namespace
}  // namespace KVT::test
