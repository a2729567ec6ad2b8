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

using android::IBinder;
using android::OK;
using android::WOULD_BLOCK;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::map<char, uint32_t> kCodes = {{'m', POWER_MODE},
                                         {'s', LCD_SETTING},
                                         {'l', GAME_FPS_LIMIT},
                                         {'p', PACKAGES},
                                         {'o', TOUCH_POINTER},
                                         {'h', NOTIFY_DISPLAY_HOTPLUG},
                                         {'t', SET_LCD_EVENT},
                                         {'d', NOTIFY_VIRTUAL_DISPLAY},
                                         {'g', NOTIFY_GPU_COMPOSITION},
                                         {'a', FINGERPRINT},
                                         {'b', FINGERPRINT}};

/** Events by name: a letter for the kind, then the value; fingerprints of the packages a and b. */
class Queue : public Phone {
  public:
    android::status_t send(const std::string& name, bool callerWaits = false) {
        const uint32_t code = kCodes.at(name[0]);
        const std::string package = code == FINGERPRINT ? name.substr(0, 1) : "";
        return events.run({code, stoi(name.substr(1)), package, [this, name] { act(name); }},
                          callerWaits);
    }
    void sendAll(const std::string& names) {
        std::istringstream stream(names);
        for (std::string name; stream >> name;) {
            EXPECT_EQ(send(name), OK);
        }
    }
    /** Keeps the queue busy for a second. */
    void hang() {
        events.run({POWER_MODE, 0, "", [] { SleepFor(kNsPerS); }}, false);
        VirtualTime::Settle();
    }
    std::string acted() {
        SleepFor(10 * kNsPerS);
        return std::exchange(mActed, "");
    }
    std::string dumped() {
        TextDumper dumper;
        events.dump(&dumper);
        return dumper.text();
    }

    EventQueue events;
    std::function<void()> meanwhile = [] {};

  private:
    void act(const std::string& name) {
        EXPECT_TRUE(Turn::IsUnderWay());
        meanwhile();
        mActed += name + " ";
    }

    std::string mActed;
};

TEST_F(Queue, MergesStatesWhenManyWait) {
    const std::string few = "m1 m2 m1 m2 p1 p2 p1 p2 ";
    const std::string padding = "d1 d0 d1 d0 d1 d0 d1 d0 ";
    const std::pair<std::string, std::string> cases[] = {
        {"m1 m2 s1 m4 s0 l40 l60 p1 p2 o1 o0 h1 h0 ", "m4 s0 l60 p2 o0 h0 "},
        {"p1 m1 p2 m2 p3 m3 ", "p3 m3 "},
        {"t1 t0 t1 d1 d0 g1 g0 g1 ", "t1 t0 t1 d1 d0 g1 g0 g1 "},
        {"l40 p1 l50 p2 l60 ", "p2 l60 "},
        {"p1 l40 p1 ", "p1 l40 p1 "},  // a limit that a game may have ended
        {"s1 p1 s2 ", "s1 p1 s2 "},
        {"s1 p1 s2 p2 ", "s2 p2 "},
        {"p1 g1 p2 ", "p1 g1 p2 "},
        {"m1 t1 m2 o1 t0 o0 ", "m1 t1 m2 o1 t0 o0 "},  // whoever arms the touch strategy, or not
        {"a1 a2 a0 b1 a1 b0 ", "a0 b1 a1 b0 "},
        {"a0 a1 ", "a0 a1 "},  // the end decides, the beginning may leave that to others
        {"a1 l40 a0 ", "l40 a0 "},
        {"a1 m1 a0 m2 ", "a1 m1 a0 m2 "},                // an unlock that others wait for
        {"o1 o7 h1 h-1 a1 a3 ", "o1 o7 h1 h-1 a1 a3 "},  // means nothing, takes nothing's place
        {"o7 o1 h-1 h1 ", "o1 h1 "},
    };
    ASSERT_EQ(events.start(), OK);
    hang();
    sendAll(few);
    EXPECT_EQ(acted(), few) << "no need";
    for (const auto& [sent, expected] : cases) {
        hang();
        sendAll(padding + sent);
        EXPECT_EQ(acted(), padding + expected) << sent;
    }
}

TEST_F(Queue, HasAnEnd) {
    ASSERT_EQ(events.start(), OK);
    hang();
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

TEST_F(Queue, KeepsCallersWhoWaitButNotTooMany) {
    ASSERT_EQ(events.start(), OK);
    hang();
    sendAll("d1 d0 d1 d0 d1 d0 d1 d0");
    const int64_t sent = MonotonicNow();
    std::vector<int64_t> answered;
    {
        std::list<VirtualThread> callers;
        for (int caller = 0; caller < 12; ++caller) {
            callers.emplace_back("caller", [&] {
                EXPECT_EQ(send("m1", true), OK);
                answered.push_back((MonotonicNow() - sent) / kNsPerS);
            });
        }
    }
    EXPECT_THAT(answered, ElementsAre(0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1));
    EXPECT_EQ(acted(), "d1 d0 d1 d0 d1 d0 d1 d0 m1 ") << "one of them, which all have waited for";
    send("m1", true);
    EXPECT_EQ(acted(), "m1 ");
}

TEST_F(Queue, DoesNotKeepACallerWhomAnEventMayHaveToWaitFor) {
    ASSERT_EQ(events.start(), OK);
    meanwhile = [this, once = true]() mutable {
        if (std::exchange(once, false)) {
            EXPECT_EQ(send("m2", true), OK);
        }
    };
    EXPECT_EQ(send("m1", true), OK);
    Turn::Take([&] {
        EXPECT_EQ(send("m3", true), OK);
        EXPECT_EQ(dumped().substr(0, 18), "[events]\nqueued=1\n") << "not before the turn is over";
    });
    EXPECT_EQ(acted(), "m1 m2 m3 ");
}

TEST_F(Queue, DropsAtItsEndWhatItHasNotBegun) {
    const auto never = std::make_shared<bool>();
    {
        EventQueue ending;
        ASSERT_EQ(ending.start(), OK);
        ending.run({POWER_MODE, 0, "", [] { SleepFor(kNsPerS); }}, false);
        ending.run({POWER_MODE, 0, "", [never] { *never = true; }}, false);
        VirtualTime::Settle();
    }
    EXPECT_FALSE(*never);
    EXPECT_EQ(never.use_count(), 1);
}

/** The service as its host runs it. */
class QueuedService : public Queue {
  public:
    void start() {
        Phone::start();
        ASSERT_EQ(events.start(), OK);
    }

    /** What a burst of events ends in, sent to a phone that is as it was before the last one. */
    std::string endOfBurst(const android::sp<android::IBinder>& receiver, std::mt19937_64 random) {
        FrameworkClient client{receiver};
        for (const char* pkg : {"app.c", "app.b", "app.a"}) {
            client.fingerprint(pkg, 0);
            SleepFor(kNsPerS);
            client.packages(pkg, {});
        }
        for (const uint32_t code :
             {POWER_MODE, LCD_SETTING, TOUCH_POINTER, NOTIFY_DISPLAY_HOTPLUG, GAME_FPS_LIMIT}) {
            client.send(code, 0);
        }
        FpsCommon::virtualDisplayStatus = 0;
        SleepFor(10 * kNsPerS);
        hang();
        const auto oneOf = [&random](auto... values) {
            const std::common_type_t<decltype(values)...> list[] = {values...};
            return list[random() % sizeof...(values)];
        };
        for (int event = 0; event < 40; ++event) {
            const std::string pkg = oneOf("app.a", "app.b", "app.high");
            const int kind = oneOf(0, 1, 2, 3, 4, 5, 6);
            if (kind < 2) {
                client.packages(pkg, {pkg, oneOf("app.a", "app.high")});
            } else if (kind == 2 && oneOf(0, 1) == 0) {
                client.fingerprint(pkg, oneOf(0, 1, 2, 3));
            } else {
                client.send(oneOf(POWER_MODE, LCD_SETTING, TOUCH_POINTER, NOTIFY_DISPLAY_HOTPLUG,
                                  NOTIFY_VIRTUAL_DISPLAY, GAME_FPS_LIMIT),
                            oneOf(0, 1, 2, 4));
            }
        }
        SleepFor(20 * kNsPerS);
        return FpsCommon::CurrentPkgName() + " " + scenes() + std::to_string(panelHz());
    }

    android::sp<KVTServiceImpl> impl = new KVTServiceImpl({}, &events);
};

TEST_F(QueuedService, EndsAsIfNothingHadBeenMerged) {
    FpsCommon::tables.settingSwitchMap[1]["app_perceptible_switch"] = 3;
    FpsCommon::tables.settingSwitchMap[0]["app_perceptible_switch"] = 3;
    FpsCommon::tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("app.high");
    start();
    const android::sp<KVTServiceImpl> inPlace = new KVTServiceImpl;
    for (uint64_t seed = 0; seed < 40; ++seed) {
        const std::string expected = endOfBurst(inPlace, std::mt19937_64(seed));
        EXPECT_EQ(endOfBurst(impl, std::mt19937_64(seed)), expected) << seed;
    }
    EXPECT_THAT(dumped(), AllOf(Not(HasSubstr("merged=0\n")), HasSubstr("dropped=0\n")));
}

TEST_F(QueuedService, AnswersWhileAnEventHangs) {
    Meddle("IKoraCMSService", fakes.classifier,
           [](uint32_t, const android::Parcel&) { SleepFor(5 * kNsPerS); });
    start();
    decisions();
    FrameworkClient client{impl};
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

}  // namespace
}  // namespace KVT
