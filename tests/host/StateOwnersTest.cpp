// SPDX-License-Identifier: Apache-2.0
#include "host/StateOwners.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "host/EventQueue.h"
#include "host/KVTServiceImpl.h"
#include "sync/Worker.h"
#include "tests/support/CallingAs.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using android::Parcel;
using android::status_t;

/** A process that does nothing until it is ended. */
class Child {
  public:
    Child() : mPid(fork()) {
        if (mPid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                pause();
            }
        }
    }
    ~Child() { end(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return mPid; }
    void end() {
        if (!std::exchange(mEnded, true)) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
    }

  private:
    const pid_t mPid;
    bool mEnded = false;
};

class StateOwnersTest : public Phone {
  public:
    status_t send(pid_t pid, uint32_t code, int32_t value, const std::string& package = "",
                  uid_t uid = 1000) {
        Parcel data;
        if (FindTransaction(code)->checksToken) {
            data.writeInterfaceToken(IKVTService::descriptor);
        }
        if (code == FINGERPRINT) {
            data.writeString16(android::String16(package.c_str()));
        }
        data.writeInt32(value);
        data.setDataPosition(0);
        Parcel reply;
        return owners.serve({uid, pid}, code, data,
                            [&] { return impl->transact(code, data, &reply); });
    }

    /** Ends a process that owns something; the event that follows is left to the caller. */
    std::function<void()> end(Child& child) {
        child.end();
        const OutsideScope outside;
        std::unique_lock lock(mMutex);
        if (!mArrived.wait_for(lock, std::chrono::seconds(5),
                               [this] { return !mEvents.empty(); })) {
            ADD_FAILURE() << "nobody noticed its end";
            return [] {};
        }
        auto event = std::move(mEvents.front());
        mEvents.pop_front();
        return event;
    }

    Refusals refusals;
    android::sp<KVTServiceImpl> impl = new KVTServiceImpl;

  private:
    bool arrive(std::function<void()> event) {
        const std::lock_guard lock(mMutex);
        mEvents.push_back(std::move(event));
        mArrived.notify_one();
        return true;
    }

    std::mutex mMutex;
    std::condition_variable mArrived;
    std::deque<std::function<void()>> mEvents;

  public:
    StateOwners owners{refusals,
                       [this](std::function<void()> event) { return arrive(std::move(event)); }};
};

TEST_F(StateOwnersTest, TakesBackWhatAProcessLeavesBehind) {
    enum Who { kOwner, kOther, kOneWay, kService };
    struct Step {
        Who who;
        uint32_t code;
        int32_t value;
        const char* package = "";
    };
    const struct {
        const char* name;
        std::vector<Step> steps;
        const char* left;
        int32_t limit = -1;
    } kCases[] = {
        {"all of it",
         {{kOwner, NOTIFY_DISPLAY_HOTPLUG, 1},
          {kOwner, NOTIFY_VIRTUAL_DISPLAY, 1},
          {kOwner, NOTIFY_VIRTUAL_DISPLAY, 1},
          {kOwner, GAME_FPS_LIMIT, 30},
          {kOwner, FINGERPRINT, 2, "com.a"}},
         ""},
        {"not what the owner took back",
         {{kOwner, NOTIFY_VIRTUAL_DISPLAY, 1},
          {kOther, NOTIFY_VIRTUAL_DISPLAY, 1},
          {kOwner, NOTIFY_VIRTUAL_DISPLAY, 0},
          {kOwner, FINGERPRINT, 1, "com.a"},
          {kOwner, FINGERPRINT, 0, "com.a"},
          {kOneWay, FINGERPRINT, 2, "com.a"}},
         "virtual_displays=1 fingerprint=2 "},
        {"not what another one set since",
         {{kOwner, NOTIFY_DISPLAY_HOTPLUG, 1},
          {kOther, NOTIFY_DISPLAY_HOTPLUG, 1},
          {kOwner, GAME_FPS_LIMIT, 30},
          {kOneWay, GAME_FPS_LIMIT, 40},
          {kOwner, FINGERPRINT, 1, "com.a"},
          {kOther, FINGERPRINT, 2, "com.b"}},
         "display_hotplug=1 fingerprint=2 ",
         40},
        {"no more displays than there are",
         {{kOwner, NOTIFY_VIRTUAL_DISPLAY, 1}, {kOneWay, NOTIFY_VIRTUAL_DISPLAY, 0}},
         ""},
        {"an unlock that the policy kept from the system UI",
         {{kOwner, FINGERPRINT, 2, "com.a"}, {kOther, FINGERPRINT, 0, "com.android.systemui"}},
         ""},
        {"nothing that it only stated again in words without effect",
         {{kOneWay, NOTIFY_DISPLAY_HOTPLUG, 1},
          {kOwner, NOTIFY_DISPLAY_HOTPLUG, 3},
          {kService, NOTIFY_VIRTUAL_DISPLAY, 1},
          {kOneWay, FINGERPRINT, 2, "com.a"},
          {kOwner, FINGERPRINT, 3, "com.a"}},
         "display_hotplug=1 virtual_displays=1 fingerprint=2 "},
    };
    start();
    const Child other;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        Child owner;
        const pid_t pids[] = {owner.pid(), other.pid(), 0, getpid()};
        EXPECT_EQ(send(owner.pid(), TOUCH_POINTER, 1), android::UNKNOWN_TRANSACTION);
        for (const Step& step : c.steps) {
            send(pids[step.who], step.code, step.value, step.package);
        }
        end(owner)();
        EXPECT_EQ(scenes(), c.left);
        EXPECT_EQ(FpsCommon::limitedGameFps, c.limit);

        for (const uint32_t code : {NOTIFY_DISPLAY_HOTPLUG, NOTIFY_VIRTUAL_DISPLAY}) {
            send(0, code, 0);
        }
        FpsCommon::virtualDisplayStatus = 0;
        send(0, GAME_FPS_LIMIT, -1);
        send(0, FINGERPRINT, 0, "com.a");
    }
}

TEST_F(StateOwnersTest, DecidesAnewWhenADisplayGoesWithItsProcess) {
    listPackages(3, 2);
    start();
    focus("app.listed");
    Child owner;
    EXPECT_EQ(send(owner.pid(), NOTIFY_VIRTUAL_DISPLAY, 1), android::OK);
    EXPECT_EQ(panelHz(), 60);
    end(owner)();
    EXPECT_EQ(panelHz(), 90);
}

TEST_F(StateOwnersTest, LeavesWhatIsSetBetweenAnEndAndItsEvent) {
    start();
    Child owner;
    send(owner.pid(), NOTIFY_DISPLAY_HOTPLUG, 1);
    const std::function<void()> takeBack = end(owner);
    send(0, NOTIFY_DISPLAY_HOTPLUG, 1);
    takeBack();
    EXPECT_EQ(scenes(), "display_hotplug=1 ");
    EXPECT_EQ(send(owner.pid(), TOUCH_POINTER, 1), android::DEAD_OBJECT) << "killed as it waited";
    EXPECT_EQ(scenes(), "display_hotplug=1 ");
}

TEST_F(StateOwnersTest, TakesItBackInOrderWithTheEventsOfTheLiving) {
    start();
    EventQueue events;
    ASSERT_EQ(events.start(), android::OK);
    for (EventQueue* const queue : {&events, static_cast<EventQueue*>(nullptr)}) {
        impl = new KVTServiceImpl({}, queue);
        Child owner;
        Parcel data, reply;
        data.writeInterfaceToken(IKVTService::descriptor);
        data.writeInt32(1);
        {
            const CallingAs as({1000, owner.pid()});
            EXPECT_EQ(impl->transact(NOTIFY_DISPLAY_HOTPLUG, data, &reply), android::OK);
        }
        settle();
        EXPECT_EQ(scenes(), "display_hotplug=1 ");
        owner.end();
        while (!scenes().empty()) {  // the test's time limit ends it when nobody notices
            {
                const OutsideScope outside;
                std::this_thread::yield();
            }
            settle();
        }
    }
}

TEST_F(StateOwnersTest, WatchesABoundedNumberOfProcesses) {
    start();
    std::vector<std::unique_ptr<Child>> children;
    for (size_t i = 0; i <= StateOwners::kMostProcesses; ++i) {
        children.push_back(std::make_unique<Child>());
        send(children.back()->pid(), NOTIFY_VIRTUAL_DISPLAY, 1);
    }
    EXPECT_THAT(logs.take(),
                testing::Contains(testing::HasSubstr("is not watched (too many are)")));
    end (*children[0])();
    EXPECT_EQ(FpsCommon::virtualDisplayStatus, 64);
    send(children.back()->pid(), NOTIFY_VIRTUAL_DISPLAY, 1);
    end (*children.back())();
    EXPECT_EQ(FpsCommon::virtualDisplayStatus, 64) << "the second one found the first's place";
}

TEST_F(StateOwnersTest, LetsNobodyButRootTouchAnUnlockOfAnotherUid) {
    const struct {
        uid_t owner;
        uid_t other;
        bool allowed;
    } kCases[] = {{1000, 1001, false}, {1000, 1000, true}, {1000, 0, true}, {0, 1000, true}};
    start();
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::to_string(c.owner) + " " + std::to_string(c.other));
        send(0, FINGERPRINT, 2, "com.a", c.owner);
        send(0, FINGERPRINT, 1, "", c.other);  // says nothing
        EXPECT_EQ(send(0, FINGERPRINT, 0, "com.a", c.other),
                  c.allowed ? android::UNKNOWN_TRANSACTION : android::PERMISSION_DENIED);
        EXPECT_EQ(scenes(), c.allowed ? "" : "fingerprint=2 ");
        send(0, FINGERPRINT, 0, "com.a", c.owner);
        EXPECT_EQ(scenes(), "");
    }
}

}  // namespace
}  // namespace KVT
