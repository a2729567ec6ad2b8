// SPDX-License-Identifier: Apache-2.0
// What kvtctl makes of the service's dump, without a service.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "tools/kvtctl/Durations.h"
#include "tools/kvtctl/Report.h"
#include "tools/kvtctl/Status.h"
#include "tools/kvtctl/Why.h"

namespace KVT::ctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string Printed(const std::vector<Line>& lines, const Terminal& terminal = {}) {
    std::ostringstream out;
    Print(out, terminal, lines);
    return out.str();
}

constexpr const char* kShooter =
    "package=com.example.shooter\n"
    "package_text=com.example.shooter is a game of code 3 (game_pkg_perceptible_list, entry com.)\n"
    "list=game_pkg_perceptible_list\nentry=com.\n";

TEST(Why, NamesCauseAlternativePanelAndWhatIsDegraded) {
    const std::string peers = "[peers]\ndisplay=in time\ncompositor=in time\n";
    const struct {
        std::string dump;
        int line;
        const char* text;
    } cases[] = {
        {"[why]\nhz=60\nasked_hz=60\nseconds=12.3\ncause=power-saving\n"
         "because=the power mode is 1 or 4\nfollowed=true\n" +
             std::string(kShooter) +
             "without=game-code\nwithout_rate=90 Hz\n[panel]\nrates=60 90\n" + peers +
             "classification=silent for 14 s\n[scenes]\npower_mode=4\n"
             "[service]\nconfig_file=/etc/kvt_config.xml\nconfig_state=loaded\n",
         31,
         "60 Hz for 12 s: power-saving (power mode 4)\n"
         "  without it   90 Hz: com.example.shooter is a game of code 3 (kvt_config.xml:31, "
         "game_pkg_perceptible_list)\n"
         "  panel        asked 60, shows 60, of 60 90\n"
         "  degraded     classification service silent for 14 s\n"},
        {"[why]\nhz=60\nasked_hz=90\nseconds=0.4\ncause=game-code\nbecause=no scene holds\n"
         "followed=false\n" +
             std::string(kShooter) + "without=game_default\nwithout_rate=60 Hz\n" + peers +
             "[service]\nconfig_file=a.xml\nconfig_state=3 findings\n",
         0,
         "60 Hz for 0.4 s: game-code: com.example.shooter is a game of code 3 "
         "(game_pkg_perceptible_list, entry com.)\n"
         "  without it   60 Hz: game_default (the default)\n"
         "  panel        asked 90, shows 60\n"
         "  degraded     panel asked for 90 Hz, and stays at 60\n"
         "  degraded     configuration a.xml: 3 findings\n"},
        {"[why]\nhz=90\nasked_hz=90\nseconds=200\ncause=touch-down\nbecause=a "
         "finger\nfollowed=true\n"
         "package=a\npackage_text=a is an application of code 9 (app_type_perceptible_list)\n"
         "list=app_type_perceptible_list\nentry=3\nwithout=app-code\n"
         "without_rate=as the strategy sets it\n[panel]\nrates=60n 60 90\n"
         "[service]\nconfig_file=a.xml\nconfig_state=loaded\n",
         7,
         "90 Hz for 3 min: touch-down (a finger)\n"
         "  without it   as the strategy sets it: a is an application of code 9 "
         "(a.xml:7, app_type_perceptible_list)\n"
         "  panel        asked 90, shows 90, of 60n 60 90\n"},
        {"[why]\nhz=0\nseconds=0.000\ncause=start\nbecause=\n"
         "without=multi-app-mixed\nwithout_rate=90 Hz\n",
         0,
         "rate unknown for 0.0 s: start\n"
         "  without it   90 Hz: multi-app-mixed (several applications with different codes are "
         "visible)\n"
         "  panel        asked nothing, unknown\n"},
        {"[why]\nhz=-1\nasked_hz=90\nseconds=nan\ncause=climb\nfollowed=false\n"
         "without=app_type_perceptible_list\nwithout_rate=90 Hz\n"
         "[service]\nconfig_state=not read: the policy is off\n",
         0,
         "rate could not be read for 0.0 s: climb\n"
         "  without it   90 Hz: app_type_perceptible_list (the next list that it is in)\n"
         "  panel        asked 90, could not be read\n"
         "  degraded     panel asked for 90 Hz, and could not be read\n"},
    };
    for (const auto& c : cases) {
        Why why = WhyOf(DumpTree(c.dump));
        why.configLine = c.line;
        EXPECT_EQ(Printed(TextOf(why)), c.text);
    }
}

TEST(Status, BeginsWithFiveLines) {
    EXPECT_EQ(Printed(SummaryOf(DumpTree(
                  "[service]\nversion=1.0.0\npid=12\nuptime=90000\nconfig_file=/a.xml\n"
                  "config_state=loaded\n[peers]\ndisplay=in time\ncompositor=missing for 3 s\n"
                  "[why]\nhz=60\nasked_hz=90\nseconds=5\ncause=climb\nfollowed=false\n"
                  "[foreground]\npackage=a.b\ntype=9\ngame=true\ncode=3\n"))),
              "service        version 1.0.0, process 12, up for 25 h\n"
              "configuration  /a.xml: loaded\n"
              "peers          display in time, compositor missing for 3 s\n"
              "panel          60 Hz for 5.0 s: climb, 90 Hz asked\n"
              "foreground     a.b, a game of type 9, code 3\n");
    EXPECT_EQ(Printed(SummaryOf(DumpTree("no dump\n=\n[]\n"))),
              "service        unknown\n"
              "configuration  unknown: unknown\n"
              "peers          unknown\n"
              "panel          unknown for 0.0 s: unknown\n"
              "foreground     unknown, an application of type unknown, code unknown\n");
}

TEST(Status, HasTheFirstOfEachNameInItsSections) {
    const DumpTree dump("[a]\nn=1\nn=2\n[a]\nn=3\n");
    EXPECT_EQ(StatusJsonOf(dump, {})["sections"]["a"]["n"].asString(), "1");
}

/** Where the reader is at 90 Hz most of the time, and the panel once does not follow. */
constexpr const char* kHistory =
    "[history]\nnow=200.000\nlast=5\n"
    "1=at 100.000 took 0.016 asked 90 from 60 shown 90 cause app-code code 3 package a.reader\n"
    "2=at 160.000 took 0.000 asked 0 from 90 shown 90 cause touch-down code -1 package a.reader\n"
    "nonsense\n3=\n3=at x package \n3=at 1e300 cause c package a\n"
    "4=at 170.000 took 0.031 asked 60 from 90 shown 60 cause power-saving code -1 package b\n"
    "5=at 190.000 took 0.144 asked 90 from 60 shown 60 cause climb code -1 package b package c\n"
    "cut=3 lines more than 64 kB hold\n";

TEST(History, ShowsEachChangeWithTimeCauseAndPackage) {
    setenv("TZ", "UTC", 1);
    tzset();
    const History history = *HistoryOf(DumpTree(kHistory));
    EXPECT_TRUE(history.isCut);
    std::vector<Line> lines = {HistoryHeading()};
    for (const RateChange& change : history.changes) {
        lines.push_back(TextOf(change, {history.now, 3'723'004}));
    }
    EXPECT_EQ(Printed(lines),
              "TIME               AGO         PANEL     TOOK  CAUSE, PACKAGE\n"
              "01:00:23.004     100 s   60 -> 90 Hz    16 ms  app-code 3, a.reader\n"
              "01:01:23.004      40 s         90 Hz        -  touch-down, a.reader\n"
              "01:01:33.004      30 s   90 -> 60 Hz    31 ms  power-saving, b\n"
              "01:01:53.004      10 s         60 Hz   144 ms  climb, b package c, NOT FOLLOWED: 90 "
              "Hz asked\n");
    const auto numbers = [&](const HistoryFilter& filter) {
        std::vector<uint64_t> found;
        for (const RateChange& change : Filtered(history, filter)) {
            found.push_back(change.number);
        }
        return found;
    };
    const auto row = [](const std::string& fields) {
        const DumpTree dump("[history]\nnow=9\n1=at 9 took 0 " + fields + " package p\n");
        return TextOf(HistoryOf(dump)->changes.at(0), {9, 0}).text.substr(24);
    };
    EXPECT_EQ(row("asked 90 from 0 shown 90 cause c followed 0"),
              "unknown -> 90 Hz     0 ms  c, p, NOT FOLLOWED: 90 Hz asked");
    EXPECT_EQ(row("asked 0 from 90 shown -1 cause c followed 0"),
              "90 -> could not be read        -  c, p, NOT FOLLOWED");
    EXPECT_THAT(numbers({30, ""}), ElementsAre(4, 5));
    EXPECT_THAT(numbers({std::nullopt, "a.reader"}), ElementsAre(1, 2));
    EXPECT_THAT(numbers({40, "a.reader"}), ElementsAre(2));
    EXPECT_FALSE(HistoryOf(DumpTree("[why]\nhz=60\n")).has_value()) << "an older service";
}

TEST(Report, SumsUpTheHistory) {
    const History history = *HistoryOf(DumpTree(kHistory));
    EXPECT_EQ(Printed(TextOf(ReportOf(history, std::nullopt))),
              "the last 100 s: 2 switches, 1.2 a minute\n"
              "  rates        60 Hz 30 %, 90 Hz 70 %\n"
              "  main cause   app-code, 60 %\n"
              "  not followed 1 of 3 rates asked for\n"
              "a.reader: 70 s, 90 Hz 100 %, 1 switch, mainly app-code\n"
              "b: 20 s, 60 Hz 100 %, 1 switch, mainly power-saving\n"
              "b package c: 10 s, 60 Hz 100 %, 0 switches, mainly climb\n");
    EXPECT_EQ(Printed(TextOf(ReportOf(history, 35))),
              "the last 35 s: 1 switch, 1.7 a minute\n"
              "  rates        60 Hz 86 %, 90 Hz 14 %\n"
              "  main cause   power-saving, 57 %\n"
              "  not followed 1 of 2 rates asked for\n"
              "b: 20 s, 60 Hz 100 %, 1 switch, mainly power-saving\n"
              "b package c: 10 s, 60 Hz 100 %, 0 switches, mainly climb\n"
              "a.reader: 5.0 s, 90 Hz 100 %, 0 switches, mainly touch-down\n");
    History turned = history;
    std::reverse(turned.changes.begin(), turned.changes.end());
    EXPECT_EQ(Printed(TextOf(ReportOf(turned, 35))), Printed(TextOf(ReportOf(history, 35))));
    EXPECT_EQ(Printed(TextOf(ReportOf({}, 35))), "nothing was asked of the panel\n");
}

TEST(Report, MarksAPanelThatSwitchesMoreThanTenTimesWithinAMinute) {
    // Every 6 s there are ten of them in each minute, the first and the eleventh being one apart.
    for (const double every : {6.0, 5.9}) {
        History history;
        for (uint64_t i = 1; i <= 30; ++i) {
            RateChange change;
            change.number = i;
            change.at = every * static_cast<double>(i);
            change.askedHz = change.shownHz = i % 2 == 0 ? 60 : 90;
            change.fromHz = 150 - change.shownHz;
            change.package = "p";
            history.changes.push_back(change);
            history.now = change.at + 60;
        }
        const std::string text = Printed(TextOf(ReportOf(history, std::nullopt)));
        EXPECT_EQ(text.find("    flapping: 11 switches within a minute") != std::string::npos,
                  every < 6)
            << text;
    }
}

TEST(Printer, FillsATerminalAndNoMore) {
    EXPECT_THAT(Wrapped("  label  one two three four five", 20, 9),
                ElementsAre("  label  one two", "         three four", "         five"));
    EXPECT_THAT(Wrapped("com.example.a.very.long.name", 20, 4),
                ElementsAre("com.example.a.very.l", "    ong.name"));
    EXPECT_THAT(
        Wrapped("\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u00e4", 20, 0),
        ElementsAre("\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d\u4e2d", "\u00e4"));
    EXPECT_THAT(Wrapped("", 20, 4), ElementsAre(""));
    EXPECT_THAT(Wrapped(std::string(500, 'x'), 0, 4), ElementsAre(std::string(500, 'x')));
    const std::vector<Line> lines = {
        {"plain"}, {"heading", Line::kHeading}, {"", Line::kHeading}, {"bad", Line::kBad}};
    EXPECT_EQ(Printed(lines), "plain\nheading\n\nbad\n");
    EXPECT_EQ(Printed(lines, {80, true}), "plain\n\x1b[1mheading\x1b[0m\n\n\x1b[1;31mbad\x1b[0m\n");
}

TEST(Durations, AreReadAndShown) {
    const std::pair<const char*, double> read[] = {
        {"30", 30}, {"1.5m", 90}, {"2h", 7200}, {"1d", 86400}, {"0.2s", 0.2},
        {"", 0},    {"m", 0},     {"-5", 0},    {"0", 0},      {"5 m", 0},
        {"5x", 0},  {"1.2.3", 0}, {"0x10", 0},  {"1e9", 0},    {"9999999999999", 0}};
    for (const auto& [text, seconds] : read) {
        EXPECT_DOUBLE_EQ(ParseDuration(text).value_or(0), seconds) << text;
    }
    const std::pair<double, const char*> shown[] = {
        {0.44, "0.4 s"},      {9.96, "10 s"}, {119.4, "119 s"},
        {120, "2 min"},       {7200, "2 h"},  {11'160, "3 h 6 min"},
        {187'200, "2 d 4 h"}, {-1, "? s"},    {1e300, "? s"}};
    for (const auto& [seconds, text] : shown) {
        EXPECT_EQ(DurationText(seconds), text);
    }
}

}  // namespace
}  // namespace KVT::ctl
