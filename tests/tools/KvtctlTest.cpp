// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/KvtctlFixture.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "tests/support/HostileName.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Kvtctl, TellsByItsStatusHowChecksWent) {
    const std::string sample = KVT_SOURCE_DIR "/packaging/kvt_config.xml";
    EXPECT_EQ(run({"config", "check", sample}), 0);
    EXPECT_EQ(out, sample + ": clean\n");
    EXPECT_EQ(run({"config", "check", "--rates", "60,120", sample}), 1);
    EXPECT_EQ(run({"config", "check", file("<Config>")}), 2);

    const std::string unknown = file(ConfigWith(Section("unknown", "")));
    EXPECT_EQ(run({"config", "check", unknown}), 1);
    EXPECT_THAT(out, AllOf(HasSubstr(unknown + ":1:50: unknown section 'unknown' is ignored"),
                           EndsWith("1 finding\n")));
    EXPECT_EQ(run({"config", "check", unknown, sample, unknown}), 1);
    EXPECT_THAT(out, AllOf(HasSubstr(sample + ": clean\n"), EndsWith("2 findings\n")));

    ASSERT_NE(freopen(unknown.c_str(), "r", stdin), nullptr);
    EXPECT_EQ(run({"config", "check", path("nowhere.xml"), "-"}), 2);
    EXPECT_THAT(out, AllOf(StartsWith("<stdin>:1:50: unknown section"), EndsWith("1 finding\n")));
    EXPECT_THAT(err, HasSubstr("nowhere.xml: No such file"));
}

TEST_F(Kvtctl, NamesWhatIsWrongWithACommandLine) {
    const std::string file = KVT_SOURCE_DIR "/packaging/kvt_config.xml";
    const struct {
        std::vector<std::string> args;
        const char* line;
    } cases[] = {
        {{}, "A subcommand is required"},
        {{"packagse", "a"}, "kvtctl: no such subcommand: packagse; did you mean packages? (kvtctl"},
        {{"stat"}, "no such subcommand: stat; did you mean status?"},
        {{"nonsense"}, "no such subcommand: nonsense (kvtctl --help"},
        {{"why", "--jsno"}, "no such option: --jsno; did you mean --json?"},
        {{"why", "me"}, "kvtctl: not expected: me ("},
        {{"why", "--timeout", "0"}, "--timeout: Value 0 not in range"},
        {{"history", "--since", "5x"}, "--since: no duration: 5x (as 30s, 5m)"},
        {{"completion", "bahs"}, "no such subcommand: bahs; did you mean bash?"},
        {{"packages", ""}, "FOCUS: must not be empty"},
        {{"fingerprint", "", "1"}, "PACKAGE: must not be empty"},
        {{"setting", "3"}, "Value 3 not in range 0 to 2"},
        {{"watch", "--for", "10000000000"}, "--for: Value 10000000000 not in range 1 to 86400"},
        {{"config"}, "A subcommand is required"},
        {{"config", "chekc"}, "no such subcommand: chekc; did you mean check?"},
        {{"config", "check"}, "FILE is required"},
        {{"config", "check", "--rates", "60,x", file}, "no rate: x (as 60,90)"},
        {{"config", "explain", file}, "PACKAGE is required"},
        {{"config", "explain", file, ""}, "a package has a name"},
        {{"config", "explain", file, "a.b", "--type", "37"}, "no such type: 37"},
        {{"config", "explain", file, "a.b", "--type", "x"}, "no such type: x"},
        {{"config", "explain", file, "a.b", "--setting", "3"}, "--setting: 3 not in"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(c.args), ctl::kUsage) << c.line;
        EXPECT_THAT(err, AllOf(StartsWith("kvtctl: "), HasSubstr(c.line)));
    }
}

TEST_F(Kvtctl, LeavesItToTheLogThatThereIsNoDriver) {
    ctl::Process process;
    process.hasDriver = [] { return false; };
    EXPECT_EQ(run({"status"}, process), ctl::kRefused);
    EXPECT_EQ(out + err, "");
}

TEST_F(Kvtctl, SaysWhyACallFailed) {
    const std::pair<android::status_t, const char*> cases[] = {
        {android::DEAD_OBJECT, "the service died"},
        {android::FAILED_TRANSACTION, "the driver refused it"},
        {android::UNKNOWN_ERROR, "the service could not do it"},
        {android::BAD_VALUE, "Invalid argument (-22)"},
    };
    const std::vector<std::string> commands[] = {{"max-rate"}, {"power-mode", "4"}, {"touch", "1"}};
    for (const auto& [status, text] : cases) {
        publishService(status);
        for (const auto& args : commands) {
            EXPECT_EQ(run(args), ctl::kRefused);
            EXPECT_EQ(out + err, "kvtctl: the call failed: " + std::string(text) + "\n");
        }
    }
}

TEST_F(Kvtctl, ExplainsWithoutTheControlsOfTheFile) {
    const std::string entry = List("app_pkg_perceptible_list", "<pkg>\u009b\n\u202e=a</pkg>");
    const std::string config = file(ConfigWith(entry));
    EXPECT_EQ(run({"config", "explain", config, "\u009b\n\u202e=ab", "--setting", "2"}), 0);
    EXPECT_THAT(out, AllOf(StartsWith("????ab, an "), HasSubstr("; entry '????a' of app_pkg")));
}

TEST_F(Kvtctl, TellsThatAnEventOfTheCompositorFailed) {
    publishService(android::OK);
    ctl::Process process;
    for (const auto& args :
         {std::vector<std::string>{"refresh"}, {"watch", "--fps", "--for", "1"}}) {
        for (const bool fails : {false, true}) {
            process.takeFailure = [fails] { return fails; };
            EXPECT_EQ(run(args, process), fails ? ctl::kRefused : ctl::kDone);
            EXPECT_EQ(err.find("the service did not take") != std::string::npos ||
                          err.find("found no service") != std::string::npos,
                      fails)
                << err;
        }
    }
}

const char kExplained[] = R"(
<Param name="setting_switch"><setting id="1">
  <switch name="app_default" value="4"/>
  <switch name="app_perceptible_switch" value="9"/>
  <switch name="app_imperceptible_switch" value="0"/>
</setting><setting id="2"><switch name="app_imperceptible_switch" value="6"/></setting></Param>
<Param name="setting_switch_id_default" value="1"/>
<Param name="application_list">
  <list name="app_type_perceptible_list"><type>3</type></list>
  <list name="app_pkg_perceptible_list">
    <pkg>com.example.*</pkg>
  </list>
  <list name="app_pkg_imperceptible_list"><pkg>org.example</pkg></list>
</Param>
<Param name="application_list">
  <list name="app_type_perceptible_list"><type>3</type></list>
  <list name="app_type_imperceptible_list"><type>28</type></list>
  <list name="app_pkg_perceptible_list"><pkg>com.example.</pkg></list>
</Param>)";

TEST_F(Kvtctl, ExplainsByEntryOrDefault) {
    const std::string config = file(ConfigWith(kExplained));
    const struct {
        std::vector<std::string> args;  // the package first
        const char* kind;
        const char* choice;
        const char* reason;
    } cases[] = {
        {{"com.other", "--setting", "1", "--type", "3"},
         "an application of type 3",
         "setting 1 (default): code 9, app touch strategy: 90 Hz on touch, 60 Hz after it",
         "app_perceptible_switch, as in the file; type 3 of app_type_perceptible_list, line 16"},
        {{"com.example.a", "--setting", "2"},
         "an application of type -1",
         "setting 2: code 3, 90 Hz",
         "app_perceptible_switch, built in; entry 'com.example.' of app_pkg_perceptible_list, "
         "line 11"},
        {{"org.example.b", "--setting", "1"},  // its list changes nothing
         "an application of type -1",
         "setting 1 (default): code 4, 120 Hz",
         "app_default, as in the file"},
        {{"com.example.chess", "--type", "9", "--setting", "1"},
         "a game",
         "setting 1 (default): code 9, game dynamic strategy: 60 Hz first, then as the game's "
         "frame rate asks",
         "game_default, built in"},
        {{"com.norvik.android.launcher", "--game", "--setting", "2"},
         "an application of type 28, as the launcher always is",
         "setting 2: code 6, 240 Hz, which no panel shows",
         "app_imperceptible_switch, as in the file; type 28 of app_type_imperceptible_list, "
         "line 17"},
        {{"android.view.cts.suite", "--setting", "1"},
         "an application of type -1",
         "setting 1 (default): code 4, held at 60 Hz",
         "rule compatibility-test: packages of that name are compatibility tests"},
    };
    for (const auto& row : cases) {
        std::vector<std::string> args = {"config", "explain", config};
        args.insert(args.end(), row.args.begin(), row.args.end());
        EXPECT_EQ(run(args), 0);
        EXPECT_EQ(out, row.args[0] + ", " + row.kind + "\n" + row.choice + "\n    because of " +
                           row.reason + "\n");
        EXPECT_THAT(err, HasSubstr("the file has findings"));
    }
    EXPECT_EQ(run({"config", "explain", config, "com.example.a"}), 0);
    EXPECT_THAT(out, ContainsRegex("\nsetting 0: code 2, 60 Hz\n.*\nsetting 1 .default.: code 9, "
                                   ".*\n.*\nsetting 2: code 3, 90 Hz\n"));
}

TEST_F(Kvtctl, ExplainsALimitThatHoldsEverything) {
    const std::string config =
        file(ConfigWith("<Param name='SF_composition_config'>"
                        "<sf_param name='app_penalty_count' value='2'/>\n"
                        "<sf_param name='app_penalty_count'/></Param>"));
    EXPECT_EQ(run({"config", "explain", config, "a.b", "--game", "--setting", "1"}), 0);
    EXPECT_EQ(out,
              "a.b, a game\n"
              "setting 1: code 9, held at 60 Hz\n"
              "    because of rule gpu-composition-count: app_penalty_count is 0, line 2, and no "
              "package has fewer starts\n");
    EXPECT_THAT(told(), IsEmpty()) << "as nothing takes effect";
}

TEST_F(Kvtctl, ExplainsNoFileThatWouldEndTheService) {
    const std::string fatal = file(ConfigWith("<Param/>"));
    EXPECT_EQ(run({"config", "explain", fatal, "a.b"}), 2);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, fatal + ":1:43: fatal: <Param> without attribute 'name'; should be a name\n");
    EXPECT_EQ(run({"config", "explain", path("nowhere.xml"), "a.b"}), 2);
    EXPECT_THAT(err, HasSubstr("nowhere.xml: No such file"));
    EXPECT_EQ(run({"config", "explain", file("<Config/>"), "a.b", "--setting", "1"}), 0);
    EXPECT_THAT(out, HasSubstr("code 3, 90 Hz\n    because of app_default, built in"));
}

/** Fenced blocks of the document: kind ("xml", "console", ...) and text. */
std::vector<std::pair<std::string, std::string>> BlocksOf(const std::string& file) {
    std::ifstream stream(file);
    std::vector<std::pair<std::string, std::string>> blocks;
    bool inside = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.substr(0, 3) == "```") {
            inside = !inside;
            if (inside) {
                blocks.emplace_back(line.substr(3), "");
            }
        } else if (inside) {
            blocks.back().second += line + "\n";
        }
    }
    return blocks;
}

// An "xml" block is example.xml for the "console" block behind it; one without a console block must
// be clean. Sections stand without the elements around them.
TEST_F(Kvtctl, AgreesWithTheExamplesOfTheReference) {
    ASSERT_EQ(chdir(path("").c_str()), 0);
    const auto blocks = BlocksOf(KVT_SOURCE_DIR "/docs/configuration.md");
    size_t consoles = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto& [kind, text] = blocks[i];
        SCOPED_TRACE(text);
        if (kind == "xml") {
            file(text.find("<Config") == std::string::npos ? ConfigWith(text) : text);
            if (i + 1 == blocks.size() || blocks[i + 1].first != "console") {
                EXPECT_EQ(run({"config", "check", "example.xml"}), 0) << out << err;
            }
        } else if (kind == "console") {
            ++consoles;
            std::istringstream lines(text);
            std::string produced;
            for (std::string line; std::getline(lines, line);) {
                if (line.substr(0, 9) == "$ kvtctl ") {
                    std::istringstream words(line.substr(9));
                    run({std::istream_iterator<std::string>(words), {}});
                    produced += line + "\n" + out;
                }
            }
            EXPECT_EQ(produced, text);
        }
    }
    EXPECT_GE(consoles, 2u);
}

}  // namespace
}  // namespace KVT
