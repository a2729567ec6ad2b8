// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ConfigChecker.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

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
using testing::StartsWith;

const std::filesystem::path kFolder = KVT_CONFIG_DIR;

std::vector<std::filesystem::path> FilesIn(const char* folder, const char* extension) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(kFolder / folder)) {
        if (entry.path().extension() == extension) {
            files.push_back(entry.path());
        }
    }
    return files;
}

std::vector<std::string> LinesOf(const std::filesystem::path& file) {
    std::string text;
    EXPECT_TRUE(android::base::ReadFileToString(file, &text)) << file;
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

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

    std::vector<std::string> checkText(const std::string& text) {
        EXPECT_TRUE(android::base::WriteStringToFile(text, path("checked.xml")));
        return check(path("checked.xml"));
    }
};

TEST_F(Checker, FindsInBrokenFilesWhatIsWrittenBesideThem) {
    const auto files = FilesIn("broken", ".xml");
    ASSERT_GE(files.size(), 15u);
    for (std::filesystem::path file : files) {
        SCOPED_TRACE(file);
        const std::vector<std::string> findings = check(file);
        EXPECT_EQ(findings, LinesOf(file.replace_extension(".expected")));
        EXPECT_FALSE(findings.empty());
    }
}

// Each fatal fault alone in a file: the service ends on it exactly when the checker says so.
TEST_F(Checker, CallsFatalWhatEndsTheService) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const struct {
        const char* config;
        bool fatal;
    } cases[] = {
        {"<Params/>", true},
        {"<Params name='dynamic_fps_config'/><Params/>", false},
        {"<Params name='dynamic_fps_config'><Param/></Params>", true},
        {"<Params name='other'><Param/></Params>", false},
        {"<Params name='dynamic_fps_config'><Param name='unknown'><list/></Param></Params>", false},
        {"<Params name='dynamic_fps_config'><Param name='application_list'><list "
         "name='app_type_perceptible_list'><type>x1</type></list></Param></Params>",
         true},
        {"<Params name='dynamic_fps_config'><Param name='application_list'><list "
         "name='app_type_perceptible_list'><type>1x</type></list></Param></Params>",
         false},
        {"<Params name='dynamic_fps_config'><Param name='application_list'><list "
         "name='app_type_perceptible_list'><pkg/></list></Param></Params>",
         false},
        {"<Params name='dynamic_fps_config'><Param name='application_list'><list "
         "name='app_pkg_perceptible_list'><pkg> </pkg></list></Param></Params>",
         true},
        {"<Params name='dynamic_fps_config'><Param name='application_list'><list "
         "name='unknown'><pkg/></list></Param></Params>",
         false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.config);
        const std::string text = "<Config>" + std::string(row.config) + "</Config>";
        const std::vector<std::string> findings = checkText(text);
        EXPECT_FALSE(findings.empty());
        bool fatal = false;
        for (const std::string& finding : findings) {
            fatal = fatal || finding.find("fatal: ") != std::string::npos;
        }
        EXPECT_EQ(fatal, row.fatal);
        ASSERT_TRUE(android::base::WriteStringToFile(text, path("kvt_config.xml")));
        const auto parse = [] {
            XmlParser::ParseXmlConfigFile();
            exit(0);
        };
        if (row.fatal) {
            EXPECT_DEATH(parse(), "");
        } else {
            EXPECT_EXIT(parse(), testing::ExitedWithCode(0), "");
        }
    }
}

TEST_F(Checker, RefusesWhatIsNoConfiguration) {
    ASSERT_GE(FilesIn("unreadable", ".xml").size(), 4u);
    for (const auto& file : FilesIn("unreadable", ".xml")) {
        ConfigDocument document;
        EXPECT_FALSE(document.load(file)) << file;
        EXPECT_THAT(document.error(),
                    AllOf(StartsWith(file.string()), HasSubstr("no well-formed XML")));
    }
    ConfigDocument folder;
    EXPECT_FALSE(folder.load(kFolder));
    EXPECT_THAT(folder.error(), HasSubstr("not a plain file"));
    ConfigDocument missing;
    EXPECT_FALSE(missing.load(path("nowhere.xml")));
    EXPECT_THAT(missing.error(), HasSubstr("No such file"));
    ConfigDocument failing;
    EXPECT_FALSE(failing.load("/proc/self/mem"));
    EXPECT_EQ(failing.error(), "/proc/self/mem: Input/output error");
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "<Config>";
    }
    ASSERT_TRUE(android::base::WriteStringToFile(deep, path("deep.xml")));
    ConfigDocument nested;
    EXPECT_FALSE(nested.load(path("deep.xml")));
}

TEST_F(Checker, KnowsEverySectionSwitchListAndParameterOfTheLibrary) {
    for (const XmlParser::Section& section : XmlParser::kSections) {
        EXPECT_THAT(checkText(ConfigWith("<Param name='" + std::string(section.name) +
                                         "' value='0' strange='1'><strange/></Param>")),
                    Contains(HasSubstr("unknown attribute 'strange'")))
            << section.name;
    }
    std::string switches;
    for (const std::string& name : settingSwitchNames) {
        for (const int32_t code : validFpsCodes) {
            const bool found = code == 5 || code == 6 ||  // no panel shows their rates
                               (code == 0 && name.find("default") != std::string::npos);
            EXPECT_THAT(checkText(ConfigWith("<Param name='setting_switch'><setting id='1'><switch "
                                             "name='" +
                                             name + "' value='" + std::to_string(code) +
                                             "'/></setting></Param>")),
                        testing::SizeIs(found ? 1 : 0))
                << name << " " << code;
        }
    }
    for (const std::string& name : applicationListNames) {
        const bool types = name.find("type") != std::string::npos;
        EXPECT_THAT(checkText(ConfigWith("<Param name='application_list'><list name='" + name +
                                         "'>" + (types ? "<type>1</type>" : "<pkg>a.b</pkg>") +
                                         "</list></Param>")),
                    IsEmpty())
            << name;
    }
    for (const SlideParam& row : kSlideParams) {
        EXPECT_THAT(checkText(ConfigWith("<Param name='high_freq_smart_slide_model_config'>"
                                         "<slide_param name='" +
                                         std::string(row.name) + "' value='1.5'/></Param>")),
                    IsEmpty())
            << row.name;
    }
}

TEST_F(Checker, FindsColumnsThroughCommentsAndQuotes) {
    EXPECT_THAT(checkText("<?xml version='1.0'?>\n<!-- <Config a='> -->\r\n"
                          "<Config><Params note='a > \"b\"'\n name='dynamic_fps_config'>"
                          "<![CDATA[<x>]]><Param name='TP_pointer_position_switch'\n"
                          "\tvalue = '7'/></Params></Config>"),
                ElementsAre(HasSubstr("3:17: unknown attribute"), HasSubstr("4:28: text '<x>'"),
                            HasSubstr("5:2: switch value 7 counts as on")));
    EXPECT_THAT(checkText("\xef\xbb\xbf<config/><Config><Params/></Config>"),
                Contains(StartsWith("1:18: fatal: <Params> without")));
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
        const PanelRates rates(row.rates);
        for (const int32_t code : validFpsCodes) {
            ASSERT_TRUE(android::base::WriteStringToFile(
                ConfigWith("<Param name='setting_switch'><setting id='1'><switch name="
                           "'app_perceptible_switch' value='" +
                           std::to_string(code) + "'/></setting></Param>"),
                path("checked.xml")));
            const bool without = testing::Value(row.without, Contains(code));
            EXPECT_THAT(check(path("checked.xml"), rates), testing::SizeIs(without ? 1 : 0))
                << testing::PrintToString(row.rates) << " " << code;
        }
    }
    EXPECT_THAT(check(KVT_SAMPLE_CONFIG, PanelRates({"60", "90"})), IsEmpty());
    EXPECT_THAT(check(KVT_SAMPLE_CONFIG, PanelRates({"90", "60"})),
                ElementsAre(HasSubstr("the rate is fixed and no configuration read")));
}

TEST_F(Checker, ShowsTextOfTheFileWithoutItsControlCharacters) {
    const std::string x79(79, 'x');
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {"\x1b[2J" + std::string(500, 'x'), "?[2J" + std::string(76, 'x') + "..."},
        {"\x7f&#x9b;2J\xc2\x80\xc2\x9f", "???2J????"},
        {"\xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xae",
         "\xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xae"},
        {"\x9b\xc3+\xff\xe2\x82", "??+???"},
        {"\xc0\x9b\xe0\x80\x9b\xed\xa0\x80+\xf0\x80\x80\x9b\xf4\x90\x80\x80", "????????+????????"},
        {x79 + "\xc3\xa9", x79 + "\xc3\xa9"},
        {x79 + "\xc3\xa9y", x79 + "\xc3\xa9..."},
    };
    for (const auto& row : cases) {
        EXPECT_THAT(checkText(ConfigWith("<Param name='" + row.text + "'/>")),
                    ElementsAre(HasSubstr("unknown section '" + row.shown + "' is ignored")));
    }
}

TEST_F(Checker, AnswersSoonForAHundredThousandEntries) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) {
        text += "<pkg>com.example.app" + std::to_string(100'000 + i) + "</pkg>\n";
    }
    text += "<pkg>com.example.app1234567</pkg>\n";
    EXPECT_THAT(checkText(ConfigWith("<Param name='application_list'>"
                                     "<list name='app_pkg_perceptible_list'>" +
                                     text + "</list></Param>")),
                ElementsAre(HasSubstr("'com.example.app123456' of list")));
}

TEST_F(Checker, HasNothingToSayAboutTheSample) {
    EXPECT_THAT(check(KVT_SAMPLE_CONFIG), IsEmpty());
}

}  // namespace
}  // namespace KVT
