// SPDX-License-Identifier: Apache-2.0
// What kvtctl asks the service for, and says of its answers.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include "display/LcdFpsControl.h"
#include "host/KVTServiceImpl.h"
#include "service/IKVTListener.h"
#include "service/RegistrationResult.h"
#include "sync/Clock.h"
#include "tests/support/HostileName.h"
#include "tests/support/RecordingService.h"
#include "tests/tools/KvtctlFixture.h"
#include "tools/kvtctl/TimedCall.h"

namespace KVT {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class KvtctlAnswers : public Kvtctl {
  public:
    /** A policy that has moved the panel, published. */
    void serve() {
        start(ConfigWith(
            Section("setting_switch",
                    "<setting id='0'><switch name='app_perceptible_switch' value='3'/></setting>") +
            List("app_pkg_perceptible_list", "\n<pkg>app.li*</pkg>")));
        focus("app.listed");
        framework.send(POWER_MODE, 4);
        publishService(new KVTServiceImpl);
    }

    /** Whether Python reads the output, and finds in it what the schema says of that definition. */
    bool keepsTo(const std::string& definition) {
        EXPECT_TRUE(android::base::WriteStringToFile(out, path("out.json")));
        const std::string command = "python3 -m json.tool '" + path("out.json") +
                                    "' >/dev/null && python3 " KVT_SOURCE_DIR
                                    "/tests/tools/check_json.py " KVT_SOURCE_DIR
                                    "/docs/kvtctl.schema.json " +
                                    definition + " '" + path("out.json") + "' 1>&2";
        return system(command.c_str()) == 0;
    }
};

TEST_F(KvtctlAnswers, SaysWhyAndWhatWasBefore) {
    serve();
    EXPECT_EQ(run({"why"}), 0);
    EXPECT_THAT(out, MatchesRegex("60 Hz for [0-9.]+ s: power-saving .power mode 4.\n"
                                  "  without it   90 Hz: app.listed is an application of code 3 "
                                  "(.*)\n"
                                  "  panel        asked 60, shows 60, of 60 90\n(.|\n)*"));
    EXPECT_EQ(run({"history", "--package", "app.listed"}), 0);
    EXPECT_THAT(out, MatchesRegex("TIME .*\n"
                                  ".* 60 -> 90 Hz .* app-code 3, app.listed\n"
                                  ".* 90 -> 60 Hz .* power-saving, app.listed\n"));
    EXPECT_EQ(run({"report", "--since", "1d"}), 0);
    EXPECT_THAT(out, AllOf(StartsWith("the last "), HasSubstr("\napp.listed: ")));
    EXPECT_EQ(run({"status"}), 0);
    EXPECT_THAT(out, AllOf(HasSubstr("\nforeground     app.listed, an application of type "),
                           HasSubstr("\n\n[why]\nhz=60\n")));
}

TEST_F(KvtctlAnswers, NameTheLineOfTheConfigurationWhereItCanBeRead) {
    const std::string lists = List("app_pkg_perceptible_list", "\n<pkg>a.b*</pkg>") +
                              List("app_type_perceptible_list", "\n\n<type> 3</type>");
    const struct {
        std::string config;
        const char* list;
        const char* entry;
        const char* reason;
    } cases[] = {
        {ConfigWith(lists), "app_pkg_perceptible_list", "a.b", "a (example.xml:2, app_pkg_p"},
        {ConfigWith(lists), "app_type_perceptible_list", "3", "a (example.xml:4, app_type_p"},
        {ConfigWith(lists), "app_pkg_perceptible_list", "a", "a (app_pkg_perceptible_list, "},
        {ConfigWith(lists + "<Param/>"), "app_pkg_perceptible_list", "a.b", "a (app_pkg_p"},
        {"no XML", "app_pkg_perceptible_list", "a.b", "a (app_pkg_p"},
    };
    for (const auto& c : cases) {
        const std::string list = c.list;
        const std::string tail = list.find("type") == std::string::npos ? ", entry " : "";
        publishDumps({"[why]\ncause=app-code\npackage_text=a (" + list + tail +
                      (tail.empty() ? "" : c.entry) + ")\nlist=" + list + "\nentry=" + c.entry +
                      "\n[service]\nconfig_file=" + file(c.config) + "\nconfig_state=loaded\n"});
        EXPECT_EQ(run({"why"}), 0);
        EXPECT_THAT(out, HasSubstr(std::string("app-code: ") + c.reason));
    }
    file(ConfigWith(lists));
    ASSERT_EQ(chdir(path("").c_str()), 0);
    publishDumps(
        {"[why]\npackage_text=a (app_type_perceptible_list)\nlist="
         "app_type_perceptible_list\nentry=3\n[service]\nconfig_file=example.xml\n"});
    EXPECT_EQ(run({"why", "--json"}), 0);
    EXPECT_THAT(out, HasSubstr("\"line\": null")) << "of the service's folder, not of this one";
}

TEST_F(KvtctlAnswers, KeepToTheSchemaAsJson) {
    serve();
    const std::pair<std::vector<std::string>, const char*> commands[] = {
        {{"why"}, "why"}, {{"history"}, "history"}, {{"report"}, "report"}, {{"status"}, "status"}};
    for (auto [args, definition] : commands) {
        args.emplace_back("--json");
        EXPECT_EQ(run(args), 0);
        EXPECT_TRUE(keepsTo(definition)) << out;
    }
    EXPECT_EQ(out.find_first_not_of("\n\r\t "), out.find('{'));
    out = R"({"entries": [{"number": "1"}]})";
    EXPECT_FALSE(keepsTo("history"));
}

TEST_F(KvtctlAnswers, ReadAJournalThatFitsIntoNoDump) {
    serve();
    for (int32_t i = 0; i < 600; ++i) {
        LcdFpsControl::journal.onPackage("p" + std::to_string(i) + std::string(200, 'x'));
        LcdFpsControl::journal.onCause({});
    }
    EXPECT_EQ(run({"history"}), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1 + int{RateJournal::kCapacity});
    EXPECT_THAT(out, HasSubstr("unnamed, p599x"));
}

TEST_F(KvtctlAnswers, WatchEachChangeUntilTheServiceIsGone) {
    const auto entry = [](int number) {
        return std::to_string(number) +
               "=at 5.000 took 0.016 asked 90 from 60 shown 90 cause climb code -1 package p\n";
    };
    const std::string head = "[history]\nnow=9.000\nlast=7\n";
    const std::vector<std::string> dumps = {head, head + entry(7), head + entry(8) + entry(9), head,
                                            head + entry(12)};
    const struct {
        std::vector<std::string> args;
        int status;
        const char* numbers;
        const char* err;
    } cases[] = {
        {{}, 1, "8 9 12 ", "kvtctl: 2 changes were missed\nkvtctl: the service is gone\n"},
        {{"--count", "2"}, 0, "8 9 ", ""},
        {{"--for", "1"}, 0, "8 9 12 ", "kvtctl: 2 changes were missed\n"},
    };
    for (const auto& c : cases) {
        publishDumps(dumps);
        std::vector<std::string> args = {"watch", "--json"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        EXPECT_EQ(run(args), c.status);
        EXPECT_EQ(err, c.err);
        std::istringstream lines(out);
        std::string numbers;
        while (std::getline(lines, out)) {
            const size_t at = out.find("\"number\": ") + 10;
            numbers += out.substr(at, out.find(',', at) - at) + " ";
        }
        EXPECT_EQ(numbers, c.numbers);
        out = lines.str().substr(0, lines.str().find('\n'));
        EXPECT_TRUE(keepsTo("change")) << out;
    }
    publishDumps(dumps);
    ctl::Process process;
    process.isReaderGone = [] { return true; };
    EXPECT_EQ(run({"watch"}, process), 0) << "and until nobody reads";
}

/** Registers whoever asks, and can report to them. */
class Reporter : public RecordingService {
  public:
    int32_t RegisterListener(const android::sp<IKVTListener>& taken) override {
        listener = taken;
        return REGISTRATION_DONE;
    }
    android::sp<IKVTListener> listener;
};

TEST_F(KvtctlAnswers, KeepToAWindowThatIsHeldAndResized) {
    const android::sp<Reporter> reporter = new Reporter;
    publishService(reporter);
    ctl::Process process;
    process.terminal = [] { return ctl::Terminal{40, false}; };
    process.isReaderGone = [&, rounds = 0]() mutable {
        for (int32_t fps = 60; rounds == 0 && fps < 1100; ++fps) {
            reporter->listener->NotifyGameFpsToAps(fps);
        }
        return rounds++ > 0;
    };
    EXPECT_EQ(run({"watch", "--fps"}, process), 0);
    reporter->listener.clear();  // which holds the service
    EXPECT_THAT(out, AllOf(StartsWith("100\n"), EndsWith("\n1099\n")));
    EXPECT_THAT(err, EndsWith("\nkvtctl: 40 reports were missed\n"));
    std::istringstream lines(err);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 40u);
    }
}

TEST_F(KvtctlAnswers, WaitNoLongerThanTheyAreTold) {
    publishService(new Remote([](uint32_t, const android::Parcel&, android::Parcel*, uint32_t) {
        SleepFor(3600 * kNsPerS);
        return android::OK;
    }));
    const int64_t begin = MonotonicNow();
    const std::vector<std::string> commands[] = {
        {"status"}, {"why"}, {"history"}, {"report"}, {"watch"}};
    for (std::vector<std::string> args : commands) {
        args.insert(args.end(), {"--timeout", "5"});
        EXPECT_EQ(run(args), 1);
        EXPECT_THAT(err, EndsWith(" failed: no answer in time\n"));
    }
    EXPECT_EQ(MonotonicNow() - begin, 5 * 5 * kNsPerS);
    EXPECT_TRUE(ctl::IsCallLeftBehind());
}

TEST_F(KvtctlAnswers, WaitNoLongerForAServiceThatNeverSaysAll) {
    for (const char* command : {"history", "report", "watch"}) {
        publishService(new Remote([number = 10](uint32_t, const android::Parcel& data,
                                                android::Parcel*, uint32_t) mutable {
            SleepFor(kNsPerS);
            android::base::WriteStringToFd("[history]\nnow=9.000\nlast=7\n" +
                                               std::to_string(++number) +
                                               "=at 5.000 took 0.016 cause c package p\ncut=1\n",
                                           data.readFileDescriptor());
            return android::OK;
        }));
        const int64_t begin = MonotonicNow();
        EXPECT_EQ(run({command, "--timeout", "3.5"}), 1);
        EXPECT_THAT(err, EndsWith(" failed: no answer in time\n"));
        EXPECT_LT(MonotonicNow() - begin, 6 * kNsPerS) << command;
    }
}

TEST_F(KvtctlAnswers, KeepWhoeverIsTheServiceFromTheTerminal) {
    const std::string name = kHostileName;
    publishDumps({"[layers]\nlayer=" + name + "\xff\n[why]\ncause=" + name});
    EXPECT_EQ(run({"status"}), 0);
    EXPECT_THAT(out, HasSubstr("\n\n[layers]\nlayer=com.evil\n"
                               "KVTService I fatal ?[2J?31m?confirmed_hz=90 ?emag?????\n[why]\n"));
    signal(SIGPIPE, SIG_IGN);
    publishDumps({std::string(2'000'000, '\n')});
    EXPECT_EQ(run({"status"}), 1);
    EXPECT_THAT(err, EndsWith("the answer has no end\n"));
}

}  // namespace
}  // namespace KVT
