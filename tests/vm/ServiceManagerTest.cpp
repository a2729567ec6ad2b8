// SPDX-License-Identifier: Apache-2.0
// The service manager, from its clients' side of the driver.
#include "linux/servicemanager/ServiceManager.h"

#include <binder/ProcessState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>

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

TEST(ServiceManagerVm, KeepsTheDirectory) {
    Child manager([] { RunServiceManager(); });
    Child client([] {
        const sp<IServiceManager> services = Manager();
        const sp<IBinder> first = new Workshop;
        const sp<IBinder> second = new Workshop;
        const String16 name("zebra");
        EXPECT_EQ(services->checkService(name), nullptr);
        EXPECT_EQ(services->addService(name, first), OK);
        EXPECT_EQ(services->checkService(name), first);
        EXPECT_EQ(services->addService(name, second), OK);
        EXPECT_EQ(services->getService(name), second);
        EXPECT_EQ(services->addService(String16("ant"), first, false,
                                       IServiceManager::DUMP_FLAG_PRIORITY_CRITICAL),
                  OK);
        EXPECT_EQ(Names(IServiceManager::DUMP_FLAG_PRIORITY_ALL), "ant zebra ");
        EXPECT_EQ(Names(IServiceManager::DUMP_FLAG_PRIORITY_CRITICAL), "ant ");
        EXPECT_EQ(Names(0), "");
    });
    EXPECT_EQ(client.wait(), 0);
}

TEST(ServiceManagerVm, RefusesBadRegistrations) {
    Child manager([] { RunServiceManager(); });
    Child client([] {
        const sp<IServiceManager> services = Manager();
        const std::string longest(127, 'n');
        EXPECT_EQ(services->addService(String16(), new Workshop), -1);
        EXPECT_EQ(services->addService(String16((longest + "n").c_str()), new Workshop), -1);
        EXPECT_EQ(services->addService(String16("none"), nullptr), -1);
        EXPECT_EQ(Names(IServiceManager::DUMP_FLAG_PRIORITY_ALL), "");
        EXPECT_EQ(services->addService(String16(longest.c_str()), new Workshop), OK);

        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(String16("android.os.IServiceManage"));
        data.writeString16(String16(longest.c_str()));
        EXPECT_EQ(IInterface::asBinder(services)->transact(
                      IServiceManager::CHECK_SERVICE_TRANSACTION, data, &reply),
                  PERMISSION_DENIED);
    });
    EXPECT_EQ(client.wait(), 0);
}

TEST(ServiceManagerVm, ForgetsTheDeadButNotTheirSuccessors) {
    Child manager([] { RunServiceManager(); });
    Child first([] { RunWorkshop("shop"); });
    Child([] { ASSERT_NE(Find("shop"), nullptr); }).wait();
    Child second([] {
        ASSERT_EQ(Manager()->addService(String16("other"), new Workshop), OK);
        RunWorkshop("shop");
    });
    Child([] { ASSERT_NE(Find("other"), nullptr); }).wait();
    Child replaced([] {
        EXPECT_TRUE(Eventually([] {
            Parcel reply;
            const sp<IBinder> shop = Manager()->checkService(String16("shop"));
            Parcel data;
            return shop != nullptr && shop->pingBinder() == OK;
        }));
    });
    EXPECT_EQ(replaced.wait(), 0);
    first.kill();
    Child survivor([] {
        for (int i = 0; i < 20; ++i) {
            ASSERT_NE(Manager()->checkService(String16("shop")), nullptr);
        }
    });
    EXPECT_EQ(survivor.wait(), 0);
    second.kill();
    Child gone([] {
        EXPECT_TRUE(
            Eventually([] { return Names(IServiceManager::DUMP_FLAG_PRIORITY_ALL).empty(); }));
    });
    EXPECT_EQ(gone.wait(), 0);
}

TEST(ServiceManagerVm, IsTheOnlyOneAndCanBeReplaced) {
    std::optional<Child> manager;
    manager.emplace([] { RunServiceManager(); });
    Child([] { ASSERT_NE(Manager(), nullptr); }).wait();
    Child rival([] { EXPECT_EQ(RunServiceManager(), 1); });
    EXPECT_EQ(rival.wait(), 0);
    int noticed[2];
    ASSERT_EQ(pipe(noticed), 0);
    Child client([&] {
        const sp<IServiceManager> services = Manager();
        const auto add = [&] { return services->addService(String16("a"), new Workshop); };
        EXPECT_TRUE(Eventually([&] { return add() != OK; }));
        EXPECT_EQ(write(noticed[1], "", 1), 1);
        EXPECT_TRUE(Eventually([&] { return add() == OK; }));
    });
    Child([] { ASSERT_NE(Find("a"), nullptr); }).wait();
    manager.reset();
    char byte;
    ASSERT_EQ(read(noticed[0], &byte, 1), 1);
    manager.emplace([] { RunServiceManager(); });
    EXPECT_EQ(client.wait(), 0);
}

TEST(ServiceManagerVm, IsNotThereUntilItIs) {
    int asked[2];
    ASSERT_EQ(pipe(asked), 0);
    Child client([&] {
        EXPECT_EQ(defaultServiceManager(), nullptr);
        ASSERT_EQ(write(asked[1], "", 1), 1);
        EXPECT_NE(Manager(), nullptr);
    });
    char done;
    ASSERT_EQ(read(asked[0], &done, 1), 1);
    Child manager([] { RunServiceManager(); });
    EXPECT_EQ(client.wait(), 0);
}

}  // namespace
}  // namespace KVT::test
