// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigChecker.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "config/SlideModel.h"
#include "config/XmlParser.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/**
 * The findings that are noted in a file's comments, as "COLUMN: TEXT": at the end of the line that
 * they are about, or alone on the lines below it.
 */
std::vector<std::string> NotedIn(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> notes;
    int about = 0;
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        size_t note = line.find("<!-- ");
        about = line.find_first_not_of(' ') == note ? about : number;
        for (; note != std::string::npos; note = line.find("<!-- ", note + 1)) {
            if (isdigit(line[note + 5]) != 0) {
                notes.push_back(std::to_string(about) + ":" +
                                line.substr(note + 5, line.find(" -->", note) - note - 5));
            }
        }
    }
    return notes;
}

constexpr const char* kSample = KVT_SOURCE_DIR "/packaging/kvt_config.xml";

class Checker : public Phone {
  public:
    std::vector<std::string> check(const std::string& file, const PanelRates& rates = {}) {
        ConfigDocument document;
        EXPECT_TRUE(document.load(file)) << document.error();
        std::vector<std::string> texts;
        for (const Finding& finding : ConfigChecker::Check(document, rates)) {
            texts.push_back(TextOf(finding));
        }
        return texts;
    }

    std::string write(const std::string& text) {
        EXPECT_TRUE(android::base::WriteStringToFile(text, path("checked.xml")));
        return path("checked.xml");
    }

    std::vector<std::string> checkText(const std::string& text) { return check(write(text)); }
    std::vector<std::string> checkSections(const std::string& sections) {
        return checkText(ConfigWith(sections));
    }
};

std::string SwitchTo(const std::string& name, int32_t code) {
    return Section("setting_switch", "<setting id='1'><switch name='" + name + "' value='" +
                                         std::to_string(code) + "'/></setting>");
}

TEST_F(Checker, FindsInBrokenFilesWhatIsNotedInThem) {
    size_t files = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(KVT_SOURCE_DIR "/tests/config/broken")) {
        const std::vector<std::string> findings = check(file.path());
        EXPECT_EQ(findings, NotedIn(file.path())) << file;
        EXPECT_FALSE(findings.empty());
        ++files;
    }
    EXPECT_EQ(files, 6u);
}

TEST_F(Checker, FindsWhatStandsAroundTheSections) {
    const struct {
        std::string text;
        std::vector<std::string> findings;
    } cases[] = {
        {"<config>\n<Params name='dynamic_fps_config'/></config>",
         {"no element 'Config': the built-in values hold; should be a <Config>",
          "1:1: element 'config' beside the root is ignored; should be one <Config> in the file"}},
        {"<Config>\n    <Params name='dynamic_fps'/></Config>",
         {"1:1: no parameter group 'dynamic_fps_config': the built-in values hold; should be one "
          "<Params name=\"dynamic_fps_config\">",
          "2:13: parameter group 'dynamic_fps' is ignored; should be 'dynamic_fps_config'"}},
        {"<?xml version='1.0'>\n<Config/>\n<?xml version='1.0'?>\n<!DOCTYPE Config SYSTEM 'c.dtd'>"
         "<Config>\n<Params name='dynamic_fps_config'/></Config>",
         {"1:20: the declaration goes on to the '?>' on line 3, and what stands before that is "
          "ignored; should be no '<' or '>' in it",
          "4:1: '<!DOCTYPE Config SYSTEM 'c.dtd'>' is ignored; should be an element or a comment",
          "5:1: parameter group without sections is ignored; should be at least one <Param>"}},
        {"<?xml version='1.0'?>\n<!-- <Config a='> -->\r\n"
         "<Config><Params note='a > \"b\"'\n name='dynamic_fps_config'>"
         "<![CDATA[<x>]]><Param name='TP_pointer_position_switch'\n\tvalue = "
         "'7'/></Params></Config>",
         {"3:17: unknown attribute 'note' of <Params> is ignored; should be 'name'",
          "4:28: text '<x>' is ignored; should be <Param>",
          "5:2: switch value 7 counts as on; should be 0 or 1"}},
        {"\xef\xbb\xbf<Config><Params name='dynamic_fps_config'><Param/></Params></Config>",
         {"1:43: fatal: <Param> without attribute 'name'; should be a name"}},
        {"<Config><Params name='dynamic_fps_config'><Param/></Params></Config></a >&</b",
         {"1:43: fatal: <Param> without attribute 'name'; should be a name",
          "1:69: '</a >' closes no element, and what follows is ignored; should be an end tag for "
          "each element"}},
        {ConfigWith(Section("TP_pointer_position_switch", "")) + '\0' + "<Config/>",
         {"what follows the first zero byte is ignored; should be a text file",
          "1:43: <Param> without attribute 'value', which reads as 0; should be an integer"}},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(checkText(row.text), row.findings) << row.text;
    }
}

// That the service ends on a file exactly when the checker says so is what fuzz/config_fuzz holds.
TEST_F(Checker, NamesAFatalFaultAsTheServiceDoes) {
    const struct {
        std::string config;
        const char* element;
        const char* fault;
        const char* finding;
    } cases[] = {
        {"<Config>\n<Params/></Config>", "Params", " without attribute 'name'",
         "<Params> without attribute 'name'"},
        {ConfigWith(List("app_pkg_perceptible_list", "\n<pkg> </pkg>")), "pkg", " without text",
         "<pkg> without text"},
        {ConfigWith(List("app_type_perceptible_list", "\n<type>x1</type>")), "type",
         ": text 'x1' does not begin with a number", "type 'x1' does not begin with a number"},
    };
    for (const auto& c : cases) {
        EXPECT_THAT(checkText(c.config),
                    Contains(StartsWith("2:1: fatal: " + std::string(c.finding) + "; should")));
        const auto parse = [this] {
            __android_log_set_logger(__android_log_stderr_logger);
            SetPaths({path("checked.xml"), path("cpus")});
            XmlParser::ParseXmlConfigFile();
        };
        EXPECT_EXIT(
            parse(), testing::KilledBySignal(SIGABRT),
            "fatal: " + path("checked.xml") + ":2: element '" + c.element + "'" + c.fault + "\n");
    }
}

TEST_F(Checker, RefusesWhatIsNoConfiguration) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "<Config>";
    }
    const std::string texts[] = {"", "no xml at all", "<Config>\n<Params></Config>",
                                 "<Config a='1' a='2'/>", deep};
    for (const std::string& text : texts) {
        const std::string file = write(text);
        ConfigDocument document;
        EXPECT_FALSE(document.load(file));
        EXPECT_THAT(document.error(), AllOf(StartsWith(file), HasSubstr("no well-formed XML")));
    }
    const std::pair<std::string, std::string> others[] = {
        {"/proc/self", "not a plain file"},
        {path("nowhere.xml"), "No such file or directory"},
        {"/proc/self/mem", "Input/output error"}};
    for (const auto& [file, error] : others) {
        ConfigDocument document;
        EXPECT_FALSE(document.load(file));
        EXPECT_EQ(document.error(), file + ": " + error);
    }
}

TEST_F(Checker, KnowsEverySectionSwitchListAndParameterOfTheLibrary) {
    for (const XmlParser::Section& section : XmlParser::kSections) {
        EXPECT_THAT(checkSections("<Param name='" + std::string(section.name) +
                                  "' value='0' strange='1'><strange/></Param>"),
                    Contains(HasSubstr("unknown attribute 'strange'")))
            << section.name;
    }
    for (const std::string& name : settingSwitchNames) {
        EXPECT_THAT(checkSections(SwitchTo(name, 3)), IsEmpty()) << name;
    }
    for (const std::string& name : applicationListNames) {
        const bool types = name.find("type") != std::string::npos;
        EXPECT_THAT(checkSections(List(name, types ? "<type>1</type>" : "<pkg>a.b</pkg>")),
                    IsEmpty())
            << name;
    }
    for (const SlideParam& row : kSlideParams) {
        const std::string param = "<slide_param name='" + std::string(row.name) + "' value='1.5'/>";
        EXPECT_THAT(checkSections(Section("high_freq_smart_slide_model_config", param)), IsEmpty())
            << row.name;
    }
}

TEST_F(Checker, KnowsWhichCodesAPanelCanFollow) {
    const struct {
        std::vector<std::string> rates;
        std::vector<int32_t> without;  // those with a rate that the panel does not have
    } cases[] = {
        {{}, {5, 6}},
        {{"60", "90"}, {1, 4, 5, 6}},
        {{"60n", "90", "120"}, {1, 5, 6}},
        {{"30", "60", "144"}, {3, 4, 5, 6, 9}},
    };
    for (const auto& row : cases) {
        for (const int32_t code : validFpsCodes) {
            const bool without = testing::Value(row.without, Contains(code));
            EXPECT_THAT(check(write(ConfigWith(SwitchTo("app_perceptible_switch", code))),
                              PanelRates(row.rates)),
                        SizeIs(without ? 1 : 0))
                << testing::PrintToString(row.rates) << " " << code;
        }
    }
    EXPECT_THAT(check(kSample, PanelRates({"60", "90"})), IsEmpty());
    EXPECT_THAT(check(kSample, PanelRates({"90", "60"})),
                ElementsAre(HasSubstr("the rate is fixed and no configuration read")));
}

TEST_F(Checker, ShowsTextOfTheFileWithoutItsControlCharacters) {
    const std::string x79(79, 'x');
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {"\x1b[2J" + std::string(500, 'x'), "?[2J" + std::string(76, 'x') + "..."},
        {"\x7f&#x9b;2J=&#x202e;&#10;", "??2J=??"},
        {x79 + "\xc3\xa9y", x79 + "..."},
    };
    for (const auto& row : cases) {
        EXPECT_THAT(checkSections("<Param name='" + row.text + "'/>"),
                    ElementsAre(HasSubstr("unknown section '" + row.shown + "' is ignored")));
    }
}

}  // namespace
}  // namespace KVT
