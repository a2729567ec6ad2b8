// SPDX-License-Identifier: Apache-2.0
// References, deaths and the pool's threads, against a fake driver.
#include <binder/BpBinder.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/platform/linux/binder/FakeDriver.h"
#include "tests/platform/linux/binder/LocalObject.h"

namespace KVT::test {
namespace {

using namespace android;

constexpr int32_t kHandle = 7;

binder_ptr_cookie Named(BBinder* object) {
    return {reinterpret_cast<uintptr_t>(object->getWeakRefs()),
            reinterpret_cast<uintptr_t>(object)};
}

class Watcher : public IBinder::DeathRecipient {
  public:
    void binderDied(const wp<IBinder>& who) override {
        ++deaths;
        last = who;
    }
    int deaths = 0;
    wp<IBinder> last;
};

class KernelObjects : public testing::Test {
  protected:
    ~KernelObjects() override {
        IPCThreadState::self()->flushCommands();
        EXPECT_EQ(mDriver.faults(), 0);
        EXPECT_EQ(mDriver.references(), 0);
        EXPECT_EQ(mDriver.buffersOut(), 0u);
    }

    static sp<IBinder> proxy(int32_t handle = kHandle) {
        return ProcessState::self()->getStrongProxyForHandle(handle);
    }
    static void serve() { IPCThreadState::self()->joinThreadPool(); }
    static void flush() { IPCThreadState::self()->flushCommands(); }

    FakeDriver& mDriver = FakeDriver::Get();
};

TEST_F(KernelObjects, OneProxyPerHandleAsLongAsItLives) {
    sp<IBinder> first = proxy();
    EXPECT_EQ(first, proxy());
    EXPECT_NE(first, proxy(kHandle + 1));
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
    EXPECT_EQ(mDriver.references(), 2);
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
    mDriver.answer(
        Answer().add(BR_TRANSACTION,
                     FakeDriver::CallOf(object.get(), 1, mDriver.receiveWords({1}, TF_ONE_WAY))));
    mDriver.onRead = [this]() -> std::optional<Answer> {
        EXPECT_EQ(mDriver.count(BC_ACQUIRE), 1);
        EXPECT_EQ(mDriver.references(), 0);
        return {};
    };
    serve();
    EXPECT_EQ(object->calls.size(), 1u);
}

TEST_F(KernelObjects, AThreadThatEndsLeavesNothingUnsaid) {
    std::thread([] { proxy(); }).join();
    EXPECT_EQ(mDriver.count(BC_ACQUIRE), 1);
    EXPECT_EQ(mDriver.references(), 0);
    EXPECT_EQ(mDriver.threadExits, 1);
}

TEST_F(KernelObjects, HoldsLocalObjectsForTheDriver) {
    sp<LocalObject> object = new LocalObject;
    const wp<LocalObject> weak = object;
    const binder_ptr_cookie name = Named(object.get());
    mDriver.answer(Answer().add(BR_INCREFS, name).add(BR_ACQUIRE, name));
    serve();
    EXPECT_EQ(mDriver.count(BC_INCREFS_DONE), 1);
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    object.clear();
    EXPECT_NE(weak.promote(), nullptr);

    // What follows "release" in the same answer still finds the object.
    mDriver.onCall = [](const FakeDriver::Command&) {
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    binder_transaction_data ping = mDriver.receiveWords({}, TF_ONE_WAY);
    ping = FakeDriver::CallOf(weak.unsafe_get(), 1, ping);
    mDriver.answer(Answer().add(BR_RELEASE, name).add(BR_TRANSACTION, ping).add(BR_DECREFS, name));
    serve();
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST_F(KernelObjects, TheContextManagersObjectHasNoName) {
    const sp<LocalObject> manager = new LocalObject;
    ASSERT_EQ(ProcessState::self()->becomeContextManager(manager), OK);
    const binder_ptr_cookie none{};
    mDriver.onCall = [](const FakeDriver::Command&) {
        return Answer().add(BR_TRANSACTION_COMPLETE);
    };
    binder_transaction_data call = mDriver.receiveWords({3});
    call.code = 2;
    mDriver.answer(Answer()
                       .add(BR_INCREFS, none)
                       .add(BR_ACQUIRE, none)
                       .add(BR_TRANSACTION, call)
                       .add(BR_RELEASE, none)
                       .add(BR_DECREFS, none)
                       .add(BR_ATTEMPT_ACQUIRE, binder_pri_ptr_cookie{}));
    serve();
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_DONE), 1);
    ASSERT_EQ(manager->calls.size(), 1u);
    EXPECT_EQ(manager->calls[0].word, 3);
}

TEST_F(KernelObjects, AnswersAttemptsToAcquire) {
    const sp<LocalObject> object = new LocalObject;
    binder_pri_ptr_cookie attempt{};
    attempt.ptr = Named(object.get()).ptr;
    attempt.cookie = Named(object.get()).cookie;
    mDriver.answer(Answer().add(BR_ATTEMPT_ACQUIRE, attempt));
    mDriver.answer(Answer().add(BR_RELEASE, Named(object.get())));
    serve();
    for (const FakeDriver::Command& command : mDriver.commands()) {
        if (command.code == BC_ACQUIRE_RESULT) {
            EXPECT_EQ(command.as<int32_t>(), 1);
        }
    }
    EXPECT_EQ(mDriver.count(BC_ACQUIRE_RESULT), 1);
    EXPECT_EQ(object->getStrongCount(), 1);
}

TEST_F(KernelObjects, TellsADeathToEveryRecipientOnce) {
    sp<IBinder> remote = proxy();
    const sp<Watcher> watchers[] = {new Watcher, new Watcher, new Watcher};
    const auto cookie = reinterpret_cast<binder_uintptr_t>(remote->remoteBinder());
    for (const sp<Watcher>& watcher : watchers) {
        EXPECT_EQ(remote->linkToDeath(watcher), OK);
    }
    int mark = 0;
    EXPECT_EQ(remote->linkToDeath(watchers[0], &mark, 5), OK);
    EXPECT_EQ(mDriver.count(BC_REQUEST_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(remote->linkToDeath(nullptr), BAD_VALUE);
    EXPECT_EQ(remote->unlinkToDeath(watchers[1]), OK);
    EXPECT_EQ(remote->unlinkToDeath(watchers[1]), NAME_NOT_FOUND);
    EXPECT_EQ(remote->unlinkToDeath(nullptr, &mark), NAME_NOT_FOUND) << "other flags";
    wp<IBinder::DeathRecipient> removed;
    EXPECT_EQ(remote->unlinkToDeath(nullptr, &mark, 5, &removed), OK);
    EXPECT_EQ(removed, watchers[0]);
    remote->linkToDeath(new Watcher);  // held by nobody

    mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
    mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
    mDriver.answer(Answer().add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie));
    serve();
    EXPECT_EQ(watchers[0]->deaths, 1);
    EXPECT_EQ(watchers[1]->deaths, 0);
    EXPECT_EQ(watchers[2]->deaths, 1);
    EXPECT_EQ(watchers[2]->last, wp<IBinder>(remote));
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DEAD_BINDER_DONE), 2);
    EXPECT_FALSE(remote->isBinderAlive());
    EXPECT_EQ(remote->linkToDeath(watchers[0]), DEAD_OBJECT);
    EXPECT_EQ(remote->unlinkToDeath(watchers[0]), DEAD_OBJECT);
}

TEST_F(KernelObjects, ADroppedProxyStillHearsOfTheDeath) {
    sp<IBinder> remote = proxy();
    const sp<Watcher> watcher = new Watcher;
    ASSERT_EQ(remote->linkToDeath(watcher), OK);
    const auto cookie = reinterpret_cast<binder_uintptr_t>(remote->remoteBinder());
    remote.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_RELEASE), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 0) << "the driver forgets who it has to tell";
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 0);
    mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
    mDriver.answer(Answer().add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie));
    serve();
    EXPECT_EQ(watcher->deaths, 1);
    EXPECT_EQ(watcher->last.promote(), nullptr);
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    watcher->last.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_DECREFS), 1);
}

TEST_F(KernelObjects, AnUnlinkedProxyLivesUntilTheDriverForgetsIt) {
    sp<IBinder> remote = proxy();
    const sp<Watcher> watcher = new Watcher;
    ASSERT_EQ(remote->linkToDeath(watcher), OK);
    const auto cookie = reinterpret_cast<binder_uintptr_t>(remote->remoteBinder());
    // Dropped in between: whoever gets the handle again can end the registration.
    remote.clear();
    remote = proxy();
    EXPECT_EQ(reinterpret_cast<binder_uintptr_t>(remote->remoteBinder()), cookie);
    EXPECT_EQ(remote->unlinkToDeath(watcher), OK);
    remote.clear();
    flush();
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 0);
    // The death was on its way already.
    mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
    mDriver.answer(Answer().add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie));
    serve();
    EXPECT_EQ(watcher->deaths, 0);
    EXPECT_EQ(mDriver.count(BC_CLEAR_DEATH_NOTIFICATION), 1);
    EXPECT_EQ(mDriver.count(BC_DECREFS), 1);
}

TEST_F(KernelObjects, AProxyThatIsRevivedWhileItIsDroppedKeepsItsNewRecipients) {
    sp<IBinder> remote = proxy();
    flush();
    const auto cookie = reinterpret_cast<binder_uintptr_t>(remote->remoteBinder());
    const sp<Watcher> watcher = new Watcher;
    sp<IBinder> revived;
    mDriver.onCommand = [&](const FakeDriver::Command& command) {
        if (command.code == BC_RELEASE && revived == nullptr) {
            std::thread([&] {
                revived = proxy();
                EXPECT_EQ(revived->linkToDeath(watcher), OK);
            }).join();
        }
    };
    remote.clear();
    mDriver.onCommand = nullptr;
    EXPECT_EQ(mDriver.deathRequests(false), std::vector<binder_uintptr_t>{cookie});
    mDriver.answer(Answer().add(BR_DEAD_BINDER, cookie));
    mDriver.answer(Answer().add(BR_CLEAR_DEATH_NOTIFICATION_DONE, cookie));
    serve();
    EXPECT_EQ(watcher->deaths, 1);
}

TEST_F(KernelObjects, StartsThreadsOnlyOnceThePoolIsStarted) {
    mDriver.answer(Answer().add(BR_SPAWN_LOOPER));
    serve();
    EXPECT_EQ(mDriver.count(BC_REGISTER_LOOPER), 0);
    ProcessState::self()->startThreadPool();
    ProcessState::self()->startThreadPool();
    mDriver.await(BC_ENTER_LOOPER, 2);
    mDriver.answer(Answer().add(BR_SPAWN_LOOPER));
    serve();
    mDriver.await(BC_REGISTER_LOOPER);
    EXPECT_EQ(mDriver.count(BC_ENTER_LOOPER), 3);
}

TEST_F(KernelObjects, ThreadsLeaveWhenTheyAreNotNeeded) {
    mDriver.answer(Answer().add(BR_FINISHED));
    mDriver.answer(Answer().add(BR_NOOP));
    std::thread([] { IPCThreadState::self()->joinThreadPool(false); }).join();
    EXPECT_EQ(mDriver.count(BC_EXIT_LOOPER), 1);
    EXPECT_EQ(mDriver.threadExits, 1) << "the driver forgets a thread that ends";
    mDriver.answer(Answer().add(BR_FINISHED));
    serve();  // but the main one stays, until the driver goes
    EXPECT_EQ(mDriver.count(BC_EXIT_LOOPER), 2);
}

TEST_F(KernelObjects, ServesInPolledMode) {
    EXPECT_EQ(IPCThreadState::self()->setupPolling(), mDriver.openResult);
    const sp<LocalObject> object = new LocalObject;
    const binder_transaction_data call =
        FakeDriver::CallOf(object.get(), 1, mDriver.receiveWords({1}, TF_ONE_WAY));
    mDriver.answer(Answer().add(BR_NOOP).add(BR_TRANSACTION, call));
    EXPECT_EQ(IPCThreadState::self()->handlePolledCommands(), OK);
    EXPECT_EQ(object->calls.size(), 1u);
}

TEST_F(KernelObjects, AnswersLongerThanARoomfulComeInPieces) {
    const sp<LocalObject> object = new LocalObject;
    Answer answer;
    for (int i = 0; i < 30; ++i) {
        answer.add(BR_INCREFS, Named(object.get()));
    }
    for (int i = 0; i < 30; ++i) {
        answer.add(BR_DECREFS, Named(object.get()));
    }
    // Whole commands only, as the driver does: twelve of them fit.
    for (size_t at = 0; at < answer.get().size(); at += 240) {
        mDriver.answer(Answer().bytes(&answer.get()[at], 240));
    }
    serve();
    EXPECT_EQ(mDriver.count(BC_INCREFS_DONE), 30);
}

}  // namespace
}  // namespace KVT::test
