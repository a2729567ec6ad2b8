// SPDX-License-Identifier: Apache-2.0
// The runtime and the service manager on a real driver, between real processes. Every process of a
// test is forked, clients too, because the one that forks must not use binder itself.
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "linux/servicemanager/ServiceManager.h"
#include "sync/Condition.h"
#include "tests/support/Bytes.h"
#include "tests/vm/Processes.h"

namespace KVT::test {
namespace {

using namespace android;

/** What a workshop does, and its requests and replies. */
enum Work : uint32_t {
    kEcho = 1,  // any fields -> the same bytes
    kPing,      // binder; the call's status is that of a ping
    kPid,       // -> int32 pid of the workshop
    kMeet,      // int32 n; waits until n calls wait together
    kBounce,    // binder; calls it in turn, until a call is refused; each then notes that one-way
    kNote,      // one-way
    kNotes,     // -> int32 how many there were
    kNice,      // -> int32 nice value of the thread that serves this
};

/** A service to play with. */
class Workshop : public BBinder {
  protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        switch (code) {
            case kEcho:
                return reply->write(data.data(), data.dataSize());
            case kPing:
                return data.readStrongBinder()->pingBinder();
            case kPid:
                return reply->writeInt32(getpid());
            case kMeet:
                meet(data.readInt32());
                return OK;
            case kBounce:
                return bounce(data.readStrongBinder());
            case kNote:
                ++mNotes;
                return OK;
            case kNotes:
                return reply->writeInt32(mNotes);
            case kNice:
                return reply->writeInt32(getpriority(PRIO_PROCESS, 0));
            default:
                return BBinder::onTransact(code, data, reply, flags);
        }
    }

  private:
    void meet(int32_t guests) {
        MutexLock lock(mMutex);
        if (++mWaiting < guests) {
            mMet.wait(mMutex);
        }
        mMet.signal();  // each wakes the next
    }

    status_t bounce(const sp<IBinder>& peer) {
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(this);
        const status_t status = peer->transact(kBounce, data, &reply);
        EXPECT_TRUE(status == OK || status == FAILED_TRANSACTION) << status;
        return peer->transact(kNote, data, nullptr, FLAG_ONEWAY);
    }

    std::atomic<int32_t> mNotes{0};
    Mutex mMutex;
    Condition mMet GUARDED_BY(mMutex);
    int32_t mWaiting GUARDED_BY(mMutex) = 0;
};

/** Publishes a workshop under the name "shop" and serves until killed. */
void RunWorkshop() {
    ProcessState::self()->startThreadPool();
    IPCThreadState::disableBackgroundScheduling(true);
    ASSERT_EQ(Manager()->addService(String16("shop"), new Workshop), OK);
    IPCThreadState::self()->joinThreadPool();
}

/** The workshop, waited for. */
sp<IBinder> Shop() {
    sp<IBinder> found = Manager()->getService(String16("shop"));
    EXPECT_NE(found, nullptr);
    return found;
}

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>&) override { ++mDeaths; }
    int deaths() const { return mDeaths; }

  private:
    std::atomic<int> mDeaths{0};
};

class ServiceManagerVm : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(access("/dev/binder", R_OK | W_OK), 0) << "run this through scripts/vm";
    }

    std::optional<Child> mManager{[] { RunServiceManager(); }};
};

class BinderVm : public ServiceManagerVm {
  protected:
    Child mServer{RunWorkshop};
};

TEST_F(BinderVm, CarriesAsMuchAsFits) {
    InProcess([] {
        const sp<IBinder> shop = Shop();
        const struct {
            size_t size;
            status_t expected;
        } cases[] = {{500'000, OK}, {2 << 20, FAILED_TRANSACTION}, {1, OK}};
        for (const auto& row : cases) {
            Parcel data;
            Parcel reply;
            memset(data.writeInplace(row.size), 'x', row.size);
            EXPECT_EQ(shop->transact(kEcho, data, &reply), row.expected) << row.size;
            EXPECT_TRUE(row.expected != OK || BytesOf(reply) == BytesOf(data)) << row.size;
        }
    });
}

TEST_F(BinderVm, ServesWhileItWaits) {
    InProcess([] {
        // No pool here: the thread that waits for the reply is the only one.
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(new Workshop);
        EXPECT_EQ(Shop()->transact(kPing, data, &reply), OK);
    });
}

TEST_F(BinderVm, GoesOnAfterCallsThatNestedTooDeep) {
    InProcess([] {
        const sp<IBinder> shop = Shop();
        const sp<Workshop> own = new Workshop;
        for (int32_t round = 1; round <= 3; ++round) {
            Parcel data;
            Parcel reply;
            data.writeStrongBinder(own);
            EXPECT_EQ(shop->transact(kBounce, data, &reply), OK);
            // As deep as the shop serves, and each call from here was followed by a note.
            constexpr int32_t kDeepest = 100;
            EXPECT_TRUE(Eventually([&] {
                return Call(shop, kNotes, &reply).readInt32() == round * kDeepest;
            })) << Call(shop, kNotes, &reply).readInt32();
        }
    });
}

TEST_F(BinderVm, TellsADeathOnceToThoseWhoStillWantToKnow) {
    InProcess([this] {
        ProcessState::self()->startThreadPool();
        const sp<IBinder> shop = Shop();
        const sp<Watcher> told = new Watcher;
        const sp<Watcher> left = new Watcher;
        EXPECT_EQ(shop->linkToDeath(left), OK);
        EXPECT_EQ(shop->unlinkToDeath(left), OK);
        // Asked again while the driver has not yet confirmed the withdrawal.
        EXPECT_EQ(shop->linkToDeath(told), OK);
        kill(mServer.pid(), SIGKILL);
        EXPECT_TRUE(Eventually([&] { return told->deaths() == 1; })) << told->deaths();
        EXPECT_EQ(left->deaths(), 0);
        EXPECT_EQ(shop->pingBinder(), DEAD_OBJECT);
    });
}

TEST_F(BinderVm, GrowsThePoolToItsLimit) {
    InProcess([] {
        const sp<IBinder> shop = Shop();
        // One that started the pool, one that joined it, and fifteen that the driver asks for.
        constexpr int32_t kThreads = 17;
        std::vector<std::thread> callers;
        for (int32_t i = 0; i < kThreads; ++i) {
            callers.emplace_back([&shop] {
                Parcel reply;
                Call(shop, kMeet, &reply, kThreads);
            });
        }
        for (std::thread& caller : callers) {
            caller.join();
        }
    });
}

std::string Names(int dumpFlags) {
    std::string names;
    for (const String16& name : Manager()->listServices(dumpFlags)) {
        names += String8(name).string();
        names += ' ';
    }
    return names;
}

constexpr int kAll = IServiceManager::DUMP_FLAG_PRIORITY_ALL;
constexpr int kCritical = IServiceManager::DUMP_FLAG_PRIORITY_CRITICAL;

status_t Add(const std::string& name, const sp<IBinder>& service, bool allowIsolated = false,
             int priority = IServiceManager::DUMP_FLAG_PRIORITY_DEFAULT) {
    return Manager()->addService(String16(name.c_str()), service, allowIsolated, priority);
}

sp<IBinder> Check(const char* name) {
    return Manager()->checkService(String16(name));
}

TEST_F(BinderVm, ServesLowPrioritiesAtItsOwn) {
    InProcess([] {
        ASSERT_EQ(setpriority(PRIO_PROCESS, 0, 10), 0);
        Parcel reply;
        EXPECT_EQ(Call(Shop(), kNice, &reply).readInt32(), 0);
    });
}

TEST_F(ServiceManagerVm, KeepsTheDirectory) {
    InProcess([] {
        const sp<IBinder> first = new Workshop;
        const sp<IBinder> second = new Workshop;
        EXPECT_EQ(Check("zebra"), nullptr);
        EXPECT_EQ(Add("zebra", first), OK);
        EXPECT_EQ(Check("zebra"), first);
        EXPECT_EQ(Add("zebra", second), OK);
        EXPECT_EQ(Manager()->getService(String16("zebra")), second);
        EXPECT_EQ(Add("ant", first, true, kCritical), OK);
        EXPECT_EQ(Names(kAll), "ant zebra ");
        EXPECT_EQ(Names(kCritical), "ant ");
        EXPECT_EQ(Names(0), "");
    });
}

TEST_F(ServiceManagerVm, GrantsByApplicationId) {
    InProcess([] {
        const sp<IBinder> service = new Workshop;
        EXPECT_EQ(Add("closed", service), OK);
        EXPECT_EQ(Add("open", service, true), OK);
        const struct {
            uid_t uid;
            bool adds;
            bool isIsolated;
        } callers[] = {{1'000, true, false},    {9'999, true, false},   {10'000, false, false},
                       {89'999, false, false},  {90'000, false, true},  {99'999, false, true},
                       {100'000, true, false},  {109'999, true, false}, {110'000, false, false},
                       {1'090'000, false, true}};
        for (const auto& caller : callers) {
            SCOPED_TRACE(caller.uid);
            ASSERT_EQ(seteuid(caller.uid), 0);
            EXPECT_EQ(Add("closed", service), caller.adds ? OK : PERMISSION_DENIED);
            EXPECT_EQ(Check("closed"), caller.isIsolated ? nullptr : service);
            EXPECT_EQ(Check("open"), service);
            ASSERT_EQ(seteuid(0), 0);
        }
    });
}

TEST_F(ServiceManagerVm, HasRoomForSoManyOfAProcessAndInAll) {
    constexpr int kOfProcess = 512;
    constexpr int kProcesses = 2;
    Signal full;
    const auto fill = [&](int process) {
        const sp<IBinder> service = new Workshop;
        const auto add = [&](int i) {
            return Add("p" + std::to_string(process) + "." + std::to_string(i), service);
        };
        for (int i = 0; i < kOfProcess; ++i) {
            ASSERT_EQ(add(i), OK) << i;
        }
        EXPECT_EQ(add(kOfProcess), PERMISSION_DENIED);
        EXPECT_EQ(add(0), OK) << "in its own place";
        full.raise();
        pause();
    };
    std::optional<Child> processes[kProcesses];
    for (int i = 0; i < kProcesses; ++i) {
        processes[i].emplace([&, i] { fill(i); });
        full.await();
    }
    InProcess([] {
        EXPECT_EQ(Add("one more", new Workshop), PERMISSION_DENIED);
        EXPECT_EQ(Add("p1.1", new Workshop), OK) << "in another's place";
    });
    processes[0].reset();
    InProcess([] { EXPECT_TRUE(Eventually([] { return Add("one more", new Workshop) == OK; })); });
}

TEST_F(ServiceManagerVm, RefusesBadRegistrations) {
    InProcess([] {
        const std::string longest(127, 'n');
        EXPECT_EQ(Add("", new Workshop), -1);
        EXPECT_EQ(Add(longest + "n", new Workshop), -1);
        EXPECT_EQ(Add("none", nullptr), -1);
        EXPECT_EQ(Names(kAll), "");
        EXPECT_EQ(Add(longest, new Workshop), OK);

        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(String16("android.os.IServiceManage"));
        data.writeString16(String16(longest.c_str()));
        EXPECT_EQ(IInterface::asBinder(Manager())->transact(
                      IServiceManager::CHECK_SERVICE_TRANSACTION, data, &reply),
                  PERMISSION_DENIED);
    });
}

TEST_F(ServiceManagerVm, SurvivesGarbage) {
    InProcess([] {
        const sp<IBinder> manager = IInterface::asBinder(Manager());
        std::mt19937 random(1);
        for (int i = 0; i < 500; ++i) {
            Parcel data;
            Parcel reply;
            if (i % 4 != 0) {
                data.writeInterfaceToken(IServiceManager::descriptor);
            }
            for (auto words = random() % 50; words > 0; --words) {
                data.writeInt32(static_cast<int32_t>(random() % 2 == 0 ? random() : random() % 9));
            }
            manager->transact(static_cast<uint32_t>(random() % 6), data, &reply);
        }
        EXPECT_EQ(manager->pingBinder(), OK);
    });
}

TEST_F(ServiceManagerVm, ForgetsTheDeadButNotTheirSuccessors) {
    Child first(RunWorkshop);
    InProcess([] { Shop(); });
    Child second([] {
        ASSERT_EQ(Add("other", new Workshop), OK);
        RunWorkshop();
    });
    const auto shopIsOf = [](pid_t pid) {
        Parcel reply;
        return Eventually([&] { return Call(Shop(), kPid, &reply).readInt32() == pid; });
    };
    InProcess([&] { EXPECT_TRUE(shopIsOf(second.pid())); });
    first.kill();
    InProcess([&] { EXPECT_TRUE(shopIsOf(second.pid())); });
    second.kill();
    InProcess([] { EXPECT_TRUE(Eventually([] { return Names(kAll).empty(); })); });
}

TEST_F(ServiceManagerVm, IsTheOnlyOneAndCanBeReplaced) {
    InProcess([] { EXPECT_NE(Manager(), nullptr); });
    InProcess([] { EXPECT_EQ(RunServiceManager(), 1); });
    Signal added;
    Signal noticed;
    Child client([&] {
        const auto add = [] { return Add("a", new Workshop); };
        EXPECT_EQ(add(), OK);
        added.raise();
        EXPECT_TRUE(Eventually([&] { return add() != OK; }));
        noticed.raise();
        EXPECT_TRUE(Eventually([&] { return add() == OK; }));
    });
    added.await();
    mManager.reset();
    noticed.await();
    mManager.emplace([] { RunServiceManager(); });
    EXPECT_EQ(client.wait(), 0);
}

}  // namespace
}  // namespace KVT::test
