// SPDX-License-Identifier: Apache-2.0
// How a process gets its driver, or does without one.
#include <binder/BpBinder.h>
#include <binder/IServiceManager.h>

#include <cerrno>
#include <cstdlib>

#include "tests/platform/linux/binder/DriverTest.h"
#include "tests/support/Bytes.h"

namespace KVT::test {
namespace {

using namespace android;

// What a process keeps to its end is not counted here: the service manager's proxy.
class KernelProcess : public testing::Test {
  protected:
    static sp<IBinder> proxy() { return ProcessState::self()->getStrongProxyForHandle(1); }
    void answerWords(const std::vector<int32_t>& words, uint32_t flags = 0) {
        mDriver.answer(Answer().add(BR_REPLY, mDriver.receiveWords(words, flags)));
    }
    void answerBytes(const Bytes& bytes, uint32_t flags = 0,
                     const std::vector<binder_size_t>& offsets = {}) {
        binder_transaction_data reply = mDriver.receive(bytes.data(), bytes.size(), offsets);
        reply.flags = flags;
        mDriver.answer(Answer().add(BR_REPLY, reply));
    }

    FakeDriver& mDriver = FakeDriver::Get();
};

void (*const kObstacles[])(FakeDriver&) = {
    [](FakeDriver& driver) { driver.openResult = -ENOENT; },
    [](FakeDriver& driver) { driver.results[BINDER_VERSION] = -ENOTTY; },
    [](FakeDriver& driver) { driver.version = 7; },
    [](FakeDriver& driver) { driver.mapFails = true; },
    [](FakeDriver& driver) { driver.results[BINDER_SET_MAX_THREADS] = -EINVAL; },
};

class WithoutDriver : public testing::TestWithParam<size_t> {};

class Watcher : public IBinder::DeathRecipient {
    void binderDied(const wp<IBinder>&) override {}
};

TEST_P(WithoutDriver, SaysHowToGetOneAndFailsEveryCall) {
    kObstacles[GetParam()](FakeDriver::Get());
    testing::internal::CaptureStderr();
    const sp<ProcessState> process = ProcessState::self();
    const sp<IBinder> remote = process->getStrongProxyForHandle(1);
    EXPECT_EQ(remote->pingBinder(), -EBADF);
    EXPECT_EQ(remote->linkToDeath(sp<Watcher>(new Watcher)), -EBADF);
    EXPECT_EQ(defaultServiceManager(), nullptr);
    EXPECT_EQ(process->becomeContextManager(new LocalObject), -EBADF);
    EXPECT_EQ(process->setThreadPoolMaxThreadCount(3), -EBADF);
    EXPECT_LT(IPCThreadState::self()->setupPolling(), 0);
    process->startThreadPool();
    IPCThreadState::self()->joinThreadPool();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(process->hasDriver());
    EXPECT_FALSE(FakeDriver::Get().open);
    EXPECT_FALSE(FakeDriver::Get().mapped);
    EXPECT_NE(lines.find("modprobe binder_linux"), std::string::npos) << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
}

INSTANTIATE_TEST_SUITE_P(Obstacles, WithoutDriver,
                         testing::Range(size_t{0}, std::size(kObstacles)));

TEST_F(KernelProcess, OpensTheDeviceThatItIsTold) {
    setenv("KVT_BINDER_DEVICE", "/dev/vndbinder", 1);
    EXPECT_TRUE(ProcessState::self()->hasDriver());
    EXPECT_EQ(mDriver.device, "/dev/vndbinder");
}

TEST_F(KernelProcess, TellsTheDriverHowManyThreadsItMayAskFor) {
    const sp<ProcessState> process = ProcessState::self();
    EXPECT_EQ(mDriver.device, "/dev/binder");
    EXPECT_EQ(mDriver.maxThreads, 15u);
    EXPECT_EQ(process->setThreadPoolMaxThreadCount(3), OK);
    EXPECT_EQ(mDriver.maxThreads, 3u);
}

TEST_F(KernelProcess, FindsTheServiceManagerOnceThereIsOne) {
    mDriver.answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(defaultServiceManager(), nullptr);
    EXPECT_EQ(mDriver.count(BC_ACQUIRE), 0) << "no reference to nobody";
    answerWords({0});
    const sp<IServiceManager> manager = defaultServiceManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(defaultServiceManager(), manager);
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 2);

    // It may be restarted: the next call reaches the new one.
    mDriver.answer(Answer().add(BR_DEAD_REPLY));
    EXPECT_EQ(manager->checkService(String16("a")), nullptr);
    answerWords({0});
    EXPECT_EQ(manager->addService(String16("a"), new LocalObject), OK);
}

TEST_F(KernelProcess, TakesEveryWayOfSayingThatAServiceIsMissing) {
    const String16 name("a");
    answerWords({0});
    const sp<IServiceManager> manager = defaultServiceManager();
    const Bytes none = FromHex("852a6273 00000000 0000000000000000 0000000000000000");
    const Bytes handleNine = FromHex("852a6873 00000000 0900000000000000 0000000000000000");
    answerBytes(none);
    answerWords({0});
    answerWords({});
    answerWords({-1}, TF_STATUS_CODE);
    mDriver.answer(Answer().add(BR_FAILED_REPLY));
    for (int answer = 1; answer <= 5; ++answer) {
        EXPECT_EQ(manager->checkService(name), nullptr) << "answer " << answer;
    }
    answerBytes(handleNine, 0, {0});
    const sp<IBinder> service = manager->checkService(name);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(service->remoteBinder()->handle(), 9);
    EXPECT_TRUE(mDriver.owed(FakeDriver::kBuffers).empty()) << "objects' buffers go back at once";
}

// The bytes that Android 10's own clients and service manager exchange.
TEST_F(KernelProcess, SpeaksTheServiceManagersLanguage) {
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
         token + "03000000 ~'a.b' 0000  852a6873 13010000 0100000000000000 0000000000000000"
                 "01000000 02000000",
         "00000000"},
        {3,
         token + "01000000 ~'n' 0000  852a6273 13010000 0000000000000000 0000000000000000"
                 "00000000 08000000",
         "ffffffff", TF_STATUS_CODE},
        {4, token + "00000000 0f000000", "02000000 ~'ab' 0000 f059"},  // padding means nothing
        {4, token + "01000000 0f000000", "ffffffff", TF_STATUS_CODE},
    };
    for (const auto& exchange : exchanges) {
        answerBytes(FromHex(exchange.reply), exchange.flags);
    }
    const sp<IServiceManager> manager = defaultServiceManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->checkService(String16("Nobody")), nullptr);
    EXPECT_EQ(manager->addService(String16("a.b"), proxy(), true, 2), OK);
    EXPECT_EQ(manager->addService(String16("n"), nullptr), -1);
    const Vector<String16> names = manager->listServices(15);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0], String16("ab"));

    const auto requests = mDriver.commands(BC_TRANSACTION);
    ASSERT_EQ(requests.size(), std::size(exchanges));
    for (size_t i = 0; i < requests.size(); ++i) {
        const auto sent = requests[i].as<binder_transaction_data>();
        EXPECT_EQ(sent.target.handle, 0u) << i;
        EXPECT_EQ(sent.code, exchanges[i].code) << i;
        EXPECT_EQ(sent.flags, static_cast<uint32_t>(TF_ACCEPT_FDS)) << i;
        EXPECT_EQ(sent.offsets_size, i == 2 ? sizeof(binder_size_t) : 0) << i;
        EXPECT_EQ(requests[i].data, FromHex(exchanges[i].request)) << i;
    }
}

TEST_F(KernelProcess, AsksAProxyForItsInterfaceOnce) {
    const sp<IBinder> remote = proxy();
    mDriver.answer(Answer().add(BR_FAILED_REPLY));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16());
    answerBytes(FromHex("03000000 ~'a.B' 0000"));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16("a.B"));
    EXPECT_EQ(remote->getInterfaceDescriptor(), String16("a.B"));
    EXPECT_EQ(mDriver.count(BC_TRANSACTION), 2);
}

TEST_F(KernelProcess, StopsEveryCallAndThread) {
    const sp<IBinder> remote = proxy();
    IPCThreadState::self()->stopProcess();
    EXPECT_FALSE(mDriver.open);
    EXPECT_EQ(remote->pingBinder(), -EBADF);
    IPCThreadState::self()->joinThreadPool();
}

}  // namespace
}  // namespace KVT::test
