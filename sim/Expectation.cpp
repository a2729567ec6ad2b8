// SPDX-License-Identifier: Apache-2.0
#include "sim/Expectation.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "policy/Decision.h"
#include "policy/FpsCommon.h"

namespace KVT::sim {
namespace {

constexpr int32_t kMostHz = 1000;

/** What is expected; what is not named may be anything. */
struct Expectation {
    /** The panel's, Hz. */
    std::optional<int32_t> hz;
    /** As the journal of rates names it. */
    std::optional<std::string> cause;
    std::optional<std::string> foreground;
    std::optional<std::string> strategy;
    /** The game's frame rate as detected, and by how much it may be another. */
    std::optional<int32_t> fps;
    int32_t tolerance = 0;

    bool isEmpty() const { return !hz && !cause && !foreground && !strategy && !fps; }
};

/** Of the rules, and of whoever else asks for rates. */
const std::vector<std::string>& CauseNames() {
    static const auto& names = *new std::vector<std::string>([] {
        std::vector<std::string> all = {"start"};
        for (const Rule& rule : Rules()) {
            all.emplace_back(rule.name);
        }
        for (int kind = Cause::kUnnamed; kind <= Cause::kBoost; ++kind) {
            if (kind != Cause::kDecision) {
                all.emplace_back(Cause{static_cast<Cause::Kind>(kind)}.name());
            }
        }
        return all;
    }());
    return names;
}

const std::vector<std::string> kStrategies = {"none", "app-dynamic", "game-dynamic",
                                              "game-const-high"};

void Note(const std::string& fault, std::string* all) {
    *all += (all->empty() ? "" : "; ") + fault;
}

void Compare(const char* what, const std::string& is, const std::optional<std::string>& expected,
             std::string* faults) {
    if (expected.has_value() && is != *expected) {
        Note(std::string(what) + " " + is + ", not " + *expected, faults);
    }
}

Expectation Read(Arguments& arguments) {
    Expectation expected;
    const auto number = [&arguments](const char* name) {
        const int64_t value = arguments.integer(name, 0, kMostHz, -1);
        return value < 0 ? std::nullopt : std::optional(static_cast<int32_t>(value));
    };
    const auto given = [&arguments](const char* name, const std::string& value) {
        return arguments.has(name) ? std::optional(value) : std::nullopt;
    };
    expected.hz = number("hz");
    expected.cause = given("cause", arguments.choice("cause", CauseNames(), ""));
    expected.foreground = given("foreground", arguments.text("foreground", ""));
    expected.strategy = given("strategy", arguments.choice("strategy", kStrategies, ""));
    expected.fps = number("fps");
    expected.tolerance = static_cast<int32_t>(arguments.integer("tolerance", 0, kMostHz, 0));
    return expected;
}

/** @return "" or what is not so: "90 Hz, not 60; cause app-code, not power-saving" */
std::string Unmet(const Expectation& expected, int32_t panelHz) {
    std::string faults;
    if (expected.hz.has_value() && panelHz != *expected.hz) {
        Note(std::to_string(panelHz) + " Hz, not " + std::to_string(*expected.hz), &faults);
    }
    const RateEntry last = LcdFpsControl::journal.last();
    Compare("cause", last.number == 0 ? "start" : last.cause.name(), expected.cause, &faults);
    Compare("foreground", FpsCommon::CurrentPkgName(), expected.foreground, &faults);
    Compare("strategy", FpsCommon::ArmedStrategy(), expected.strategy, &faults);
    const int32_t detected = GameFpsDetect::GetInstance()->GetCurrentFps();
    if (expected.fps.has_value() && std::abs(detected - *expected.fps) > expected.tolerance) {
        Note(std::to_string(detected) + " fps detected, not " + std::to_string(*expected.fps) +
                 (expected.tolerance > 0 ? " within " + std::to_string(expected.tolerance) : ""),
             &faults);
    }
    return faults;
}

}  // namespace

Action Expect(Arguments& arguments) {
    const Expectation expected = Read(arguments);
    if (!arguments.describes() && expected.isEmpty()) {
        throw ScenarioError("expect: nothing is expected");
    }
    if (arguments.has("tolerance") && !expected.fps) {
        throw ScenarioError("expect: 'tolerance' is of 'fps', which is missing");
    }
    return [=](World& world) {
        if (!world.inProcess) {
            world.phone.journal->add("nothing is looked at: the policy is in another process");
            return;
        }
        const std::string fault = Unmet(expected, world.phone.panel->currentHz());
        if (!fault.empty()) {
            world.unmet.push_back(fault);
            world.phone.journal->add("NOT AS EXPECTED: " + fault);
        }
    };
}

}  // namespace KVT::sim
