// SPDX-License-Identifier: Apache-2.0
#include "sim/SimCommand.h"

#include <android/log.h>

#include <optional>
#include <string>

#include "host/CommandLine.h"
#include "linux/Properties.h"
#include "sim/Player.h"
#include "sim/Soak.h"
#include "sync/virtual/VirtualTime.h"

namespace KVT::sim {
namespace {

constexpr int kUsage = 2;

int Play(const std::string& path, std::optional<uint64_t> seed, std::ostream& out,
         std::ostream& err) {
    try {
        const Scenario scenario = ReadScenarioFile(path);
        UsePropertyFolder("");  // a simulated phone has its own
        VirtualTime::Options options;
        options.seed = seed;
        VirtualTime::Enter(options);
        Player(scenario, out).play();
        return 0;
    } catch (const ScenarioError& e) {
        err << "kvt-sim: " << e.what() << "\n";
        return kUsage;
    }
}

}  // namespace

int RunSim(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CommandLine app{"Plays a phone in virtual time and reports what its panel does, and why.",
                    "kvt-sim"};
    app.require_subcommand(1);

    std::string path;
    uint64_t seed = 0;
    bool log = false;
    CLI::App* run = app.add_subcommand("run", "Plays a scenario: one JSON object per line");
    run->add_option("FILE", path, "scenario")->required();
    CLI::Option* seeded =
        run->add_option("--seed", seed, "picks the schedule of threads at random from this seed");
    run->add_flag("--log", log, "prints the library's log, to standard error");
    SoakOptions soaking;
    CLI::App* soak = app.add_subcommand(
        "soak", "Plays days of random events while peers fail, and checks what must always hold");
    soak->add_option("--days", soaking.days, "days of the phone's time")
        ->check(CLI::Range(0.0, 1000.0))
        ->capture_default_str();
    soak->add_option("--seed", soaking.seed, "chooses all that happens")->capture_default_str();
    soak->add_option("--config", soaking.configFile, "configuration file");
    CLI::App* events = app.add_subcommand("events", "Lists the events that a scenario can have");

    if (const std::optional<int> ended = app.read(argc, argv, out, err); ended.has_value()) {
        return *ended;
    }
    if (events->parsed()) {
        out << DescribeEventTypes();
        return 0;
    }
    // Errors must be seen; everything else is for those who ask.
    __android_log_set_minimum_priority(log ? ANDROID_LOG_VERBOSE : ANDROID_LOG_ERROR);
    if (soak->parsed()) {
        __android_log_set_minimum_priority(ANDROID_LOG_FATAL);  // failures are what it is about
        UsePropertyFolder("");
        return Soak(soaking, out) ? 0 : 1;
    }
    return Play(path, *seeded ? std::optional(seed) : std::nullopt, out, err);
}

}  // namespace KVT::sim
