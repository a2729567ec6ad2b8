// SPDX-License-Identifier: Apache-2.0
// A classification service that takes its time, and names without end.
#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

#include "common/KnownPackages.h"
#include "host/TextDumper.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TypesOfEvent : public Phone {
  public:
    TypesOfEvent() {
        for (const char* game : {"game.listed", "game.a"}) {
            type(game, kTypeGame);
        }
        listPackages(3, 9);
        FpsCommon::tables.appTypeFilterMap["app_type_perceptible_list"].insert(10);
        type("app.of.type", 10);
        start();
        decisions();
    }
    void answerAfter(int64_t ns) { fakes.classifier->answerAfter(ns); }

    /** Milliseconds that an action takes. */
    template <typename Action>
    static int64_t timeOf(Action action) {
        const int64_t before = MonotonicNow();
        action();
        return (MonotonicNow() - before) / kNsPerMs;
    }
    static std::string dump() {
        TextDumper dumper;
        FpsCommon::Dump(&dumper);
        return dumper.text();
    }
};

TEST_F(TypesOfEvent, AreWaitedForASecondAtMost) {
    answerAfter(14 * kNsPerS);
    {
        VirtualThread waiting(
            "framework", [this] { EXPECT_EQ(timeOf([this] { focus("game.listed"); }), 1000); });
        SleepFor(200 * kNsPerMs);
        EXPECT_EQ(timeOf([this] {
                      int32_t fps = 0;
                      framework.ask(GET_MAX_LCD_FPS, &fps);
                      FpsCommon::OnVirtualDisplayEventReceived(1);
                      FpsCommon::OnVirtualDisplayEventReceived(0);
                      EXPECT_THAT(dump(), HasSubstr("classification=in time"));
                  }),
                  0);
    }
    EXPECT_EQ(decisions().back(), "app-fixed app-code 60") << "as if asking had failed";
    EXPECT_EQ(timeOf([this] { packages("app.b", {"app.c", "app.d"}); }), 0) << "it was given up";
    EXPECT_EQ(timeOf([this] { focus("app.listed"); }), 0);
    EXPECT_EQ(panelHz(), 90);
    SleepFor(4 * kNsPerS);
    EXPECT_THAT(dump(), HasSubstr("classification=silent for 5 s"));
    EXPECT_EQ(fakes.classifier->asked("app.listed"), 0);
}

TEST_F(TypesOfEvent, DecideAnewWhenTheyComeLate) {
    const struct {
        const char* focus;
        std::vector<std::string> visible;
        const char* atFirst;
        const char* then;
        const char* foreground;
    } cases[] = {
        {"game.listed", {}, "app-fixed app-code 60", "game-dynamic game-code 60", "game.listed"},
        {"a", {"a", "game.a"}, "app-fixed app-code 60", "game-fixed game-code 60", "game.a"},
        {"app.of.type", {}, "app-fixed app-code 60", "app-fixed app-code 90", "app.of.type"},
        {"b", {"b", "app.of.type.2"}, "app-fixed app-code 60", "hold multi-app-mixed 90", "b"},
    };
    type("app.of.type.2", 10);
    FpsCommon::lcdSetting = 0;
    for (const auto& c : cases) {
        answerAfter(1500 * kNsPerMs);
        packages(c.focus, c.visible);
        EXPECT_EQ(decisions().back(), c.atFirst) << c.focus;
        EXPECT_FALSE(FpsCommon::gameScene);
        settle();
        SleepFor(60 * kNsPerS);
        EXPECT_EQ(decisions().back(), c.then) << c.focus;
        EXPECT_EQ(FpsCommon::CurrentPkgName(), c.foreground);
        const bool isGame = std::string(c.foreground).substr(0, 4) == "game";
        EXPECT_EQ(FpsCommon::gameScene, isGame);
        const auto calls = fakes.compositor->takeCalls();
        EXPECT_EQ(std::any_of(calls.begin(), calls.end(),
                              [](const auto& call) {
                                  return call.code == 7013 && call.bytes.rbegin()[3] == 0;
                              }),
                  isGame)
            << c.focus;
        answerAfter(0);
        focus(kLauncher);
        focus("com.example.in.time");
        SleepFor(60 * kNsPerS);
        decisions();
    }
    answerAfter(1500 * kNsPerMs);
    focus("app.left.behind");
    focus(kLauncher);
    decisions();
    SleepFor(60 * kNsPerS);
    EXPECT_THAT(decisions(), IsEmpty()) << "of a package that nobody sees any more";
}

TEST_F(TypesOfEvent, LeaveInFrontWhatWasPutThereMeanwhile) {
    const struct {
        const char* late;
        void (*put)();
    } cases[] = {
        {"game.listed", [] { FpsCommon::DoWithPackageUpdate("app.listed"); }},
        {"game.a", [] { FpsCommon::OnPackageInfoUpate("app.listed", {}, ""); }},
    };
    for (const auto& c : cases) {
        answerAfter(0);
        focus("app.listed");
        answerAfter(1500 * kNsPerMs);
        focus(c.late);
        c.put();
        decisions();
        SleepFor(60 * kNsPerS);
        EXPECT_EQ(FpsCommon::CurrentPkgName(), "app.listed");
        EXPECT_THAT(decisions(), IsEmpty());
    }
}

TEST_F(TypesOfEvent, AreDecidedUponWhileOthersAreStillAskedFor) {
    answerAfter(5 * kNsPerS);
    for (int i = 0; i < 100; ++i) {
        focus("app." + std::to_string(i));
    }
    focus("game.listed");
    answerAfter(90 * kNsPerMs);
    SleepFor(7 * kNsPerS);
    EXPECT_TRUE(FpsCommon::gameScene);
}

TEST_F(TypesOfEvent, AreAskedForLessAndLessOftenOfASlowService) {
    Mutex mutex;
    std::vector<int64_t> seconds;
    const int64_t begin = MonotonicNow();
    Meddle("IKoraCMSService", fakes.classifier, [&](uint32_t, const android::Parcel&) {
        MutexLock lock(mutex);
        seconds.push_back((MonotonicNow() - begin) / kNsPerS);
    });
    const auto asked = [&] {
        MutexLock lock(mutex);
        return std::exchange(seconds, {});
    };
    AppTypes::ConnectClassifier();
    answerAfter(2 * kNsPerS);
    packages("a", {"b", "c", "d", "e", "f", "g", "h", "i", "j"});
    EXPECT_EQ(timeOf([this] { focus("app.x"); }), 0);
    SleepFor(110 * kNsPerS);
    EXPECT_THAT(dump(), HasSubstr("classification=silent for 111 s"));
    EXPECT_THAT(asked(), ElementsAre(0, 3, 7, 13, 23, 41, 73, 105));
    answerAfter(0);
    SleepFor(40 * kNsPerS);
    EXPECT_EQ(asked().size(), 3u) << "all that are left, as soon as it answers in time";
    answerAfter(900 * kNsPerMs);
    EXPECT_EQ(timeOf([this] { focus("app.y"); }), 900) << "and is waited for again";
}

TEST_F(TypesOfEvent, AreAskedForTheLastOfTooMany) {
    const auto event = [this](const std::string& prefix) {
        std::vector<std::string> names(600);
        for (std::string& name : names) {
            name = prefix + std::to_string(&name - names.data());
        }
        packages(prefix + "0", names);
    };
    answerAfter(2 * kNsPerS);
    event("early.");
    event("late.");
    answerAfter(0);
    SleepFor(60 * kNsPerS);
    int asked = 0;
    for (int i = 0; i < 600; ++i) {
        EXPECT_GT(fakes.classifier->asked("late." + std::to_string(i)), 0) << i;
        asked += fakes.classifier->asked("early." + std::to_string(i));
    }
    EXPECT_LE(asked, 1024 - 600 + 1) << "the one under way beside those that wait";
}

TEST_F(TypesOfEvent, DoNotLetAnEventOvertakeALaterOne) {
    const std::function<void(const std::string&)> ways[] = {
        [this](const auto& pkg) { focus(pkg); },
        FpsCommon::DoWithPackageUpdate,
        [](const auto& pkg) { FpsCommon::OnPackageInfoUpate(pkg, {}, "x"); },
    };
    focus("app.known");
    answerAfter(500 * kNsPerMs);
    for (const auto& come : ways) {
        {
            const std::string pkg = "app.asked.for." + std::to_string(&come - ways);
            VirtualThread waiting("earlier", [&] { come(pkg); });
            SleepFor(100 * kNsPerMs);
            focus("app.known");
        }
        EXPECT_EQ(FpsCommon::CurrentPkgName(), "app.known") << &come - ways;
    }
}

TEST_F(TypesOfEvent, AreAskedForAgainWhenAGameEnds) {
    focus("game.listed");
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    packages("game.a", {"game.a", "game.listed"});
    fakes.classifier->failCalls(android::OK);
    FpsCommon::OnGameExitReceived("game.listed", 0);
    EXPECT_EQ(FpsCommon::CurrentPkgName(), "game.listed") << "the focus is on a game";
    EXPECT_EQ(decisions().back(), "game-dynamic game-code 60");
}

TEST_F(TypesOfEvent, AreRememberedOfTheLastPackagesOnly) {
    focus("app.first");
    for (int i = 0; i < 1100; ++i) {
        packages("app." + std::to_string(i), {"app.listed", "app." + std::to_string(i)});
    }
    logs.take();
    {
        MutexLock types(AppTypes::appTypeMapMutex);
        EXPECT_EQ(AppTypes::appTypeMap.size(), 1024u);
        MutexLock codes(FpsCommon::codeCacheMutex);
        EXPECT_EQ(FpsCommon::appCodeCache[0].size(), 1024u);
    }
    for (const auto& [pkg, times] : {std::pair(kLauncher, 0), std::pair("app.listed", 1),
                                     std::pair("app.1099", 1), std::pair("app.first", 2)}) {
        focus(pkg);
        EXPECT_EQ(fakes.classifier->asked(pkg), times) << pkg;
    }
    EXPECT_EQ(FpsCommon::CachedType(kLauncher), kTypeLauncher);
}

}  // namespace
}  // namespace KVT
