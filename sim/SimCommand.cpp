// SPDX-License-Identifier: Apache-2.0
#include "sim/SimCommand.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "common/CleanText.h"
#include "host/CommandLine.h"
#include "linux/Properties.h"
#include "sim/Player.h"
#include "sim/ScenarioTests.h"
#include "sim/Soak.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::sim {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

/** The library's log, by the clock of the timeline. */
void LogInVirtualTime(const __android_logger_data* data, const char* message) {
    constexpr const char* kPriorities = "??VDIWEFS";
    const int64_t ns = MonotonicNow() - VirtualTime::Options().startNs;
    fprintf(stderr, "%10.3f s  %c %s: %s\n", static_cast<double>(ns) / kNsPerS,
            kPriorities[std::clamp(static_cast<int>(data->priority), 0, 8)], data->tag,
            CleanText(message, "=").c_str());
}

/** Plays it to the end, which virtual time allows once in a process; lists what was not met. */
int Play(const std::string& path, std::optional<uint64_t> seed, std::ostream& timeline,
         std::ostream& faults, const char* faultsBegin) {
    try {
        const Scenario scenario = ReadScenarioFile(path);
        UsePropertyFolder("");  // a simulated phone has its own
        VirtualTime::Options options;
        options.seed = seed;
        VirtualTime::Enter(options);
        Player player(scenario, timeline);
        player.play();
        for (const Player::Unmet& unmet : player.unmet()) {
            faults << faultsBegin << CleanText(path, "=") << ":" << unmet.line << ": "
                   << CleanText(unmet.what, "=") << "\n";
        }
        return player.unmet().empty() ? kDone : kFailed;
    } catch (const ScenarioError& e) {
        faults << faultsBegin << CleanText(e.what(), "=") << "\n";
        return kUsage;
    }
}

struct PlayOptions {
    std::string path;
    uint64_t seed = 0;
    bool isSeeded = false;
    bool log = false;
};

struct TestOptions {
    std::vector<std::string> paths;
    std::string junit;
    size_t jobs = std::max(1U, std::thread::hardware_concurrency());
};

int RunScenario(const PlayOptions& options, std::ostream& out, std::ostream& err) {
    // Errors must be seen; everything else is for those who ask.
    __android_log_set_minimum_priority(options.log ? ANDROID_LOG_VERBOSE : ANDROID_LOG_ERROR);
    __android_log_set_logger(LogInVirtualTime);
    return Play(options.path, options.isSeeded ? std::optional(options.seed) : std::nullopt, out,
                err, "kvt-sim: ");
}

int CheckScenarios(const std::vector<std::string>& paths, std::ostream& out, std::ostream& err) {
    int status = kDone;
    for (const std::string& path : ScenarioFiles(paths)) {
        try {
            const Scenario scenario = ReadScenarioFile(path);
            out << CleanText(path, "=") << ": " << scenario.events.size() << " events, "
                << scenario.expectations() << " of them expectations\n";
        } catch (const ScenarioError& e) {
            err << "kvt-sim: " << CleanText(e.what(), "=") << "\n";
            status = kUsage;
        }
    }
    return status;
}

int RunTests(const TestOptions& options, std::ostream& out, std::ostream& err) {
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    const auto outcomes = TestScenarios(
        ScenarioFiles(options.paths), options.jobs,
        [](const std::string& path, std::ostream& faults) {
            std::ostream nowhere(nullptr);
            return Play(path, std::nullopt, nowhere, faults, "");
        },
        out);
    const auto failed = std::count_if(
        outcomes.begin(), outcomes.end(),
        [](const ScenarioOutcome& outcome) { return outcome.kind != ScenarioOutcome::kMet; });
    out << outcomes.size() << (outcomes.size() == 1 ? " scenario" : " scenarios") << ", " << failed
        << " failed\n";
    if (!options.junit.empty() && !WriteJunit(outcomes, options.junit)) {
        err << "kvt-sim: " << CleanText(options.junit, "=") << " can not be written\n";
        return kUsage;
    }
    return failed == 0 ? kDone : kFailed;
}

}  // namespace

int RunSim(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CommandLine app{"Plays a phone in virtual time and reports what its panel does, and why.",
                    "kvt-sim"};
    app.require_subcommand(1);

    PlayOptions playing;
    CLI::App* run = app.add_subcommand("run", "Plays a scenario: one JSON object per line");
    run->add_option("FILE", playing.path, "scenario")->required();
    CLI::Option* seeded = run->add_option("--seed", playing.seed,
                                          "picks the schedule of threads at random from this seed");
    run->add_flag("--log", playing.log, "prints the library's log, to standard error");
    std::vector<std::string> checked;
    CLI::App* check = app.add_subcommand("check", "Reads scenarios, and plays none");
    check->add_option("PATH", checked, "scenarios, or folders with some")->required();
    TestOptions testing;
    CLI::App* test =
        app.add_subcommand("test", "Plays scenarios, and says which do not meet what they expect");
    test->add_option("PATH", testing.paths, "scenarios, or folders with some")->required();
    test->add_option("--junit", testing.junit, "writes the outcome to this file, as JUnit's XML");
    test->add_option("--jobs", testing.jobs, "how many at a time")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    SoakOptions soaking;
    CLI::App* soak = app.add_subcommand(
        "soak", "Plays days of random events while peers fail, and checks what must always hold");
    soak->add_option("--days", soaking.days, "days of the phone's time")
        ->check(CLI::Range(0.0, 1000.0))
        ->capture_default_str();
    soak->add_option("--seed", soaking.seed, "chooses all that happens")->capture_default_str();
    soak->add_option("--config", soaking.configFile, "configuration file");
    bool schema = false;
    CLI::App* events = app.add_subcommand("events", "Lists the events that a scenario can have");
    events->add_flag("--schema", schema, "as a JSON schema of a scenario's lines");

    if (const std::optional<int> ended = app.read(argc, argv, out, err); ended.has_value()) {
        return *ended;
    }
    try {
        if (events->parsed()) {
            out << (schema ? LineSchema().toStyledString() : DescribeLines());
            return kDone;
        }
        if (check->parsed()) {
            return CheckScenarios(checked, out, err);
        }
        if (test->parsed()) {
            return RunTests(testing, out, err);
        }
        if (soak->parsed()) {
            __android_log_set_minimum_priority(ANDROID_LOG_FATAL);  // failures are what it is about
            UsePropertyFolder("");
            return Soak(soaking, out) ? kDone : kFailed;
        }
        playing.isSeeded = bool{*seeded};
        return RunScenario(playing, out, err);
    } catch (const ScenarioError& e) {
        err << "kvt-sim: " << CleanText(e.what(), "=") << "\n";
        return kUsage;
    }
}

}  // namespace KVT::sim
