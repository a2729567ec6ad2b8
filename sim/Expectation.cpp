// SPDX-License-Identifier: Apache-2.0
#include "sim/Expectation.h"

#include <cstdlib>
#include <vector>

#include "detect/GameFpsDetect.h"
#include "display/LcdFpsControl.h"
#include "policy/Decision.h"
#include "policy/FpsCommon.h"

namespace KVT::sim {
namespace {

constexpr int32_t kMostHz = 1000;

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

}  // namespace

Expectation Expectation::Read(Arguments& arguments) {
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

std::string Expectation::unmet(int32_t panelHz) const {
    std::string faults;
    if (hz.has_value() && panelHz != *hz) {
        Note(std::to_string(panelHz) + " Hz, not " + std::to_string(*hz), &faults);
    }
    const RateEntry last = LcdFpsControl::journal.last();
    Compare("cause", last.number == 0 ? "start" : last.cause.name(), cause, &faults);
    Compare("foreground", FpsCommon::CurrentPkgName(), foreground, &faults);
    Compare("strategy", FpsCommon::ArmedStrategy(), strategy, &faults);
    const int32_t detected = GameFpsDetect::GetInstance()->GetCurrentFps();
    if (fps.has_value() && std::abs(detected - *fps) > tolerance) {
        Note(std::to_string(detected) + " fps detected, not " + std::to_string(*fps) +
                 (tolerance > 0 ? " within " + std::to_string(tolerance) : ""),
             &faults);
    }
    return faults;
}

}  // namespace KVT::sim
