// SPDX-License-Identifier: Apache-2.0
#include "host/EventQueue.h"

#include <gmock/gmock.h>

#include <list>
#include <map>
#include <random>
#include <sstream>

#include "common/Turn.h"
#include "host/KVTServiceImpl.h"
#include "host/TextDumper.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::OK;
using android::sp;
using android::WOULD_BLOCK;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// clang-format off
const std::map<char, uint32_t> kCodes = {
    {'m', POWER_MODE}, {'s', LCD_SETTING}, {'l', GAME_FPS_LIMIT}, {'p', PACKAGES}, {'o', TOUCH_POINTER},
    {'h', NOTIFY_DISPLAY_HOTPLUG}, {'t', SET_LCD_EVENT}, {'d', NOTIFY_VIRTUAL_DISPLAY},
    {'g', NOTIFY_GPU_COMPOSITION}, {'a', FINGERPRINT}, {'b', FINGERPRINT}, {'x', 0}};
// clang-format on

/** Events by name: a letter for the kind, then the value; fingerprints of the packages a and b. */
class Queue : public Phone {
  public:
    android::status_t send(const std::string& name, bool callerWaits = false) {
        const uint32_t code = kCodes.at(name[0]);
        const auto act = [this, name] {
            EXPECT_TRUE(Turn::IsUnderWay());
            meanwhile();
            MutexLock lock(mMutex);
            mActed += name + " ";
        };
        return events.run(
            {code, stoi(name.substr(1)), code == FINGERPRINT ? name.substr(0, 1) : "", act},
            callerWaits);
    }
    /** While the queue is kept busy for a second. */
    void burst(const std::string& names) {
        events.run({POWER_MODE, 0, "", [] { SleepFor(kNsPerS); }}, false);
        VirtualTime::Settle();
        std::istringstream stream(names);
        for (std::string name; stream >> name;) {
            EXPECT_EQ(send(name), OK);
        }
    }
    std::string acted() {
        SleepFor(10 * kNsPerS);
        MutexLock lock(mMutex);
        return std::exchange(mActed, "");
    }
    std::string dumped() {
        TextDumper dumper;
        events.dump(&dumper);
        return dumper.text();
    }

    void SetUp() override { ASSERT_EQ(events.start(), OK); }

    EventQueue events;
    std::function<void()> meanwhile = [] {};
    const std::string eight = "d1 d0 d1 d0 d1 d0 d1 d0 ";

  private:
    Mutex mMutex;
    std::string mActed GUARDED_BY(mMutex);
};

TEST_F(Queue, MergesStatesWhenManyWait) {
    const std::pair<std::string, std::string> cases[] = {
        {"m1 m2 s1 m4 s0 l40 l60 p1 p2 o1 o0 h1 h0 ", "m4 s0 l60 p2 o0 h0 "},
        {"p1 m1 p2 m2 p3 m3 ", "p3 m3 "},
        {"t1 t0 t1 d1 d0 g1 g0 g1 ", "t1 t0 t1 d1 d0 g1 g0 g1 "},
        {"l40 p1 l50 p2 l60 ", "p2 l60 "},
        {"p1 l40 p1 ", "p1 l40 p1 "},  // a limit that a game may have ended
        {"s1 p1 s2 ", "s1 p1 s2 "},
        {"s1 p1 s2 p2 ", "s2 p2 "},
        {"p1 g1 p2 ", "p1 g1 p2 "},
        {"m1 x1 m2 ", "m1 x1 m2 "},                    // no transaction's: who knows what it does
        {"m1 t1 m2 o1 t0 o0 ", "m1 t1 m2 o1 t0 o0 "},  // whoever arms the touch strategy, or not
        {"a1 a2 a0 b1 a1 b0 ", "a0 b1 a1 b0 "},
        {"a0 a1 ", "a0 a1 "},  // the end decides, the beginning may leave that to others
        {"a1 l40 a0 ", "l40 a0 "},
        {"a1 m1 a0 m2 ", "a1 m1 a0 m2 "},                // an unlock that others wait for
        {"o1 o7 h1 h-1 a1 a3 ", "o1 o7 h1 h-1 a1 a3 "},  // means nothing, takes nothing's place
        {"o7 o1 h-1 h1 ", "o1 h1 "},
    };
    burst("m1 m2 m1 m2 p1 p2 p1 p2 ");
    EXPECT_EQ(acted(), "m1 m2 m1 m2 p1 p2 p1 p2 ") << "no need";
    for (const auto& [sent, expected] : cases) {
        burst(eight + sent);
        EXPECT_EQ(acted(), eight + expected) << sent;
    }
}

TEST_F(Queue, HasAnEnd) {
    burst("");
    for (size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(send("t1"), i < 48 ? OK : WOULD_BLOCK);
    }
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: events dropped: 1 so far, they come faster "
                                         "than they can be acted on"));
    for (int mode = 0; mode < 100; ++mode) {
        EXPECT_EQ(send("m" + std::to_string(mode)), OK);
        EXPECT_EQ(send("t1"), WOULD_BLOCK);
    }
    for (int i = 0; i < 15; ++i) {
        EXPECT_EQ(send(i % 2 == 0 ? "a1" : "b1"), OK);
    }
    EXPECT_EQ(send("l40"), WOULD_BLOCK) << "full, and none to take the place of";
    EXPECT_EQ(send("m5"), OK) << "the last mode counts";
    EXPECT_EQ(dumped(), "[events]\nqueued=64\nmost_queued=64\nmerged=100\ndropped=153\n");
    EXPECT_THAT(acted(), HasSubstr("t1 a1 b1 a1 b1 a1 b1 a1 b1 a1 b1 a1 b1 a1 b1 a1 m5 "));
    EXPECT_THAT(logs.take(), IsEmpty());
}

TEST_F(Queue, CountsDisplaysHoweverFastTheyComeAndGo) {
    burst("");
    const VirtualThread waits("waits", [this] { EXPECT_EQ(send("d1", true), OK); });
    VirtualTime::Settle();
    std::string names;
    for (int i = 0; i < 60; ++i) {
        names += "d1 d0 ";
    }
    std::istringstream sent(names + "t1 d0 d0 d1 d1 d1 p1 ");
    for (std::string name; sent >> name;) {
        EXPECT_EQ(send(name), OK);
    }
    const std::string all = acted();
    int open = 0;
    std::istringstream stream(all);
    for (std::string name; stream >> name;) {
        open += name == "d1" ? 1 : name == "d0" ? -1 : 0;
    }
    EXPECT_EQ(open, 2) << all;
    EXPECT_THAT(all, testing::EndsWith("p1 "));
}

TEST_F(Queue, KeepsCallersWhoWaitButNotTooMany) {
    burst(eight);
    const int64_t sent = MonotonicNow();
    Mutex mutex;
    std::vector<int64_t> answered;
    {
        std::list<VirtualThread> callers;
        for (int caller = 0; caller < 12; ++caller) {
            callers.emplace_back("caller", [&] {
                EXPECT_EQ(send("m1", true), OK);
                MutexLock lock(mutex);
                answered.push_back((MonotonicNow() - sent) / kNsPerS);
            });
        }
    }
    EXPECT_THAT(answered, ElementsAre(0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1));
    EXPECT_EQ(acted(), eight + "m1 ") << "one of them, which all have waited for";
}

TEST_F(Queue, DoesNotKeepACallerWhomAnEventMayHaveToWaitFor) {
    meanwhile = [this, once = true]() mutable {
        if (std::exchange(once, false)) {
            EXPECT_EQ(send("m2", true), OK);
        }
    };
    EXPECT_EQ(send("m1", true), OK);
    Turn::Take([&] { EXPECT_EQ(send("m3", true), OK); });
    EXPECT_EQ(acted(), "m1 m2 m3 ");
}

TEST_F(Queue, LeavesQueriesAloneWhileAnEventHangs) {
    Meddle("IKoraCMSService", fakes.classifier,
           [](uint32_t, const android::Parcel&) { SleepFor(kNsPerS / 2); });
    start();
    decisions();
    const sp<KVTServiceImpl> host = new KVTServiceImpl({}, &events);
    FrameworkClient client{host};
    const int64_t sent = MonotonicNow();
    client.packages("com.example.app", {});
    client.send(POWER_MODE, 1);
    VirtualTime::Settle();
    int32_t fps = 0;
    EXPECT_EQ(client.ask(GET_MAX_LCD_FPS, &fps), OK);
    EXPECT_EQ(MonotonicNow(), sent);
    EXPECT_THAT(decisions(), IsEmpty());
    SleepFor(20 * kNsPerS);
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60", "hold power-saving 60"));
}

class Bursts : public Queue {
  public:
    /** What 40 random events end in, on a phone that is as it was before the last burst. */
    std::string endOf(uint64_t seed, const sp<KVTServiceImpl>& host) {
        std::mt19937_64 random(seed);
        const auto oneOf = [&random](auto... values) {
            const std::common_type_t<decltype(values)...> list[] = {values...};
            return list[random() % sizeof...(values)];
        };
        FrameworkClient client{host};
        client.fingerprint("app.low", 0);
        client.packages("app.low", {});
        for (const uint32_t code :
             {POWER_MODE, LCD_SETTING, TOUCH_POINTER, NOTIFY_DISPLAY_HOTPLUG, GAME_FPS_LIMIT}) {
            client.send(code, 0);
        }
        FpsCommon::virtualDisplayStatus = 0;
        SleepFor(10 * kNsPerS);
        burst("");
        for (int event = 0; event < 40; ++event) {
            const std::string pkg = oneOf("app.low", "app.listed");
            switch (oneOf(0, 1, 1, 2, 2, 2, 2)) {
                case 0:
                    client.fingerprint(pkg, oneOf(0, 1, 2, 3));
                    break;
                case 1:
                    client.packages(pkg, {pkg, oneOf("app.low", "app.listed")});
                    break;
                default:
                    client.send(oneOf(POWER_MODE, LCD_SETTING, TOUCH_POINTER,
                                      NOTIFY_DISPLAY_HOTPLUG, NOTIFY_VIRTUAL_DISPLAY),
                                oneOf(0, 1, 2, 4));
            }
        }
        SleepFor(20 * kNsPerS);
        return FpsCommon::CurrentPkgName() + " " + scenes() + std::to_string(panelHz());
    }
};

TEST_F(Bursts, EndAsIfNothingHadBeenMerged) {
    listPackages(3, 2);
    start();
    const sp<KVTServiceImpl> inPlace = new KVTServiceImpl;
    const sp<KVTServiceImpl> queued = new KVTServiceImpl({}, &events);
    for (uint64_t seed = 0; seed < 40; ++seed) {
        EXPECT_EQ(endOf(seed, queued), endOf(seed, inPlace)) << seed;
    }
    EXPECT_THAT(dumped(), AllOf(Not(HasSubstr("merged=0\n")), HasSubstr("dropped=0\n")));
}

}  // namespace
}  // namespace KVT
