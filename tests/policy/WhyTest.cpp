// SPDX-License-Identifier: Apache-2.0
// What the service says of why the panel is at its rate.
#include <gmock/gmock.h>

#include <string>

#include "common/KnownPackages.h"
#include "host/RateHistory.h"
#include "host/TextDumper.h"
#include "strategy/AppDynamicFps.h"
#include "strategy/GameHighFps.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class Why : public Phone {
  public:
    Why() {
        RateLog::Start();
        type("game.listed", kTypeGame);
        type("game.other", kTypeGame);
        FpsCommon::tables.appPkgFilterMap["app_pkg_imperceptible_list"].insert("app.touch");
        FpsCommon::tables.settingSwitchMap[0]["app_imperceptible_switch"] = kCodeDynamic;
    }

    /** Of the section "why". */
    static std::string value(const std::string& name) {
        TextDumper dumper;
        FpsCommon::DumpWhy(&dumper);
        const std::string text = dumper.text();
        const size_t at = text.find("\n" + name + "=");
        const size_t begin = at + name.size() + 2;
        return at == std::string::npos ? "" : text.substr(begin, text.find('\n', begin) - begin);
    }

    /** "60 power-saving, without it app-code 90 Hz" */
    static std::string why() {
        EXPECT_NE(value("because"), "");
        std::string text = value("hz") + " " + value("cause");
        text += value("followed") == "true" ? "" : ", asked " + value("asked_hz");
        return value("without").empty()
                   ? text
                   : text + ", without it " + value("without") + " " + value("without_rate");
    }

    std::vector<std::string> lines() {
        std::vector<std::string> lines;
        for (const std::string& line : logs.take()) {
            if (line.find("KVTService: panel ") != std::string::npos) {
                lines.push_back(line.substr(sizeof("I/KVTService: ") - 1));
            }
        }
        return lines;
    }
};

TEST_F(Why, NamesEachScene) {
    listPackages(3, 2);
    start();
    focus("app.listed");
    using Policy = FpsCommon;
    const struct {
        const char* why;
        void (*set)(bool on);
    } cases[] = {
        {"60 display-hotplug", [](bool on) { Policy::underDisplayHotplugControl = on; }},
        {"60 virtual-display", [](bool on) { Policy::virtualDisplayStatus = on; }},
        {"60 touch-pointer", [](bool on) { Policy::underTpPointerControl = on; }},
        {"60 power-saving", [](bool on) { Policy::powerModeSwitch = on; }},
        {"60 video-call", [](bool on) { Policy::underWechatVideoScene = on; }},
        {"60 full-video", [](bool on) { Policy::underFullVideoScene = on; }},
        {"60 gpu-composition", [](bool on) { Policy::gpuCompositionStatus = on; }},
        {"60 gpu-composition-count", [](bool on) { Policy::gpuCompositionCount = on ? 9 : 0; }},
        {"60 fingerprint-low", [](bool on) { Policy::fingerprintStatus = on ? 2 : 0; }},
        {"60 compatibility-test", [](bool on) { Policy::ctsTestCount = on; }},
        {"60 multi-app-forced", [](bool on) { Policy::underMultiAppStatus = on ? 2 : 0; }},
        {"90 fingerprint-high", [](bool on) { Policy::fingerprintStatus = on; }},
        {"90 multi-app-mixed", [](bool on) { Policy::underMultiAppStatus = on; }},
    };
    for (const auto& c : cases) {
        c.set(true);
        FpsCommon::DoWithForeAppSwitchInternal();
        EXPECT_EQ(why(), std::string(c.why) + ", without it app-code 90 Hz");
        Policy::underMultiAppStatus = 2;
        const bool isLast = std::string(c.why).find("multi-app-forced") != std::string::npos;
        EXPECT_THAT(why(), EndsWith(isLast ? "90 Hz" : "without it multi-app-forced 60 Hz"));
        Policy::underMultiAppStatus = 0;
        c.set(false);
    }
    FpsCommon::DoWithForeAppSwitchInternal();
    EXPECT_EQ(why(), "90 app-code, without it app_default 60 Hz");
}

TEST_F(Why, NamesTheEntryThatChoseTheCode) {
    listPackages(3, 3);
    FpsCommon::tables.appTypeFilterMap["app_type_perceptible_list"].insert(10);
    type("app.of.type", 10);
    type("app.listed.b", 10);
    start();
    const struct {
        const char* pkg;
        const char* text;
        const char* why;
    } cases[] = {
        {"app.listed.too",
         "app.listed.too is an application of code 3 (app_pkg_perceptible_list, entry app.listed)",
         "90 app-code, without it app_default 60 Hz"},
        {"app.listed.b",
         "app.listed.b is an application of code 3 (app_pkg_perceptible_list, entry app.listed)",
         "90 app-code, without it app_type_perceptible_list 90 Hz"},
        {"app.of.type", "app.of.type is an application of code 3 (app_type_perceptible_list)",
         "90 app-code, without it app_default 60 Hz"},
        {"app.other", "app.other is an application of code 2 (app_default)", "60 app-code"},
        {"game.listed",
         "game.listed is a game of code 3 (game_pkg_perceptible_list, entry game.listed)",
         "90 game-code, without it game_default 60 Hz"},
        {"game.other", "game.other is a game of code 2 (game_default)", "60 game-code"},
    };
    for (const auto& c : cases) {
        focus(c.pkg);
        EXPECT_EQ(value("package_text"), c.text);
        EXPECT_EQ(why(), c.why) << c.pkg;
    }
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    type("app.late", 10);
    focus("app.late");
    fakes.classifier->failCalls(android::OK);
    focus("app.late");
    EXPECT_EQ(value("package_text"),
              "app.late is an application of code 2 (settled when less was known of it)");
}

TEST_F(Why, FollowsTheFinger) {
    start();
    focus("app.touch");
    EXPECT_EQ(why(), "60 app-code, without it app_default 60 Hz");
    lines();
    for (int i = 0; i < 2; ++i) {
        AppDynamicFps::GetInstance()->SetLcdEvent(1);
        focus("app.touch");
        EXPECT_EQ(why(), "90 touch-down, without it app-code as the strategy sets it");
        AppDynamicFps::GetInstance()->SetLcdEvent(0);
        SleepFor(kNsPerS);
        EXPECT_EQ(why(), "60 touch-rest, without it app-code as the strategy sets it");
    }
    for (int i = 0; i < 2; ++i) {
        fakes.panel->changeByItself("90");
        FpsCommon::RecoverLcd();
        EXPECT_EQ(why(), "60 recovery, without it app-code as the strategy sets it");
    }
    focus("app.touch.too");
    EXPECT_THAT(lines(), ElementsAre("panel 60 -> 90 Hz: touch-down, app.touch, in 0 ms",
                                     "panel 90 -> 60 Hz: touch-rest, app.touch, in 0 ms",
                                     "panel 60 -> 90 Hz: touch-down, app.touch, in 0 ms",
                                     "panel 90 -> 60 Hz: touch-rest, app.touch, in 0 ms",
                                     "panel 90 -> 60 Hz: recovery, app.touch, in 0 ms",
                                     "panel 90 -> 60 Hz: recovery, app.touch, in 0 ms",
                                     "panel stays at 60 Hz: recovery, app.touch.too"));
}

TEST_F(Why, SaysWhenAnUnlockSuspendsDecisions) {
    start();
    framework.send(POWER_MODE, 4);
    SleepFor(kNsPerS);
    focus("app.other");
    VirtualTime::Suspend(3600 * kNsPerS);
    EXPECT_EQ(value("seconds"), "3601.000") << "whatever is in front, and while the phone sleeps";
    framework.fingerprint("bank", 1);
    framework.send(POWER_MODE, 2);
    EXPECT_EQ(why(), "60 power-saving, without it fingerprint-high 90 Hz");
    EXPECT_THAT(value("because"), HasSubstr("until a fingerprint unlock ends"));
}

TEST_F(Why, SaysHowLongTheSchedulerIsToldMore) {
    listPackages(2, 3);
    start();
    focus("game.listed");
    GameHighFps::GetInstance()->SetGameFps(60);
    SleepFor(kNsPerS);
    EXPECT_EQ(why(), "90 boost, without it game-code 90 Hz");
    SleepFor(5 * kNsPerS);
    EXPECT_EQ(why(), "90 game-code, without it game_default 60 Hz");
    GameHighFps::GetInstance()->SetGameFps(61);
    GameHighFps::GetInstance()->SetGameFps(60);
    SleepFor(kNsPerS);
    focus(kLauncher);
    SleepFor(9 * kNsPerS);
    EXPECT_EQ(why(), "60 app-code") << "a boost that was cut short is not what ends it";
}

TEST_F(Why, TellsOfAPanelThatDoesNotFollow) {
    listPackages(3, 2);
    start();
    panel("60", {"60", "90"}, sim::FakePanel::kNever);
    lines();
    focus("app.listed");
    focus("app.listed");
    EXPECT_EQ(why(), "60 app-code, asked 90, without it app_default 60 Hz");
    focus("app.touch");
    EXPECT_EQ(why(), "60 app-code, asked 90, without it app_default 60 Hz");
    panel("60", {"60", "90"}, 3);
    focus("app.listed");
    EXPECT_EQ(why(), "90 app-code, without it app_default 60 Hz");
    sim::FakePanel::Behaviour mute = fakes.panel->behaviour();
    mute.getError = 1;
    fakes.panel->behave(mute);
    framework.send(POWER_MODE, 4);
    EXPECT_EQ(why(), "-1 power-saving, asked 60, without it app-code 90 Hz");
    EXPECT_THAT(
        lines(),
        ElementsAre("panel stays at 60 Hz, 90 asked: app-code 3, app.listed, in 144 ms",
                    "panel stays at 60 Hz: app-code 9, app.touch",
                    "panel 60 -> 90 Hz: app-code 3, app.listed, in 48 ms",
                    "panel can not be read, 60 asked: power-saving, app.listed, in 144 ms"));
}

TEST_F(Why, IsAFixedRate) {
    const struct {
        const char* property;
        const char* why;
    } cases[] = {{"60", "60 fixed-mode"},
                 {"90", "90 fixed-mode"},
                 {"7", "60 fixed-mode"},
                 {"-1", "60 start"}};
    for (const auto& c : cases) {
        apart([&] {
            property("persist.dynamicfps.switch", c.property);
            start();
            EXPECT_EQ(why(), c.why);
        });
    }
}

TEST_F(Why, KeepsTheLastChangesOnly) {
    RateJournal journal;
    EXPECT_EQ(journal.last().number, 0u);
    for (int32_t i = 0; i < 2000; ++i) {
        journal.onPackage("app." + std::to_string(i / 2));
        journal.onAsked({Cause::kTouchDown}, 90, i % 4 < 2 ? -1 : 90, 0);
    }
    EXPECT_EQ(journal.last().number, 1000u) << "what repeats the one before is none";
    const auto entries = journal.since(0);
    ASSERT_EQ(entries.size(), RateJournal::kCapacity);
    EXPECT_EQ(entries.front().pkg, "app.488");
    EXPECT_EQ(entries.back().pkg, "app.999");
    EXPECT_EQ(journal.since(998).size(), 2u);
    EXPECT_TRUE(journal.since(5000).empty());
    EXPECT_TRUE(journal.since(UINT64_MAX).empty());
}

}  // namespace
}  // namespace KVT
