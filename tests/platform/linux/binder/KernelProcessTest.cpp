// SPDX-License-Identifier: Apache-2.0
// How a process gets its driver, or does without one.
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <string>

#include "tests/platform/linux/binder/FakeDriver.h"
#include "tests/platform/linux/binder/LocalObject.h"
#include "tests/support/Bytes.h"

namespace KVT::test {
namespace {

using namespace android;

FakeDriver& Driver() {
    return FakeDriver::Get();
}

void (*const kObstacles[])(FakeDriver&) = {
    [](FakeDriver& driver) { driver.openResult = -ENOENT; },
    [](FakeDriver& driver) { driver.versionResult = -ENOTTY; },
    [](FakeDriver& driver) { driver.version = 7; },
    [](FakeDriver& driver) { driver.mapFails = true; },
    [](FakeDriver& driver) { driver.maxThreadsResult = -EINVAL; },
};

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>&) override {}
};

class WithoutDriver : public testing::TestWithParam<size_t> {};

TEST_P(WithoutDriver, SaysHowToGetOneAndFailsEveryCall) {
    kObstacles[GetParam()](Driver());
    testing::internal::CaptureStderr();
    const sp<ProcessState> process = ProcessState::self();
    const sp<IBinder> remote = process->getStrongProxyForHandle(1);
    EXPECT_EQ(remote->pingBinder(), -EBADF);
    const sp<Watcher> watcher = new Watcher;
    EXPECT_EQ(remote->linkToDeath(watcher), -EBADF);
    EXPECT_EQ(defaultServiceManager(), nullptr);
    EXPECT_EQ(process->becomeContextManager(new LocalObject), -EBADF);
    EXPECT_EQ(process->setThreadPoolMaxThreadCount(3), -EBADF);
    EXPECT_LT(IPCThreadState::self()->setupPolling(), 0);
    process->startThreadPool();
    IPCThreadState::self()->joinThreadPool();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(process->hasDriver());
    EXPECT_FALSE(Driver().open);
    EXPECT_FALSE(Driver().mapped);
    EXPECT_NE(lines.find("modprobe binder_linux"), std::string::npos) << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
}

INSTANTIATE_TEST_SUITE_P(Obstacles, WithoutDriver,
                         testing::Range(size_t{0}, std::size(kObstacles)));

TEST(KernelProcess, OpensTheDeviceThatItIsTold) {
    setenv("KVT_BINDER_DEVICE", "/dev/vndbinder", 1);
    EXPECT_TRUE(ProcessState::self()->hasDriver());
    EXPECT_EQ(Driver().device, "/dev/vndbinder");
}

TEST(KernelProcess, TellsTheDriverHowManyThreadsItMayAskFor) {
    const sp<ProcessState> process = ProcessState::self();
    EXPECT_EQ(Driver().device, "/dev/binder");
    EXPECT_EQ(Driver().maxThreads, 15u);
    EXPECT_EQ(process->setThreadPoolMaxThreadCount(3), OK);
    EXPECT_EQ(Driver().maxThreads, 3u);
}

TEST(KernelProcess, FindsTheServiceManagerOnceThereIsOne) {
    Driver().answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(defaultServiceManager(), nullptr);
    EXPECT_EQ(Driver().count(BC_ACQUIRE), 0) << "no reference to nobody";
    Driver().answer(Answer().add(BR_REPLY, Driver().receiveWords({0})));
    const sp<IServiceManager> manager = defaultServiceManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(defaultServiceManager(), manager);
    EXPECT_EQ(Driver().count(BC_TRANSACTION), 2);

    // It may be restarted: the next call reaches the new one.
    Driver().answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(manager->checkService(String16("a")), nullptr);
    Driver().answer(Answer().add(BR_REPLY, Driver().receiveWords({0})));
    EXPECT_EQ(manager->addService(String16("a"), new LocalObject), OK);
}

TEST(KernelProcess, TakesEveryWayOfSayingThatAServiceIsMissing) {
    Driver().answer(Answer().add(BR_REPLY, Driver().receiveWords({0})));
    const sp<IServiceManager> manager = defaultServiceManager();
    flat_binder_object none{};
    none.hdr.type = BINDER_TYPE_BINDER;
    const Answer answers[] = {
        Answer().add(BR_REPLY, Driver().receive(&none, sizeof(none))),
        Answer().add(BR_REPLY, Driver().receiveWords({0})),
        Answer().add(BR_REPLY, Driver().receiveWords({})),
        Answer().add(BR_REPLY, Driver().receiveWords({-1}, TF_STATUS_CODE)),
        Answer().add(BR_FAILED_REPLY),
    };
    for (const Answer& answer : answers) {
        Driver().answer(answer);
        EXPECT_EQ(manager->checkService(String16("a")), nullptr);
    }
    flat_binder_object found{};
    found.hdr.type = BINDER_TYPE_HANDLE;
    found.handle = 9;
    Driver().answer(Answer().add(BR_REPLY, Driver().receive(&found, sizeof(found), {0})));
    const sp<IBinder> service = manager->checkService(String16("a"));
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->remoteBinder()->handle(), 9);
    EXPECT_EQ(Driver().buffersOut(), 0u) << "a buffer with objects goes back at once";
}

// The bytes that Android 10's own clients and service manager exchange.
TEST(KernelProcess, SpeaksTheServiceManagersLanguage) {
    const std::string token = "00000080 ffffffff 1a000000 ~'android.os.IServiceManager' 00000000";
    const struct {
        uint32_t code;
        std::string request;
        const char* reply;
        uint32_t flags = 0;
    } exchanges[] = {
        {IBinder::PING_TRANSACTION, "", ""},
        {2, token + "06000000 ~'Nobody' 00000000", "00000000"},
        {3,
         token + "03000000 ~'a.b' 0000  852a6273 13010000 0000000000000000 0000000000000000"
                 "01000000 02000000",
         "00000000"},
        {4, token + "00000000 0f000000", "02000000 ~'ab' 0000 f059"},  // padding means nothing
        {4, token + "01000000 0f000000", "ffffffff", TF_STATUS_CODE},
    };
    const auto* next = std::begin(exchanges);
    Driver().onCall = [&](const FakeDriver::Command& command) {
        if (next == std::end(exchanges)) {
            ADD_FAILURE() << "one call too many";
            return Answer().add(BR_FAILED_REPLY);
        }
        const auto sent = command.as<binder_transaction_data>();
        const auto* bytes = reinterpret_cast<const uint8_t*>(sent.data.ptr.buffer);
        EXPECT_EQ(sent.target.handle, 0u);
        EXPECT_EQ(sent.code, next->code);
        EXPECT_EQ(sent.flags, static_cast<uint32_t>(TF_ACCEPT_FDS));
        EXPECT_EQ(Bytes(bytes, bytes + sent.data_size), FromHex(next->request));
        const Bytes answer = FromHex(next->reply);
        binder_transaction_data reply = Driver().receive(answer.data(), answer.size());
        reply.flags = next++->flags;
        return Answer().add(BR_REPLY, reply);
    };
    const sp<IServiceManager> manager = defaultServiceManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->checkService(String16("Nobody")), nullptr);
    EXPECT_EQ(manager->addService(String16("a.b"), nullptr, true, 2), OK);
    const Vector<String16> names = manager->listServices(15);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0], String16("ab"));
    EXPECT_EQ(next, std::end(exchanges));
}

TEST(KernelProcess, AsksAProxyForItsInterfaceOnce) {
    const sp<IBinder> remote = ProcessState::self()->getStrongProxyForHandle(1);
    Driver().answer(Answer().add(BR_FAILED_REPLY));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16());
    Parcel text;
    text.writeString16(String16("a.B"));
    Driver().answer(Answer().add(BR_REPLY, Driver().receive(text.data(), text.dataSize())));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16("a.B"));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16("a.B"));
    EXPECT_EQ(Driver().count(BC_TRANSACTION), 2);
}

TEST(KernelProcess, StopsEveryCallAndThread) {
    const sp<IBinder> remote = ProcessState::self()->getStrongProxyForHandle(1);
    IPCThreadState::self()->stopProcess();
    EXPECT_FALSE(Driver().open);
    EXPECT_EQ(remote->pingBinder(), -EBADF);
    IPCThreadState::self()->joinThreadPool();
}

}  // namespace
}  // namespace KVT::test
