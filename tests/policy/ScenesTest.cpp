// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <utility>

#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SceneEvents : public Phone {
  public:
    /** Every application at 90 Hz, so that every low rate has another reason. */
    void startHigh() {
        defaultCodes(3, 2);
        start();
        decisions();
    }
    void startWithGpuComposition(int32_t limit) {
        FpsCommon::tables.gpuCompositionSwitch = true;
        FpsCommon::tables.gpuCompositionCountLimit = limit;
        startHigh();
    }

    /** The rate after each of these events. */
    template <typename Event>
    std::vector<int32_t> rates(Event event, const std::vector<int32_t>& arguments) {
        std::vector<int32_t> hz;
        for (const int32_t argument : arguments) {
            event(argument);
            hz.push_back(panelHz());
        }
        return hz;
    }

    const std::string pay = "com.example.pay";
};

TEST_F(SceneEvents, LowerTheRateWhileTheyLast) {
    startHigh();
    EXPECT_THAT(rates(FpsCommon::OnDisplayHotplugEventReceived, {1, 3, 0, -1}),
                ElementsAre(60, 60, 90, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByTpPointer, {1, 2, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnFullVideoStatusReceived, {1, 3, 0}), ElementsAre(60, 60, 90));
    EXPECT_THAT(rates(FpsCommon::SetLcdLowDownByWechatVideoScene, {1, 0}), ElementsAre(60, 90));
    EXPECT_THAT(rates([this](int32_t mode) { framework.send(POWER_MODE, mode); }, {1, 2, 4, 0}),
                ElementsAre(60, 90, 60, 90));
    EXPECT_THAT(rates(FpsCommon::OnVirtualDisplayEventReceived, {1, 1, 0, 0, 0, 5, 1, 1}),
                ElementsAre(60, 60, 60, 90, 90, 90, 90, 60))
        << "counted without clamping";
}

TEST_F(SceneEvents, DecideAnewEvenForValuesThatChangeNothing) {
    startHigh();
    FpsCommon::OnDisplayHotplugEventReceived(3);
    FpsCommon::OnVirtualDisplayEventReceived(3);
    FpsCommon::SetLcdLowDownByTpPointer(3);
    EXPECT_THAT(decisions(), SizeIs(3));
    FpsCommon::OnFullVideoStatusReceived(3);
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, IgnoreWhatTheConfigurationSwitchesOff) {
    FpsCommon::tables.tpPointerSwitch = false;  // the switch of GPU composition is off by default
    startHigh();
    FpsCommon::SetLcdLowDownByTpPointer(1);
    FpsCommon::OnGpuCompositionEventReceived(1);
    EXPECT_EQ(scenes(), "");
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(SceneEvents, LogVideoCalls) {
    startHigh();
    FpsCommon::SetLcdLowDownByWechatVideoScene(true);
    EXPECT_EQ(logs.take().front(),
              "I/KVTService: fpscommon: wechat: start video call and set down 60Hz");
    FpsCommon::SetLcdLowDownByWechatVideoScene(false);
    EXPECT_EQ(logs.take().front(), "I/KVTService: fpscommon: wechat: end video call and recover");
}

TEST_F(SceneEvents, TolerateAsManyGpuCompositionsAsConfigured) {
    const struct {
        int32_t limit;
        std::vector<int32_t> events, hz;
        int32_t timesFull;
    } cases[] = {
        {1, {0, 1, 1, 0, 5, 1}, {90, 60, 60, 60, 60, 60}, 2},
        {3, {1, 0, 1, 2, 1, 0}, {60, 90, 60, 90, 60, 60}, 1},
    };
    for (const auto& c : cases) {
        apart([&] {
            startWithGpuComposition(c.limit);
            EXPECT_EQ(rates(FpsCommon::OnGpuCompositionEventReceived, c.events), c.hz);
            EXPECT_EQ(FpsCommon::gpuCompositionCount, c.limit);
            const std::vector<std::string> lines = logs.take();
            EXPECT_EQ(std::count(lines.begin(), lines.end(),
                                 "I/KVTService: Gpu-KVT: Gpu composition count full"),
                      c.timesFull);
            focus("com.example.next");
            EXPECT_EQ(panelHz(), 90);
            EXPECT_EQ(FpsCommon::gpuCompositionCount, 0);
        });
    }
}

TEST_F(SceneEvents, SpareGamesAndTheBenchmarkFromGpuComposition) {
    startWithGpuComposition(1);
    type("com.example.game", kTypeGame);
    for (const char* pkg :
         {"com.example.game", "net.kishonti.gfxbench.vulkan.v50000.corporate.two"}) {
        focus(pkg);
        decisions();
        FpsCommon::OnGpuCompositionEventReceived(1);
        EXPECT_THAT(decisions(), IsEmpty()) << pkg;
        EXPECT_EQ(FpsCommon::gpuCompositionStatus, 0) << pkg;
    }
}

TEST_F(SceneEvents, LetFingerprintUnlockHaveItsRate) {
    const struct {
        const char* pkg;
        int32_t status;
        int32_t hz;
        const char* what;
    } cases[] = {
        {"com.example.pay", 1, 90, "asks for the high rate"},
        {"com.android.systemui", 0, 90, "can not end another package's unlock"},
        {"com.example.pay", 2, 60, "changes its own"},
        {"com.example.pay", 0, 60, "ends it"},
        {"com.android.systemui", 1, 90, "asks"},
        {"com.android.systemui", 2, 60, "can change its own"},
        {"com.example.pay", 0, 60, "may replace the system UI's"},
    };
    start();
    for (const auto& c : cases) {
        framework.fingerprint(c.pkg, c.status);
        EXPECT_EQ(panelHz(), c.hz) << c.pkg << " " << c.what;
        focus("com.example.app");
        EXPECT_EQ(panelHz(), c.hz) << "other events wait";
    }
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0);
    EXPECT_EQ(decisions().back(), "app-fixed app-code 60");
}

TEST_F(SceneEvents, RefuseFingerprintMessagesThatMakeNoSense) {
    start();
    for (const auto& [pkg, status] : {std::pair(pay, 3), {pay, -1}, {"", 1}}) {
        FpsCommon::OnFingerprintMessageReceived(pkg, status);
        EXPECT_THAT(logs.take(),
                    ElementsAre("E/KVTService: kvt-fingerprint: params invalid, packageName: " +
                                pkg + ", status: " + std::to_string(status)));
    }
    EXPECT_EQ(FpsCommon::fingerprintStatus, 0);
}

TEST_F(SceneEvents, WaitWithTheirDecisionForAnUnlockToEnd) {
    startWithGpuComposition(5);
    framework.fingerprint(pay, 1);
    decisions();
    everyScene();
    focus("com.norvik.android.launcher");
    EXPECT_THAT(decisions(), IsEmpty());
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(scenes(),
              "display_hotplug=1 virtual_displays=1 touch_pointer=1 power_saving=1 "
              "video_call=1 full_video=1 gpu_composition=1 gpu_composition_count=1 "
              "fingerprint=1 ");
    EXPECT_EQ(FpsCommon::lcdSetting, 2);
    framework.fingerprint(pay, 0);
    EXPECT_THAT(decisions(), ElementsAre("hold display-hotplug 60"));
}

TEST_F(SceneEvents, RecoverThePanelAndTheBindingOfTheBigCores) {
    startHigh();
    framework.send(LCD_SETTING, 1);
    const auto spoil = [this] {
        ASSERT_TRUE(android::base::WriteStringToFile("spoilt", path("cpus")));
        fakes.panel->changeByItself("60");
        logs.take();
        FpsCommon::RecoverLcd();
    };
    spoil();
    EXPECT_EQ(logs.take().front(), "I/KVTService: LcdFpsControl: recover lcd fps 90");
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(cpus(), "4-7");
    FpsCommon::RecoverLcd();
    EXPECT_THAT(logs.take(), IsEmpty()) << "nothing to recover";
    framework.fingerprint(pay, 1);
    spoil();
    EXPECT_EQ(panelHz(), 60) << "not during an unlock";
    EXPECT_EQ(cpus(), "4-7") << "during an unlock as well";
}

TEST_F(SceneEvents, RecoverAFixedRateToo) {
    property("persist.dynamicfps.switch", "90");
    start();
    fakes.panel->changeByItself("60");
    FpsCommon::RecoverLcd();
    EXPECT_EQ(panelHz(), 90);
    EXPECT_EQ(cpus(), "") << "the binding belongs to the dynamic policy";
}

// Which rule decides when several scenes hold, against a statement of the precedence that is
// written down here.

struct Scene {
    const char* rule;
    int32_t hz;
    void (*set)(PolicySnapshot& s);
};

// Most important first.
const Scene kScenes[] = {
    {"display-hotplug", 60, [](auto& s) { s.underDisplayHotplugControl = true; }},
    {"virtual-display", 60, [](auto& s) { s.virtualDisplayStatus = 1; }},
    {"touch-pointer", 60, [](auto& s) { s.underTpPointerControl = true; }},
    {"power-saving", 60, [](auto& s) { s.powerModeSwitch = true; }},
    {"video-call", 60, [](auto& s) { s.underWechatVideoScene = true; }},
    {"full-video", 60, [](auto& s) { s.underFullVideoScene = true; }},
    {"gpu-composition", 60, [](auto& s) { s.gpuCompositionStatus = 1; }},
    {"gpu-composition-count", 60, [](auto& s) { s.gpuCompositionCount = 1; }},
    {"fingerprint-low", 60, [](auto& s) { s.fingerprintStatus = 2; }},
    {"compatibility-test", 60, [](auto& s) { s.ctsTestCount = 1; }},
    {"multi-app-forced", 60, [](auto& s) { s.underMultiAppStatus = 2; }},
    {"fingerprint-high", 90, [](auto& s) { s.fingerprintStatus = 1; }},
    {"multi-app-mixed", 90, [](auto& s) { s.underMultiAppStatus = 1; }},
};

std::string RuleFor(const PolicySnapshot& state) {
    const std::optional<Decision> decision = DecideByScene(state);
    return decision ? decision->rule->name + (" " + std::to_string(decision->rate)) : "";
}

TEST(Precedence, LetsTheMoreImportantOfTwoScenesDecide) {
    EXPECT_EQ(RuleFor({}), "");
    for (const Scene& first : kScenes) {
        for (const Scene* second = &first; second != std::end(kScenes); ++second) {
            PolicySnapshot state;
            second->set(state);
            first.set(state);  // last, as two of them may be states of one input
            EXPECT_EQ(RuleFor(state), first.rule + (" " + std::to_string(first.hz)))
                << "with " << second->rule;
        }
    }
}

TEST(Precedence, KnowsWhereAScenesInputBeginsToCount) {
    const struct {
        int32_t PolicySnapshot::*input;
        int32_t value;
        const char* rule;  // empty: does not count
    } cases[] = {
        {&PolicySnapshot::virtualDisplayStatus, -2, ""},  // stray removals
        {&PolicySnapshot::virtualDisplayStatus, 3, "virtual-display 60"},
        {&PolicySnapshot::gpuCompositionStatus, 2, ""},
        {&PolicySnapshot::gpuCompositionStatus, -1, ""},
        {&PolicySnapshot::gpuCompositionCountLimit, 0, "gpu-composition-count 60"},
        {&PolicySnapshot::ctsTestCount, 2, "compatibility-test 60"},
        {&PolicySnapshot::ctsTestCount, -1, ""},
    };
    for (const auto& c : cases) {
        PolicySnapshot state;
        state.*c.input = c.value;
        EXPECT_EQ(RuleFor(state), c.rule) << &c - cases;
    }
}

class Unlock : public Phone {};

TEST_F(Unlock, KeepsOtherEventsFromDecidingButNotTheDecisionItself) {
    start();
    framework.fingerprint("com.example.pay", 1);
    decisions();
    FpsCommon::DoWithForeAppSwitch();
    EXPECT_THAT(decisions(), IsEmpty());
    FpsCommon::DoWithForeAppSwitchInternal();
    EXPECT_THAT(decisions(), ElementsAre("hold fingerprint-high 90"));
}

// It is granted only when nothing else has a say, a mix of applications included, which would get
// the same rate.
TEST_F(Unlock, IsRefusedInAnyOtherScene) {
    start();
    decisions();
    for (const Scene& scene : kScenes) {
        PolicySnapshot state;
        scene.set(state);
        if (state.fingerprintStatus != 0) {
            continue;  // an unlock itself
        }
        for (const int32_t status : {1, 2}) {
            SCOPED_TRACE(scene.rule);
#define KVT_STORE(type, name, key) FpsCommon::name = state.name;
            KVT_SCENE_INPUTS(KVT_STORE)
#undef KVT_STORE
            framework.fingerprint("com.example.pay", status);
            EXPECT_THAT(decisions(), IsEmpty());
            EXPECT_THAT(logs.take(),
                        Contains("I/KVTService: kvt-fingerprint: under control by others"));
            EXPECT_EQ(FpsCommon::fingerprintStatus, status) << "kept for later";
        }
    }
}

/** Expects a line with this beginning and this end behind the last one that was found. */
void ExpectRow(std::string& document, const std::string& begin, const std::string& end) {
    const size_t row = document.find("\n" + begin);
    ASSERT_NE(row, std::string::npos) << begin << " is not in its place";
    document.erase(0, row + 1);
    EXPECT_TRUE(android::base::EndsWith(document.substr(0, document.find('\n')), end)) << begin;
}

// README lists all rules, with their rates and meanings; the other document those that a
// configuration has a say in.
TEST(Rules, AreTheOnesThatTheDocumentsList) {
    std::string readme, configuration;
    ASSERT_TRUE(android::base::ReadFileToString(KVT_SOURCE_DIR "/README.md", &readme));
    ASSERT_TRUE(
        android::base::ReadFileToString(KVT_SOURCE_DIR "/docs/configuration.md", &configuration));
    const std::string all = configuration;
    for (const Rule& rule : Rules()) {
        const std::string name = rule.name;
        const bool byCode = rule.rate == kRateByCode;
        const std::string hz = byCode ? "by its code" : std::to_string(rule.rate);
        if (!byCode) {
            ExpectRow(readme, "| " + name + " ", "| " + hz + " | " + rule.when + " |");
        }
        if (all.find("| `" + name + "` ") != std::string::npos || byCode) {
            ExpectRow(configuration, "| `" + name + "` ", "| " + hz + " |");
        }
    }
}

// A rule that no scene brings about, or an input that no scene needs, has been forgotten above.
TEST(Rules, HaveAScene) {
    std::set<std::string> rules = {"game-code", "app-code"};
    PolicySnapshot all;
    for (const Scene& scene : kScenes) {
        rules.insert(scene.rule);
        scene.set(all);
    }
    for (const Rule& rule : Rules()) {
        EXPECT_EQ(rules.count(rule.name), 1u) << rule.name;
    }
#define KVT_IS_SET(type, name, key) EXPECT_NE(all.name, type{}) << key;
    KVT_SCENE_INPUTS(KVT_IS_SET)
#undef KVT_IS_SET
}

}  // namespace
}  // namespace KVT
