// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "config/XmlParser.h"
#include "tests/support/Phone.h"
#include "tools/config/ConfigExplainer.h"
#include "tools/kvtctl/Kvtctl.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Kvtctl : public Phone {
  public:
    /** Runs the command and leaves what it wrote in `out` and `err`. */
    int run(std::vector<std::string> args) {
        std::vector<const char*> argv = {"kvtctl"};
        for (const std::string& arg : args) {
            argv.push_back(arg.c_str());
        }
        std::ostringstream outStream;
        std::ostringstream errStream;
        const int status =
            ctl::Run(static_cast<int>(argv.size()), argv.data(), outStream, errStream);
        out = outStream.str();
        err = errStream.str();
        return status;
    }

    std::string file(const std::string& text) {
        EXPECT_TRUE(android::base::WriteStringToFile(text, path("example.xml")));
        return path("example.xml");
    }

    std::string out;
    std::string err;
};

TEST_F(Kvtctl, TellsByItsStatusHowChecksWent) {
    const std::string sample = KVT_SAMPLE_CONFIG;
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

    EXPECT_EQ(run({"config", "check", path("nowhere.xml")}), 2);
    EXPECT_THAT(out, IsEmpty());
    EXPECT_THAT(err, HasSubstr("nowhere.xml: No such file"));
    ASSERT_NE(freopen(unknown.c_str(), "r", stdin), nullptr);
    EXPECT_EQ(run({"config", "check", path("nowhere.xml"), "-"}), 2);
    EXPECT_THAT(out, AllOf(HasSubstr("<stdin>:1:50: unknown section"), EndsWith("1 finding\n")));
}

TEST_F(Kvtctl, RefusesACommandLineThatItCanNotRead) {
    const std::vector<std::vector<std::string>> cases = {
        {"config"},
        {"config", "check"},
        {"config", "check", "--rates", "60,x", KVT_SAMPLE_CONFIG},
        {"config", "explain", KVT_SAMPLE_CONFIG},
        {"config", "explain", KVT_SAMPLE_CONFIG, ""},
        {"config", "explain", KVT_SAMPLE_CONFIG, "a.b", "--type", "37"},
        {"config", "explain", KVT_SAMPLE_CONFIG, "a.b", "--type", "x"},
        {"config", "explain", KVT_SAMPLE_CONFIG, "a.b", "--setting", "3"},
    };
    for (const auto& args : cases) {
        EXPECT_EQ(run(args), 2) << testing::PrintToString(args);
        EXPECT_THAT(err, Not(IsEmpty()));
    }
    EXPECT_EQ(run({"config", "--help"}), 0);
    EXPECT_THAT(out, AllOf(HasSubstr("check"), HasSubstr("explain")));
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
  <list name="app_type_imperceptible_list"><type>28</type></list>
  <list name="app_pkg_perceptible_list">
    <pkg>com.example.*</pkg>
  </list>
  <list name="app_pkg_imperceptible_list"><pkg>org.example</pkg></list>
  <list name="game_pkg_perceptible_list"><pkg>com.example.game</pkg></list>
</Param>)";

TEST_F(Kvtctl, ExplainsByEntryOrDefault) {
    const std::string config = file(ConfigWith(kExplained));
    const struct {
        std::vector<std::string> args;  // the package first
        const char* kind;
        const char* choice;
        const char* reason;
    } cases[] = {
        {{"com.other", "--setting", "1"},
         "an application of type -1",
         "setting 1 (default): code 4, 120 Hz",
         "app_default, as in the file"},
        {{"com.other", "--setting", "2"},
         "an application of type -1",
         "setting 2: code 3, 90 Hz",
         "app_default, built in"},
        {{"com.other", "--setting", "1", "--type", "3"},
         "an application of type 3",
         "setting 1 (default): code 9, app touch strategy: 90 Hz on touch, 60 Hz after it",
         "app_perceptible_switch, as in the file; type 3 of app_type_perceptible_list, line 9"},
        {{"com.example.a", "--setting", "2"},
         "an application of type -1",
         "setting 2: code 3, 90 Hz",
         "app_perceptible_switch, built in; entry 'com.example.' of app_pkg_perceptible_list, "
         "line 12"},
        {{"org.example.b", "--setting", "1"},  // its list changes nothing
         "an application of type -1",
         "setting 1 (default): code 4, 120 Hz",
         "app_default, as in the file"},
        {{"com.example.game", "--game", "--setting", "1"},
         "a game",
         "setting 1 (default): code 3, 90 Hz, constant-high strategy",
         "game_perceptible_switch, built in; entry 'com.example.game' of "
         "game_pkg_perceptible_list, line 15"},
        {{"com.example.chess", "--type", "9", "--setting", "1"},
         "a game",
         "setting 1 (default): code 9, game dynamic strategy: 60 Hz first, then as the game's "
         "frame rate asks",
         "game_default, built in"},
        {{"com.norvik.android.launcher", "--game", "--setting", "2"},
         "an application of type 28, as the launcher always is",
         "setting 2: code 6, 240 Hz, which no panel shows",
         "app_imperceptible_switch, as in the file; type 28 of app_type_imperceptible_list, "
         "line 10"},
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
}

TEST_F(Kvtctl, ExplainsNoFileThatWouldEndTheService) {
    const std::string fatal = file(ConfigWith("<Param/>"));
    EXPECT_EQ(run({"config", "explain", fatal, "a.b"}), 2);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, HasSubstr(fatal + ":1:43: fatal: <Param> without attribute 'name'"));
    EXPECT_EQ(run({"config", "explain", path("nowhere.xml"), "a.b"}), 2);
    EXPECT_THAT(err, HasSubstr("nowhere.xml: No such file"));

    EXPECT_EQ(run({"config", "explain", file("<Config/>"), "a.b", "--setting", "1"}), 0);
    EXPECT_THAT(out, HasSubstr("code 3, 90 Hz\n    because of app_default, built in"));
    EXPECT_THAT(err, HasSubstr("the file has findings"));
}

TEST_F(Kvtctl, ExplainsAsTheServiceReadsAndTellsNobody) {
    for (const auto& entry : std::filesystem::directory_iterator(KVT_CONFIG_DIR "/broken")) {
        if (entry.path().stem() == "fatal") {
            continue;
        }
        SCOPED_TRACE(entry.path());
        const auto printed = [this] {
            logs.take();
            XmlParser::PrintXmlData();
            return logs.take();
        };
        ConfigDocument document;
        ASSERT_TRUE(document.load(entry.path()));
        const ConfigExplainer explainer(document);
        const int32_t countLimit = FpsCommon::tables.gpuCompositionCountLimit;
        const std::vector<std::string> explained = printed();
        EXPECT_THAT(told(), IsEmpty());
        char value[PROPERTY_VALUE_MAX];
        EXPECT_EQ(property_get("persist.kvt.slide_model_parms", value, ""), 0);

        FpsCommon::tables = {};
        SetPaths({entry.path(), path("cpus")});
        XmlParser::Init();
        XmlParser::ParseXmlConfigFile();
        EXPECT_EQ(explained, printed());
        EXPECT_EQ(countLimit, FpsCommon::tables.gpuCompositionCountLimit);
    }
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
    const auto blocks = BlocksOf(KVT_CONFIGURATION_DOC);
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
