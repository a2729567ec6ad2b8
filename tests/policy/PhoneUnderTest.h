// SPDX-License-Identifier: Apache-2.0
// The phone that schedules are searched on, and the configurations that it may have.
#pragma once

#include "config/XmlParser.h"
#include "host/EventQueue.h"
#include "host/FrameworkClient.h"
#include "host/KVTServiceImpl.h"
#include "policy/FpsCommon.h"
#include "sim/fakes/FakePhone.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Remote.h"

namespace KVT {

inline constexpr const char* kReportingGame = "com.tencent.tmgp.pubgmhd";
inline constexpr const char* kPackages[] = {"app.fixed",        "app.high",     "app.touch.a",
                                            "app.touch.b",      "game.const",   "game.plain",
                                            "android.view.cts", "game.dynamic", kReportingGame};
inline constexpr const char* kGames[] = {"game.dynamic", "game.other", kReportingGame,
                                         "game.const"};
inline constexpr int64_t kQuietNs = 12 * kNsPerS;  // longer than any wait of a strategy

/** All of it lives as long as the check threads, which is as long as the process. */
struct PhoneUnderTest {
    LogCapture logs;
    sim::FakePhone fakes;
    EventQueue events;
    android::sp<KVTServiceImpl> service;
    /** The service to senders that wait until their event was acted on, whichever thread does it. */
    android::sp<android::IBinder> patient =
        new Remote([this](uint32_t code, const android::Parcel& data, android::Parcel* reply,
                          uint32_t) { return service->transact(code, data, reply, 0); });
    android::sp<IKVTService> compositor = new BpKVTService(patient);
    FrameworkClient framework{patient};
    // A touch that is under way while the policy switches the touch strategy off would reach it:
    // that the compositor has looked at its switch and the service has got the touch is one step.
    Mutex touchIsUnderWay;
};

inline PhoneUnderTest& TheUnit() {
    static auto* unit = new PhoneUnderTest;
    return *unit;
}

/**
 * A configuration with a package for each thing that a package can lead to: any application gets 60
 * Hz, app.high 90 Hz, app.touch* the touch strategy, any game the dynamic strategy, game.const the
 * constant-high one, game.plain 60 Hz.
 */
inline constexpr const char* kConfiguration = R"(<Params name="dynamic_fps_config">
    <Param name="setting_switch"><setting id="0">
        <switch name="app_default" value="2"/><switch name="game_default" value="9"/>
        <switch name="app_perceptible_switch" value="3"/>
        <switch name="app_imperceptible_switch" value="9"/>
        <switch name="game_perceptible_switch" value="3"/>
        <switch name="game_imperceptible_switch" value="2"/>
    </setting></Param>
    <Param name="application_list">
        <list name="app_pkg_perceptible_list"><pkg>app.high</pkg></list>
        <list name="app_pkg_imperceptible_list"><pkg>app.touch</pkg></list>
        <list name="game_pkg_perceptible_list"><pkg>game.const</pkg></list>
        <list name="game_pkg_imperceptible_list"><pkg>game.plain</pkg></list>
    </Param></Params>)";

/** One by which nearly every package gets another rate. */
inline constexpr const char* kOtherConfiguration = R"(<Params name="dynamic_fps_config">
    <Param name="setting_switch"><setting id="0">
        <switch name="app_default" value="3"/><switch name="game_default" value="3"/>
    </setting></Param>
    <Param name="TP_pointer_position_switch" value="0"/>
    <Param name="force_multi_app_lcd_fps" value="1"/></Params>)";

/** A configuration file, read. */
class Configuration {
  public:
    explicit Configuration(const char* text) { mDocument.Parse(text); }
    const tinyxml2::XMLElement* params() const { return mDocument.RootElement(); }

  private:
    tinyxml2::XMLDocument mDocument{true, tinyxml2::PRESERVE_WHITESPACE};
};

inline void ConfigurePackages() {
    XmlParser::ParseHelper(Configuration(kConfiguration).params());
    for (const char* game :
         {"game.dynamic", "game.other", "game.const", "game.plain", kReportingGame}) {
        TheUnit().fakes.classifier->setType(game, kTypeGame);
    }
}

}  // namespace KVT
