// SPDX-License-Identifier: Apache-2.0
// The service manager, from its clients' side of the driver.
#include "linux/servicemanager/ServiceManager.h"

#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <random>

#include "tests/vm/Processes.h"
#include "tests/vm/Workshop.h"

namespace KVT::test {
namespace {

using namespace android;

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

class ServiceManagerVm : public testing::Test {
  protected:
    std::optional<Child> mManager{[] { RunServiceManager(); }};
};

TEST_F(ServiceManagerVm, KeepsTheDirectory) {
    InProcess([] {
        const sp<IBinder> first = NewWorkshop();
        const sp<IBinder> second = NewWorkshop();
        EXPECT_EQ(Check("zebra"), nullptr);
        EXPECT_EQ(Add("zebra", first), OK);
        EXPECT_EQ(Check("zebra"), first);
        EXPECT_EQ(Add("zebra", second), OK);
        EXPECT_EQ(Manager()->getService(String16("zebra")), second);
        EXPECT_EQ(Add("ant", first, true, kCritical), OK);
        EXPECT_EQ(Names(kAll), "ant zebra ");
        EXPECT_EQ(Names(kCritical), "ant ");
        EXPECT_EQ(Names(0), "");

        constexpr uid_t kIsolated = 199'001;
        ASSERT_EQ(setuid(kIsolated), 0);
        EXPECT_EQ(Check("zebra"), nullptr) << "not for isolated processes";
        EXPECT_EQ(Check("ant"), first);
    });
}

TEST_F(ServiceManagerVm, RefusesBadRegistrations) {
    InProcess([] {
        const std::string longest(127, 'n');
        EXPECT_EQ(Add("", NewWorkshop()), -1);
        EXPECT_EQ(Add(longest + "n", NewWorkshop()), -1);
        EXPECT_EQ(Add("none", nullptr), -1);
        EXPECT_EQ(Names(kAll), "");
        EXPECT_EQ(Add(longest, NewWorkshop()), OK);

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
    Child first([] { RunWorkshop("shop"); });
    InProcess([] { Find("shop"); });
    Child second([] {
        ASSERT_EQ(Add("other", NewWorkshop()), OK);
        RunWorkshop("shop");
    });
    const auto shopIsOf = [](pid_t pid) {
        Parcel reply;
        return Eventually([&] { return Call(Find("shop"), kPid, &reply).readInt32() == pid; });
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
        const auto add = [] { return Add("a", NewWorkshop()); };
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

TEST_F(ServiceManagerVm, IsNotThereUntilItIs) {
    mManager.reset();
    Signal asked;
    Child client([&] {
        EXPECT_EQ(defaultServiceManager(), nullptr);
        asked.raise();
        EXPECT_NE(Manager(), nullptr);
    });
    asked.await();
    mManager.emplace([] { RunServiceManager(); });
    EXPECT_EQ(client.wait(), 0);
}

}  // namespace
}  // namespace KVT::test
