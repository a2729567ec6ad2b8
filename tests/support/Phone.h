// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/file.h>
#include <binder/IServiceManager.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Paths.h"
#include "host/FrameworkClient.h"
#include "linux/Properties.h"
#include "policy/Consequences.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"
#include "sync/virtual/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingService.h"

namespace KVT {

/** A whole phone in virtual time, with the real policy in it. One per process. */
class Phone : public testing::Test {
  public:
    Phone() {
        UsePropertyFolder("");
        VirtualTime::Enter({});
        SetPaths({path("kvt_config.xml"), path("cpus")});
        fakes.publish();
        Consequences::Connect();  // for tests that start no policy
    }

    /** Starts the policy with this configuration file; without one when it is empty. */
    void start(const std::string& config = "") {
        if (!config.empty()) {
            ASSERT_TRUE(android::base::WriteStringToFile(config, path("kvt_config.xml")));
        }
        FpsCommon::Init();
        settle();
    }

    /** Codes for the packages app.listed* and game.listed* under setting 0; before start(). */
    static void listPackages(int32_t appCode, int32_t gameCode) {
        ConfigTables& tables = FpsCommon::tables;
        tables.settingSwitchMap[0]["app_perceptible_switch"] = appCode;
        tables.settingSwitchMap[0]["game_perceptible_switch"] = gameCode;
        tables.appPkgFilterMap["app_pkg_perceptible_list"].insert("app.listed");
        tables.gameFilterMap["game_pkg_perceptible_list"].insert("game.listed");
    }
    /** The code of every package that no list names, under setting 0; before start(). */
    static void defaultCodes(int32_t appCode, int32_t gameCode) {
        FpsCommon::tables.settingSwitchMap[0]["app_default"] = appCode;
        FpsCommon::tables.settingSwitchMap[0]["game_default"] = gameCode;
    }

    /** Plays a case of a list in a process of its own, as the policy starts once in each. */
    template <typename Body>
    static void apart(Body body) {
        EXPECT_EXIT((body(), exit(HasFailure() ? 1 : 0)), testing::ExitedWithCode(0), "");
    }

    void property(const char* name, const char* value) { ASSERT_EQ(property_set(name, value), 0); }

    void panel(const std::string& current, const std::vector<std::string>& rates,
               int32_t obeysAfter = 0) {
        sim::FakePanel::Behaviour behaviour;
        behaviour.current = current;
        behaviour.rates = rates;
        behaviour.obeysAfter = obeysAfter;
        fakes.panel->behave(behaviour);
    }

    void type(const std::string& pkg, int32_t packageType) {
        fakes.classifier->setType(pkg, packageType);
    }

    // Events, as the framework sends them.
    void focus(const std::string& pkg) { packages(pkg, {}); }
    void packages(const std::string& pkg, const std::vector<std::string>& visible) {
        EXPECT_EQ(framework.packages(pkg, visible), android::OK);
    }

    /** Everything that can happen besides a package and an unlock, and that lowers the rate. */
    void everyScene() {
        framework.send(POWER_MODE, 1);
        framework.send(LCD_SETTING, 2);
        framework.send(TOUCH_POINTER, 1);
        FpsCommon::OnDisplayHotplugEventReceived(1);
        FpsCommon::OnVirtualDisplayEventReceived(1);
        FpsCommon::SetLcdLowDownByWechatVideoScene(true);
        FpsCommon::OnFullVideoStatusReceived(1);
        FpsCommon::OnGpuCompositionEventReceived(1);
    }
    /** The scene inputs that are not at rest, as "display_hotplug=1 fingerprint=2 ". */
    static std::string scenes() {
        std::string text;
        const PolicySnapshot state = FpsCommon::TakeSceneInputs();
#define KVT_SHOW(type, name, key) \
    text += state.name == type{} ? "" : key "=" + std::to_string(state.name) + " ";
        KVT_SCENE_INPUTS(KVT_SHOW)
#undef KVT_SHOW
        return text;
    }

    /** Forgets what was logged and what the compositor was told. */
    void settle() {
        logs.take();
        fakes.compositor->takeCalls();
    }

    /** The decision since the last call, as "hold display-hotplug 60"; all of them, in order. */
    std::vector<std::string> decisions() {
        std::vector<std::string> texts;
        for (const DecisionRecord& record : FpsCommon::decisions.since(mLastDecision)) {
            const Decision& d = record.decision;
            texts.push_back(std::string(NameOf(d.outcome)) + " " + d.rule->name + " " +
                            std::to_string(d.rate));
            mLastDecision = record.number;
        }
        return texts;
    }

    /** Codes of the compositor's calls since the last call. */
    std::vector<uint32_t> told() {
        std::vector<uint32_t> codes;
        for (const auto& call : fakes.compositor->takeCalls()) {
            codes.push_back(call.code);
        }
        return codes;
    }

    int32_t panelHz() {
        return fakes.panel->currentHz();
    }

    /** The armed strategy: "app", "game", "const90" or "none". */
    static std::string armed() {
        std::string names;
        names += FpsCommon::appDynamicSwitch ? "app" : "";
        names += FpsCommon::gameDynamicSwitch ? "game" : "";
        names += FpsCommon::gameConst90Switch ? "const90" : "";
        return names.empty() ? "none" : names;
    }

    std::string cpus() {
        std::string text;
        android::base::ReadFileToString(path("cpus"), &text);
        return text;
    }

    std::string path(const char* file) {
        return std::string(mFolder.path) + "/" + file;
    }

    LogCapture logs;
    sim::FakePhone& fakes = FakesForever();
    android::sp<RecordingService> service = new RecordingService;
    FrameworkClient framework{service};

  private:
    /** The check threads outlive the test, and so must what they call. */
    static sim::FakePhone& FakesForever() {
        static auto* phone = new sim::FakePhone;
        return *phone;
    }

    TemporaryDir mFolder;
    uint64_t mLastDecision = 0;
};

/** The text of a configuration file with these sections. */
inline std::string ConfigWith(const std::string& sections) {
    return "<Config><Params name=\"dynamic_fps_config\">" + sections + "</Params></Config>";
}

inline std::string Section(const std::string& name, const std::string& content) {
    return "<Param name=\"" + name + "\">" + content + "</Param>";
}

inline std::string List(const std::string& name, const std::string& entries) {
    return Section("application_list", "<list name=\"" + name + "\">" + entries + "</list>");
}

}  // namespace KVT
