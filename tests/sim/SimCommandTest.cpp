// SPDX-License-Identifier: Apache-2.0
#include "common/CleanText.h"
#include "service/Transactions.h"
#include "sim/EventTypes.h"
#include "sim/SimCommand.h"

#include <android-base/file.h>
#include <gmock/gmock.h>
#include <json/json.h>

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
        EXPECT_TRUE(android::base::WriteStringToFile(scenario, path()));
        return run({"run", path().c_str()});
    }

    std::string path() { return std::string(mFolder.path) + "/s.jsonl"; }

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

TEST(Events, AreThereForEveryTransactionThatNamesOne) {
    for (const TransactionInfo& transaction : Transactions()) {
        if (transaction.event != nullptr) {
            EXPECT_NE(FindEventType(transaction.event), nullptr) << transaction.event;
        }
    }
}

}  // namespace
}  // namespace KVT::sim
