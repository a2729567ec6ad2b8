// SPDX-License-Identifier: Apache-2.0
// Why the panel is at its rate, and what it would be at otherwise. Like the rest of the dump it waits
// for no event in progress.

#include "common/Codes.h"
#include "common/Dumper.h"
#include "display/LcdFpsControl.h"
#include "policy/CodeChoice.h"
#include "policy/FpsCommon.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

const Rule* RuleNamed(const char* name) {
    for (const Rule& rule : Rules()) {
        if (rule.name == name) {  // both are the one in the table
            return &rule;
        }
    }
    return nullptr;
}

std::string RateText(const Decision& decision) {
    return decision.rate == kRateUntouched ? "as the strategy sets it"
                                           : std::to_string(decision.rate) + " Hz";
}

/** "com.example is a game of code 3 (game_pkg_perceptible_list, entry com.ex)" */
std::string PackageText(const std::string& pkg, bool game, int32_t code, const CodeChoice& choice) {
    std::string text = pkg + (game ? " is a game of code " : " is an application of code ") +
                       std::to_string(code) + " (";
    if (code != choice.code) {
        return text + "settled when less was known of it)";
    }
    if (choice.listName == nullptr) {
        return text + choice.switchName + ")";
    }
    text += choice.listName;
    return text + (choice.prefix == nullptr ? "" : ", entry " + *choice.prefix) + ")";
}

const char* Because(const RateEntry& last, const Rule* rule, const PolicySnapshot& scenes) {
    if (last.number == 0) {
        return FpsCommon::switchAll != 0 ? Cause{Cause::kFixedMode}.meaning()
                                         : "nothing was asked of the panel yet";
    }
    if (rule == nullptr) {
        return last.cause.meaning();
    }
    if (rule->holds == nullptr) {
        return "no scene holds";
    }
    return rule->holds(scenes) || scenes.fingerprintStatus == 0
               ? rule->when
               : "no longer, but until a fingerprint unlock ends nothing else is decided";
}

}  // namespace

void FpsCommon::DumpWhy(Dumper* dumper) {
    const RateEntry last = LcdFpsControl::journal.last();
    const Rule* const rule = RuleNamed(last.cause.rule);
    const PolicySnapshot scenes = [] {
        MutexLock lock(codeCacheMutex);
        return TakeSnapshot();
    }();
    dumper->section("why");
    dumper->value("hz", last.shownHz);
    dumper->value("asked_hz", LcdFpsControl::stats.totals().requestedHz);
    dumper->seconds("seconds", BootTimeNow() - LcdFpsControl::journal.heldSince());
    dumper->value("cause", last.number == 0 ? "start" : last.cause.name());
    dumper->value("because", Because(last, rule, scenes));
    dumper->value("followed", last.followed);
    if (switchAll != 0) {
        return;  // there is nothing else
    }

    const std::string pkg = CurrentPkgName();
    const int32_t type = CachedType(pkg);
    const bool game = type == kTypeGame;
    const int32_t setting = lcdSetting;
    MutexLock lock(codeCacheMutex);  // the choice points into the tables
    const auto choose = [&](const char* leftOut) {
        return game ? ChooseGameCode(tables, setting, pkg, leftOut)
                    : ChooseAppCode(tables, setting, pkg, type, leftOut);
    };
    const CodeChoice choice = choose(nullptr);
    const int32_t code = LookUpCode(setting, pkg, type);
    const Decision byPackage = game ? DecideGame(code) : DecideApp(code);
    const std::optional<Decision> scene = DecideByScene(scenes);

    dumper->value("package", pkg);
    dumper->value("package_text", PackageText(pkg, game, code, choice));
    if (choice.listName != nullptr && code == choice.code) {
        dumper->value("list", choice.listName);
        dumper->value("entry", choice.prefix == nullptr ? std::to_string(type) : *choice.prefix);
    } else if (code == choice.code) {
        dumper->value("switch", choice.switchName);
    }

    // What stands behind the present cause: of a strategy the decision that armed it, of a scene the
    // next one that holds, of the list that the package is in the next one or the default.
    if (last.cause.kind != Cause::kDecision) {
        const Decision& inForce = scene.has_value() ? *scene : byPackage;
        dumper->value("without", inForce.rule->name);
        dumper->value("without_rate", RateText(inForce));
        return;
    }
    if (rule != nullptr && rule->holds != nullptr) {
        const Decision next = DecideByScene(scenes, rule).value_or(byPackage);
        dumper->value("without", next.rule->name);
        dumper->value("without_rate", RateText(next));
        return;
    }
    if (choice.listName != nullptr) {
        const CodeChoice other = choose(choice.listName);
        dumper->value("without", other.listName == nullptr ? other.switchName : other.listName);
        dumper->value("without_rate",
                      RateText(game ? DecideGame(other.code) : DecideApp(other.code)));
    }
}

}  // namespace KVT
