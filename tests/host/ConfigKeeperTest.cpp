// SPDX-License-Identifier: Apache-2.0
#include "host/ConfigKeeper.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "host/EventQueue.h"
#include "host/TextDumper.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

const std::string kHigh = ConfigWith(
    R"(<Param name="setting_switch"><setting id="0"><switch name="app_default" value="3"/></setting></Param>)");

class Keeper : public Phone {
  public:
    /** As the host starts, with this in the file; without one when it is empty. */
    void startAll(const std::string& config = "") {
        start(config);
        keeper.onStarted();
        ASSERT_EQ(events.start(), android::OK);
        logs.take();
        decisions();
    }
    /** @return what the keeper said to it */
    std::string reload(const std::string& config) {
        unlink(file.c_str());
        EXPECT_TRUE(config.empty() || android::base::WriteStringToFile(config, file));
        keeper.reload();
        return said();
    }
    std::string said() {
        VirtualTime::Settle();
        std::string all;
        for (const std::string& line : logs.take()) {
            all += line.find(": configuration ") == std::string::npos ? "" : line + "\n";
        }
        return all;
    }

    ServiceInfo info;
    EventQueue events;
    ConfigKeeper keeper{events, info};
    const std::string file = path("kvt_config.xml");
};

TEST_F(Keeper, SaysWhatTheStartMadeOfTheFile) {
    const struct {
        std::string config;
        const char* masterSwitch;
        std::string state;
    } cases[] = {
        {"", "0", "missing: built-in values in force"},
        {"<Config>", "0",
         "unreadable: " + file + ":1: no well-formed XML .*: built-in values in force"},
        {kHigh, "-1", "loaded"},
        {"<Config>\n<Params name='dynamic_fps_config'><Param name='x'/><Param "
         "name='y'/></Params></Config>",
         "0", "2 findings, first: 2: .*'x'.*"},
        {"<Config/>", "90", "not read: the policy is off"},
    };
    for (const auto& c : cases) {
        apart([&] {
            property("persist.dynamicfps.switch", c.masterSwitch);
            startAll(c.config);
            EXPECT_THAT(info.configState(), MatchesRegex(c.state));
        });
    }
    TextDumper dumper;
    SleepFor(kNsPerS);
    info.dump(&dumper);
    EXPECT_EQ(dumper.text(), "[service]\nversion=" KVT_VERSION "\npid=" + std::to_string(getpid()) +
                                 "\nuptime=1.000\nconfig_file=" + file +
                                 "\nconfig_state=not read yet\n");
}

TEST_F(Keeper, RefusesWhatWouldHaveEndedAStart) {
    startAll(kHigh);
    const std::pair<const char*, std::string> cases[] = {
        {"<Config>\n", ":1: no well-formed XML .*"},
        {"<Config/>", ": no group 'dynamic_fps_config' in an element 'Config'"},
        {"<Config>\n<Params/></Config>", ":2:1: fatal: <Params> without attribute 'name'; .*"},
        {"", ": No such file or directory"},
    };
    for (const auto& [config, fault] : cases) {
        const std::string told = file + fault + ": the one before stays";
        EXPECT_THAT(reload(config),
                    MatchesRegex("E/KVTService: configuration refused: " + told + "\n"));
        EXPECT_THAT(info.configState(),
                    MatchesRegex("refused at ....-..-.. ..:..:..: " + told + " \\(loaded\\)"));
        EXPECT_EQ(FpsCommon::PeekCode("com.example.other", kTypeUnknown), 3);
    }
    EXPECT_THAT(decisions(), IsEmpty());
}

TEST_F(Keeper, TakesAnotherFileOverInOrderWithTheEvents) {
    startAll();
    reload("<Config>");
    FpsCommon::DoWithPowerModeUpdate(4);
    decisions();
    const auto queue = [this](std::function<void()> act) {
        return events.run({0, 0, "", std::move(act)}, false);
    };
    queue([] { SleepFor(kNsPerS); });
    queue([] { FpsCommon::DoWithPowerModeUpdate(2); });
    reload(kHigh);
    queue([] { FpsCommon::OnDisplayHotplugEventReceived(1); });
    EXPECT_THAT(info.configState(), MatchesRegex("refused.* .missing: built-in values in force."));
    SleepFor(2 * kNsPerS);
    EXPECT_THAT(decisions(), ElementsAre("app-fixed app-code 60", "app-fixed app-code 90",
                                         "hold display-hotplug 60"));
    EXPECT_EQ(info.configState(), "loaded");
    EXPECT_EQ(said(), "I/KVTService: configuration taken over: " + file + ": loaded\n");
    queue([] { SleepFor(kNsPerS); });
    reload(kHigh);
    reload("<Config>");
    SleepFor(2 * kNsPerS);
    EXPECT_THAT(info.configState(), MatchesRegex("refused.* .loaded.")) << "the later one";
    queue([] { SleepFor(kNsPerS); });
    while (queue([] {}) == android::OK) {
    }
    reload(kHigh);
    EXPECT_THAT(info.configState(), HasSubstr("too many events wait"));
}

TEST_F(Keeper, ReadsNothingForAPolicyThatIsOff) {
    property("persist.dynamicfps.switch", "-1");
    startAll();
    EXPECT_EQ(reload(kHigh), "W/KVTService: configuration not read: the policy is off\n");
    EXPECT_EQ(info.configState(), "missing: built-in values in force");
}

}  // namespace
}  // namespace KVT
