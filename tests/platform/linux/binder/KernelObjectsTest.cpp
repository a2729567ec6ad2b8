// SPDX-License-Identifier: Apache-2.0
// References, deaths and the pool's threads, against a fake driver.
#include <binder/BpBinder.h>

#include <thread>

#include "tests/platform/linux/binder/DriverTest.h"

namespace KVT::test {
namespace {

using namespace android;

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>& who) override {
        ++deaths;
        last = who;
    }
    int deaths = 0;
    wp<IBinder> last;
};

binder_uintptr_t CookieOf(const sp<IBinder>& proxy) {
    return reinterpret_cast<binder_uintptr_t>(proxy->remoteBinder());
}

/** The news of a death, and the answer to the withdrawal that follows it. */
Answer DeathOf(binder_uintptr_t cookie) {
    return Answer().add(BR_DEAD_BINDER, cookie).add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie);
}

class KernelObjects : public DriverTest {
  protected:
    const sp<Watcher> mWatcher = new Watcher;
};

TEST_F(KernelObjects, OneProxyPerHandleAsLongAsItLives) {
    sp<IBinder> first = proxy();
    EXPECT_EQ(first, proxy());
    EXPECT_NE(first, proxy(8));
    flush();
    EXPECT_EQ(mDriver.count(BC_INCREFS), 2);

    // With only weak references left the proxy is revived, not replaced.
    wp<IBinder> weak = first;
    first.clear();
    EXPECT_EQ(weak.promote(), nullptr);
    first = proxy();
    EXPECT_EQ(weak.unsafe_get(), first.get());
    flush();
    EXPECT_EQ(mDriver.count(BC_INCREFS), 2);
}

TEST_F(KernelObjects, AProxySurvivesUntilTheDriverKnowsOfIt) {
    // Released on another thread before this one's "acquire" has been sent.
    sp<IBinder> made = proxy();
    std::thread([&] { made.clear(); }).join();
    EXPECT_EQ(mDriver.count(BC_RELEASE), 0);
    flush();
    EXPECT_EQ(mDriver.count(BC_RELEASE), 1);
}

TEST_F(KernelObjects, AThreadThatWaitsHoldsNoProxy) {
    const sp<LocalObject> object = new LocalObject;
    object->onCall = [](const Parcel&, Parcel*) {
        proxy();
        return status_t{OK};
    };
    mDriver.onRead = [this]() -> std::optional<Answer> {
        EXPECT_EQ(mDriver.count(BC_ACQUIRE), 1);
        EXPECT_TRUE(mDriver.owed(FakeDriver::kStrong).empty());
        EXPECT_TRUE(mDriver.owed(FakeDriver::kWeak).empty());
        return {};
    };
    serve(Answer().add(BR_TRANSACTION, callOf(object, {}, TF_ONE_WAY)));
    EXPECT_EQ(object->calls.size(), 1u);
}

TEST_F(KernelObjects, AThreadThatEndsLeavesNothingUnsaid) {
    std::thread([] { proxy(); }).join();
    EXPECT_EQ(mDriver.count(BC_ACQUIRE), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 1);
    EXPECT_EQ(mDriver.threadExits, 1);
}

TEST_F(KernelObjects, HoldsLocalObjectsForTheDriver) {
    sp<LocalObject> object = new LocalObject;
    const wp<LocalObject> weak = object;
    const binder_ptr_cookie name = NameOf(object.get());
    serve(Answer().add(BR_INCREFS, name).add(BR_ACQUIRE, name));
    EXPECT_EQ(mDriver.count(BC_INCREFS_DONE), 1);
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    object.clear();
    EXPECT_NE(weak.promote(), nullptr);

    // What follows "release" in the same answer still finds the object.
    const auto call = callOf(weak.promote(), {}, TF_ONE_WAY);
    serve(Answer().add(BR_RELEASE, name).add(BR_TRANSACTION, call).add(BR_DECREFS, name));
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST_F(KernelObjects, TheContextManagersObjectHasNoName) {
    const sp<LocalObject> manager = new LocalObject;
    ASSERT_EQ(ProcessState::self()->becomeContextManager(manager), OK);
    const binder_ptr_cookie none{};
    serve(Answer()
              .add(BR_INCREFS, none)
              .add(BR_ACQUIRE, none)
              .add(BR_TRANSACTION, mDriver.receiveWords({3}))
              .add(BR_RELEASE, none)
              .add(BR_DECREFS, none)
              .add(BR_ATTEMPT_ACQUIRE, binder_pri_ptr_cookie{}));
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    ASSERT_EQ(manager->calls.size(), 1u);
    EXPECT_EQ(manager->calls[0].word, 3);
}

TEST_F(KernelObjects, AnswersAttemptsToAcquire) {
    const sp<LocalObject> object = new LocalObject;
    const binder_ptr_cookie name = NameOf(object.get());
    serve(Answer().add(BR_ATTEMPT_ACQUIRE, binder_pri_ptr_cookie{0, name.ptr, name.cookie}));
    EXPECT_EQ(object->getStrongCount(), 2);
    ASSERT_EQ(mDriver.count(BC_ACQUIRE_RESULT), 1);
    EXPECT_EQ(mDriver.commands(BC_ACQUIRE_RESULT)[0].as<int32_t>(), 1);
    serve(Answer().add(BR_RELEASE, name));
    EXPECT_EQ(object->getStrongCount(), 1);
}

TEST_F(KernelObjects, TellsADeathToEveryRecipientOnce) {
    const sp<IBinder> remote = proxy();
    const sp<Watcher> unlinked = new Watcher;
    const sp<Watcher> last = new Watcher;
    for (const sp<Watcher>& watcher : {mWatcher, unlinked, last}) {
        EXPECT_EQ(remote->linkToDeath(watcher), OK);
    }
    int mark = 0;
    EXPECT_EQ(remote->linkToDeath(mWatcher, &mark, 5), OK);
    EXPECT_EQ(mDriver.count(BC_REQUEST_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(remote->linkToDeath(nullptr), BAD_VALUE);
    EXPECT_EQ(remote->unlinkToDeath(unlinked), OK);
    EXPECT_EQ(remote->unlinkToDeath(unlinked), NAME_NOT_FOUND);
    EXPECT_EQ(remote->unlinkToDeath(nullptr, &mark), NAME_NOT_FOUND) << "other flags";
    wp<IBinder::DeathRecipient> removed;
    EXPECT_EQ(remote->unlinkToDeath(nullptr, &mark, 5, &removed), OK);
    EXPECT_EQ(removed, mWatcher);
    remote->linkToDeath(new Watcher);  // held by nobody

    mDriver.answer(Answer().add(BR_DEAD_BINDER, CookieOf(remote)));
    serve(DeathOf(CookieOf(remote)));
    EXPECT_EQ(mWatcher->deaths, 1);
    EXPECT_EQ(unlinked->deaths, 0);
    EXPECT_EQ(last->deaths, 1);
    EXPECT_EQ(last->last, wp<IBinder>(remote));
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DEAD_BINDER_DONE), 2);
    EXPECT_FALSE(remote->isBinderAlive());
    EXPECT_EQ(remote->linkToDeath(mWatcher), DEAD_OBJECT);
    EXPECT_EQ(remote->unlinkToDeath(mWatcher), DEAD_OBJECT);
}

TEST_F(KernelObjects, ADroppedProxyStillHearsOfTheDeath) {
    sp<IBinder> remote = proxy();
    ASSERT_EQ(remote->linkToDeath(mWatcher), OK);
    const binder_uintptr_t cookie = CookieOf(remote);
    remote.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_RELEASE), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 0) << "the driver forgets who it has to tell";
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 0);
    serve(DeathOf(cookie));
    EXPECT_EQ(mWatcher->deaths, 1);
    EXPECT_EQ(mWatcher->last.promote(), nullptr);
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    mWatcher->last.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_DECREFS), 1);
}

TEST_F(KernelObjects, AnUnlinkedProxyLivesUntilTheDriverForgetsIt) {
    sp<IBinder> remote = proxy();
    ASSERT_EQ(remote->linkToDeath(mWatcher), OK);
    const binder_uintptr_t cookie = CookieOf(remote);
    // Dropped in between: whoever gets the handle again can end the registration.
    remote.clear();
    remote = proxy();
    EXPECT_EQ(CookieOf(remote), cookie);
    EXPECT_EQ(remote->unlinkToDeath(mWatcher), OK);
    remote.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 0);
    serve(DeathOf(cookie));  // the death was on its way already
    EXPECT_EQ(mWatcher->deaths, 0);
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 1);
}

TEST_F(KernelObjects, AProxyThatIsRevivedWhileItIsDroppedKeepsItsNewRecipients) {
    sp<IBinder> remote = proxy();
    flush();
    const binder_uintptr_t cookie = CookieOf(remote);
    sp<IBinder> revived;
    mDriver.onCommand = [&](const FakeDriver::Command& command) -> std::optional<Answer> {
        if (command.code == BC_RELEASE && revived == nullptr) {
            std::thread([&] {
                revived = proxy();
                EXPECT_EQ(revived->linkToDeath(mWatcher), OK);
            }).join();
        }
        return {};
    };
    remote.clear();
    mDriver.onCommand = nullptr;
    EXPECT_EQ(mDriver.owed(FakeDriver::kDeathRequests), std::vector<uint64_t>{cookie});
    serve(DeathOf(cookie));
    EXPECT_EQ(mWatcher->deaths, 1);
}

TEST_F(KernelObjects, StartsThreadsOnlyOnceThePoolIsStarted) {
    serve(Answer().add(BR_SPAWN_LOOPER));
    EXPECT_EQ(mDriver.count(BC_REGISTER_LOOPER), 0);
    ProcessState::self()->startThreadPool();
    ProcessState::self()->startThreadPool();
    mDriver.await(BC_ENTER_LOOPER, 2);
    serve(Answer().add(BR_SPAWN_LOOPER));
    mDriver.await(BC_REGISTER_LOOPER);
    EXPECT_EQ(mDriver.count(BC_ENTER_LOOPER), 3);
}

TEST_F(KernelObjects, AThreadThatTheDriverFailsIsReplaced) {
    mDriver.fail(-EIO);
    ProcessState::self()->startThreadPool();
    mDriver.await(BC_EXIT_LOOPER);
    serve(Answer().add(BR_NOOP));
    mDriver.await(BC_ENTER_LOOPER, 3);
}

TEST_F(KernelObjects, AThreadThatCanNotBeStartedIsStartedLater) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_getattr_default_np(&attributes), 0);
    size_t usual = 0;
    pthread_attr_getstacksize(&attributes, &usual);
    const auto setStackSize = [&](size_t size) {
        pthread_attr_setstacksize(&attributes, size);
        pthread_setattr_default_np(&attributes);
    };
    constexpr size_t kMoreThanThereIs = size_t{1} << 48;
    setStackSize(kMoreThanThereIs);
    ProcessState::self()->startThreadPool();
    serve(Answer().add(BR_SPAWN_LOOPER));
    EXPECT_EQ(mDriver.count(BC_ENTER_LOOPER), 1);
    setStackSize(usual);
    pthread_attr_destroy(&attributes);
    serve(Answer().add(BR_NOOP));
    mDriver.await(BC_REGISTER_LOOPER);
    mDriver.await(BC_ENTER_LOOPER, 3);
}

TEST_F(KernelObjects, ThreadsLeaveWhenTheyAreNotNeeded) {
    mDriver.answer(Answer().add(BR_FINISHED));
    mDriver.answer(Answer().add(BR_NOOP));
    std::thread([] { IPCThreadState::self()->joinThreadPool(false); }).join();
    EXPECT_EQ(mDriver.count(BC_EXIT_LOOPER), 1);
    EXPECT_EQ(mDriver.threadExits, 1) << "the driver forgets a thread that ends";
    serve(Answer().add(BR_FINISHED));  // but the main one stays, until the driver goes
    EXPECT_EQ(mDriver.count(BC_EXIT_LOOPER), 2);
}

TEST_F(KernelObjects, ServesInPolledMode) {
    EXPECT_EQ(IPCThreadState::self()->setupPolling(), mDriver.openResult);
    const sp<LocalObject> object = new LocalObject;
    mDriver.answer(Answer().add(BR_NOOP).add(BR_TRANSACTION, callOf(object, {}, TF_ONE_WAY)));
    EXPECT_EQ(IPCThreadState::self()->handlePolledCommands(), OK);
    EXPECT_EQ(object->calls.size(), 1u);
}

}  // namespace
}  // namespace KVT::test
