// SPDX-License-Identifier: Apache-2.0
#include "common/CleanText.h"
#include "service/Transactions.h"
#include "sim/EventTypes.h"
#include "sim/Scenario.h"
#include "sim/SimCommand.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <tinyxml2.h>

#include <sstream>

#include "tests/support/HostileName.h"

namespace KVT::sim {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Sim : public testing::Test {
  public:
    int run(const std::vector<const char*>& arguments) {
        std::vector<const char*> argv = {"kvt-sim"};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        out.str("");
        err.str("");
        return RunSim(static_cast<int>(argv.size()), argv.data(), out, err);
    }

    int play(const std::string& scenario) {
        write("s", scenario);
        return run({"run", path().c_str()});
    }
    void write(const std::string& name, const std::string& scenario) {
        EXPECT_TRUE(android::base::WriteStringToFile(scenario, path(name)));
    }

    std::string folder() { return mFolder.path; }
    std::string path(const std::string& name = "s") { return folder() + "/" + name + ".jsonl"; }

    std::ostringstream out;
    std::ostringstream err;

  private:
    TemporaryDir mFolder;
};

TEST_F(Sim, RefusesBrokenScenariosWithFileLineAndReason) {
    const struct {
        const char* text;
        const char* reason;
    } cases[] = {
        {"\n# people\nnonsense\n", ":3: no JSON: "},
        {"[1]", ":1: each line should be a JSON object"},
        {R"({"event":"recover"})", ":1: recover: 'at_ms' is missing"},
        {R"({"at_ms":-1,"event":"recover"})",
         ":1: recover: 'at_ms' should be a whole number from 0 to 86400000"},
        {R"({"at_ms":1,"event":"explode"})", ":1: there is no event 'explode' (kvt-sim events"},
        {R"({"at_ms":1,"event":"tuoch"})", ":1: there is no event 'tuoch'; did you mean touch?"},
        {R"({"at_ms":1,"event":"packages","focus":7})", ":1: packages: 'focus' should be a text"},
        {R"({"at_ms":1,"event":"packages","focus":"a","visible":[1]})",
         ":1: packages: 'visible' should be a list of texts"},
        {R"({"at_ms":1,"event":"recover","now":true})", ":1: recover: there is no argument 'now'"},
        {"{\"at_ms\":2,\"event\":\"recover\"}\n{\"at_ms\":1,\"event\":\"recover\"}",
         ":2: 'at_ms' goes back in time"},
        {"{\"at_ms\":0,\"event\":\"recover\"}\n{\"event\":\"setup\"}",
         ":2: there is no event 'setup'"},
        {R"({"event":"setup","types":{"a":"game"}})",
         ":1: types: the type of 'a' should be a whole number"},
        {R"({"event":"setup","properties":{"a":1}})", ":1: setup: property 'a' should be a text"},
        {R"({"event":"setup","types":{"a":99}})",
         ":1: types: the type of 'a' should be from -1 to 36, or 255"},
        {R"({"event":"setup","missing":["SurfaceFlingr"]})",
         ":1: setup: 'missing' should be one of "},
        {R"({"event":"setup","panel":{"rates":["60","91"]}})",
         ":1: panel: 'rates' should be one of 60n, 30, 45, 60, 90, 120, 180, and is '91'"},
        {R"({"event":"setup","panel":{"rates":["60","90"],"current":"120"}})",
         ":1: panel: 'current' should be one of its rates, and is 120"},
        {R"({"at_ms":0,"event":"touch"})", ":1: touch: either 'down' or 'value' should be there"},
        {R"({"at_ms":0,"event":"expect","tolerance":1})", ":1: expect: nothing is expected"},
        {R"({"at_ms":0,"event":"expect","hz":60,"tolerance":1})",
         ":1: expect: 'tolerance' is of 'fps', which is missing"},
        {R"({"at_ms":0,"event":"expect","cause":"power-savin"})",
         ":1: expect: 'cause' should be one of "},
        {R"({"at_ms":0,"event":"overlap","events":[{"event":"end"}]})",
         ":1: overlap: 'end' is no event that can overlap"},
        {R"({"at_ms":0,"event":"overlap","events":[{"event":"touch","down":3}]})",
         ":1: overlap: touch: 'down' should be true or false"},
        {"{\"at_ms\":0,\"event\":\"end\"}\n{\"at_ms\":0,\"event\":\"recover\"}",
         ":2: the scenario has ended before"},
        {R"({"at_ms":0,"event":"frames","layer":"l","fps":0,"for_ms":1})",
         ":1: frames: 'fps' should be a number from 0.1 to 1000"},
        {R"({"at_ms":0,"event":"frames","layer":"l","fps":60,"for_ms":9,"jitter_us":20000})",
         ":1: frames: 'jitter_us' should be a whole number from 0 to 16166"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(play(c.text), 2);
        EXPECT_THAT(err.str(), StartsWith("kvt-sim: " + path() + c.reason));
        EXPECT_EQ(out.str(), "");
    }
    EXPECT_EQ(play(std::string(100000, '[')), 2);
}

TEST_F(Sim, ReadsNoMoreThanAScenarioMayHave) {
    const struct {
        std::string text;
        const char* reason;
    } cases[] = {
        {"\n" + std::string(65'537, ' ') + "\n", ":2: the line is too long"},
        {std::string(16 << 20, '\n') + "\n", ":16777217: the file is too long"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        EXPECT_EQ(play(c.text), 2);
        EXPECT_THAT(err.str(), StartsWith("kvt-sim: " + path() + c.reason));
    }
    EXPECT_EQ(run({"run", "/dev/zero"}), 2);
    EXPECT_EQ(err.str(), "kvt-sim: /dev/zero: is neither a file nor a pipe\n");
}

TEST_F(Sim, RefusesACommandLineThatMakesNoSense) {
    const std::vector<const char*> cases[] = {
        {}, {"fly"}, {"run"}, {"run", "/nonexistent/file"}, {"run", "--seed", "x", "file"}};
    for (const auto& arguments : cases) {
        EXPECT_EQ(run(arguments), 2);
        EXPECT_NE(err.str(), "");
    }
    EXPECT_EQ(run({"events"}), 0);
    EXPECT_THAT(out.str(), HasSubstr("focused package"));
}

TEST_F(Sim, ReportsAPanelThatObeysLateOrNever) {
    ASSERT_EQ(play(R"({"event":"setup","panel":{"rates":["60","90"],"obeys_after":2}}
{"at_ms":1000,"event":"lcd_setting","value":2}
{"at_ms":2000,"event":"panel","obeys_after":-1}
{"at_ms":2000,"event":"hotplug","value":1}
)"),
              0);
    EXPECT_THAT(out.str(), HasSubstr("     1.016 s   90 Hz  com.norvik.android.launcher     "
                                     "  panel 60 -> 90 Hz\n"));
    EXPECT_THAT(out.str(), HasSubstr("     2.144 s   90 Hz  com.norvik.android.launcher     "
                                     "  panel did not follow a change\n"));
    EXPECT_THAT(out.str(), HasSubstr("  panel switches: 1\n  failed changes: 1\n"));
}

TEST_F(Sim, ShowsNamesOnOneLine) {
    const std::string name = Json::valueToQuotedString(kHostileName);
    ASSERT_EQ(
        play(
            R"({"at_ms":0,"event":"packages","focus":)" + name + ",\"visible\":[" + name +
            R"(]})"
            "\n"
            R"({"at_ms":1,"event":"packages","focus":"\u00e4a\u00e4aaaaaaaaaaaaaaaaaaaaaaaa\u00e4"})"
            "\n"),
        0);
    const std::string shown = kHostileNameShown;
    EXPECT_THAT(out.str(), HasSubstr("  packages focus=" + shown + " visible=["));
    EXPECT_THAT(out.str(), HasSubstr("  " + shown.substr(0, 30) + "    decision: "));
    EXPECT_THAT(out.str(), HasSubstr("  \u00e4a\u00e4aaaaaaaaaaaaaaaaaaaaaaaa     decision: "));
    EXPECT_EQ(CleanText(out.str(), "=\n"), out.str());

    EXPECT_EQ(play(R"({"at_ms":0,"event":)" + name + "}"), 2);
    EXPECT_THAT(err.str(),
                EndsWith(":1: there is no event '" + shown + "' (kvt-sim events lists them)\n"));
}

TEST_F(Sim, SaysWhatIsNotAsExpected) {
    EXPECT_EQ(play(R"({"event":"setup","types":{"game":9}}
{"at_ms":0,"event":"expect","hz":60,"cause":"app-code","strategy":"none"}
{"at_ms":5,"event":"power_mode","value":4}
{"at_ms":5,"event":"expect","hz":60,"cause":"power-saving","foreground":"com.norvik.android.launcher","fps":0}
{"at_ms":6,"event":"expect","hz":90,"cause":"app-code","foreground":"a","strategy":"app-dynamic","fps":60,"tolerance":59}
{"at_ms":7,"event":"expect","hz":30}
)"),
              1);
    const std::string fault =
        "60 Hz, not 90; cause power-saving, not app-code; foreground com.norvik.android.launcher, "
        "not a; strategy none, not app-dynamic; 0 fps detected, not 60 within 59";
    EXPECT_EQ(err.str(), "kvt-sim: " + path() + ":5: " + fault + "\nkvt-sim: " + path() +
                             ":6: 60 Hz, not 30\n");
    EXPECT_THAT(out.str(), HasSubstr("  NOT AS EXPECTED: " + fault + "\n"));
    EXPECT_THAT(out.str(), HasSubstr("  expectations: 4, not met: 2\n"));
}

TEST_F(Sim, TestsEachScenarioByItself) {
    write("a", R"({"at_ms":0,"event":"expect","hz":60})");
    write("b",
          "{\"at_ms\":0,\"event\":\"expect\",\"hz\":90}\n{\"at_ms\":0,\"event\":\"expect\",\"hz\":"
          "30}");
    write("c", "nonsense");
    write("d", R"({"at_ms":0,"event":"expect","hz":60,"cause":"app-code"})");
    const std::string junit = folder() + "/junit.xml";
    EXPECT_EQ(run({"test", folder().c_str(), "--jobs", "3", "--junit", junit.c_str()}), 1);
    EXPECT_THAT(out.str(), StartsWith("ok      " + path("a") + "\nFAILED  " + path("b") +
                                      "\n        " + path("b") + ":1: 60 Hz, not 90\n        " +
                                      path("b") + ":2: 60 Hz, not 30\nBROKEN  " + path("c") +
                                      "\n        " + path("c") + ":1: no JSON: "));
    EXPECT_THAT(out.str(), EndsWith("ok      " + path("d") + "\n4 scenarios, 2 failed\n"));

    tinyxml2::XMLDocument xml;
    ASSERT_EQ(xml.LoadFile(junit.c_str()), tinyxml2::XML_SUCCESS);
    const tinyxml2::XMLElement* const suite = xml.FirstChildElement("testsuite");
    EXPECT_STREQ(suite->Attribute("tests"), "4");
    EXPECT_STREQ(suite->Attribute("failures"), "1");
    EXPECT_STREQ(suite->Attribute("errors"), "1");
    EXPECT_THAT(suite->FirstChildElement("testcase")
                    ->NextSiblingElement()
                    ->FirstChildElement("failure")
                    ->GetText(),
                HasSubstr(":2: 60 Hz, not 30\n"));

    EXPECT_EQ(run({"check", folder().c_str()}), 2);
    EXPECT_THAT(out.str(), StartsWith(path("a") + ": 1 events, 1 of them expectations\n"));
    EXPECT_THAT(err.str(), StartsWith("kvt-sim: " + path("c") + ":1: no JSON: "));

    EXPECT_EQ(run({"test", path("a").c_str(), "--junit", "/nonexistent/junit.xml"}), 2);
    EXPECT_EQ(err.str(), "kvt-sim: /nonexistent/junit.xml can not be written\n");
    EXPECT_EQ(run({"test", "/proc/self/task"}), 2);
    EXPECT_EQ(err.str(), "kvt-sim: /proc/self/task: no scenario (*.jsonl) is there\n");
}

TEST_F(Sim, GoesOnUntilTheStrategiesHaveSettledOrToItsEnd) {
    ASSERT_EQ(play(R"({"at_ms":1000,"event":"panel","rates":["60","90"],"obeys_after":-1}
{"at_ms":1000,"event":"lcd_setting","value":2}
)"),
              0);
    EXPECT_THAT(out.str(), HasSubstr("\nSummary of 7.144 s\n"));
}

TEST_F(Sim, EndsWhereItIsTold) {
    ASSERT_EQ(play(R"({"at_ms":1000,"event":"lcd_setting","value":2}
{"at_ms":2500,"event":"end"})"),
              0);
    EXPECT_THAT(out.str(), HasSubstr("\nSummary of 2.5 s\n"));
}

TEST_F(Sim, HasAPanelWithTheRatesThatItNamed) {
    ASSERT_EQ(play(R"({"event":"setup","panel":{"rates":["60"],"current":"60"}}
{"at_ms":0,"event":"panel_moves","rate":"90"}
{"at_ms":1000,"event":"panel","rates":["60","90"],"current":"90"}
{"at_ms":3000,"event":"expect","hz":90}
{"at_ms":3000,"event":"end"})"),
              0);
    EXPECT_THAT(out.str(), HasSubstr("nothing happens: the panel has no such rate\n"));
    EXPECT_THAT(out.str(), HasSubstr("  panel 60 -> 90 Hz\n"));
    EXPECT_THAT(out.str(), HasSubstr("     2.000 s at 90 Hz\n  panel switches: 1\n"));
}

TEST_F(Sim, HasAClassificationServiceThatIsMissingLateOrFails) {
    ASSERT_EQ(play(R"({"event":"setup","types":{"game":9,"late":9},"missing":["IKoraCMSService"]}
{"at_ms":0,"event":"packages","focus":"game"}
{"at_ms":1000,"event":"expect","foreground":"game","cause":"app-code"}
{"at_ms":1000,"event":"publish"}
{"at_ms":1000,"event":"packages","focus":"other"}
{"at_ms":2000,"event":"packages","focus":"game"}
{"at_ms":9000,"event":"expect","foreground":"game","cause":"game-code"}
{"at_ms":9000,"event":"classification","after_ms":3000}
{"at_ms":9000,"event":"packages","focus":"late"}
{"at_ms":11000,"event":"expect","foreground":"late","cause":"app-code"}
{"at_ms":13000,"event":"expect","foreground":"late","cause":"game-code"}
{"at_ms":13000,"event":"classification","answers":"fails"}
{"at_ms":13000,"event":"packages","focus":"failed"}
{"at_ms":13500,"event":"expect","foreground":"failed","cause":"app-code"}
)"),
              0)
        << err.str();
}

TEST_F(Sim, HasEventsOverlap) {
    ASSERT_EQ(play(R"({"event":"setup","panel":{"obeys_after":2}}
{"at_ms":0,"event":"overlap","events":[{"event":"lcd_setting","value":2},{"event":"hotplug","value":1}]}
{"at_ms":1000,"event":"expect","hz":60,"cause":"display-hotplug"}
)"),
              0)
        << err.str();
}

TEST(Schema, IsThatOfTheDocument) {
    std::string document;
    ASSERT_TRUE(
        android::base::ReadFileToString(KVT_SOURCE_DIR "/docs/scenario.schema.json", &document));
    EXPECT_EQ(LineSchema().toStyledString(), document)
        << "kvt-sim events --schema > docs/scenario.schema.json";
}

TEST(Events, AreThereForEveryTransactionThatNamesOne) {
    for (const TransactionInfo& transaction : Transactions()) {
        if (transaction.event != nullptr) {
            EXPECT_NE(FindEventType(transaction.event), nullptr) << transaction.event;
        }
    }
}

}  // namespace
}  // namespace KVT::sim
