// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/kvtctl/Durations.h"

namespace KVT::ctl {
namespace {

constexpr double kMinuteSeconds = 60;

void AddTo(Account& account, const RateChange& change, double seconds) {
    account.seconds += seconds;
    account.secondsAtHz[change.shownHz] += seconds;
    account.secondsOfCause[change.cause] += seconds;
}

void Count(Account& account, const RateChange& change) {
    account.asked += change.asks() ? 1 : 0;
    account.notFollowed += change.asks() && !change.followed ? 1 : 0;
    if (change.switches()) {
        account.switches.push_back(change.at);
    }
}

std::string Percent(double part, double whole) {
    return std::to_string(whole > 0 ? std::llround(100 * part / whole) : 0) + " %";
}

std::string PerMinute(const Account& account) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f a minute", account.switchesAMinute());
    return text;
}

std::string Counted(size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "es");
}

std::string FlappingText(const Account& account) {
    return std::to_string(account.mostInAMinute()) + " switches within a minute (more than " +
           std::to_string(Account::kMostSwitchesAMinute) + ")";
}

/** "60 Hz 84 %, 90 Hz 16 %" */
std::string RatesText(const Account& account) {
    std::string text;
    for (const auto& [hz, seconds] : account.secondsAtHz) {
        text += (text.empty() ? "" : ", ") + HzText(hz) + " " + Percent(seconds, account.seconds);
    }
    return text;
}

Json::Value AccountJson(const Account& account) {
    Json::Value json;
    json["seconds"] = account.seconds;
    json["switches"] = Json::UInt64{account.switches.size()};
    json["switches_per_minute"] = account.switchesAMinute();
    json["most_switches_in_a_minute"] = Json::UInt64{account.mostInAMinute()};
    json["flapping"] = account.isFlapping();
    json["main_cause"] = account.mainCause();
    json["asked"] = Json::UInt64{account.asked};
    json["not_followed"] = Json::UInt64{account.notFollowed};
    json["rates"] = Json::Value(Json::arrayValue);
    for (const auto& [hz, seconds] : account.secondsAtHz) {
        Json::Value rate;
        rate["hz"] = hz;
        rate["seconds"] = seconds;
        json["rates"].append(rate);
    }
    return json;
}

}  // namespace

double Account::switchesAMinute() const {
    return seconds > 0 ? static_cast<double>(switches.size()) * kMinuteSeconds / seconds : 0;
}

size_t Account::mostInAMinute() const {
    size_t most = 0;
    for (size_t first = 0, end = 0; end < switches.size(); ++end) {
        while (switches[end] - switches[first] >= kMinuteSeconds) {
            ++first;
        }
        most = std::max(most, end - first + 1);
    }
    return most;
}

std::string Account::mainCause() const {
    const auto main =
        std::max_element(secondsOfCause.begin(), secondsOfCause.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    return main == secondsOfCause.end() ? "" : main->first;
}

Report ReportOf(const History& history, std::optional<double> since) {
    Report report;
    const double begin = since.has_value() ? history.now - *since : -HUGE_VAL;
    std::vector<RateChange> changes = history.changes;
    // An entry has the time at which it was begun, and its number from when it was over.
    std::stable_sort(changes.begin(), changes.end(),
                     [](const RateChange& a, const RateChange& b) { return a.at < b.at; });
    for (size_t i = 0; i < changes.size(); ++i) {
        const RateChange& change = changes[i];
        const double from = std::max(begin, change.at);
        const double to = i + 1 < changes.size() ? changes[i + 1].at : history.now;
        if (change.at < begin && to <= begin) {
            continue;
        }
        for (Account* account : {&report.all, &report.packages[change.package]}) {
            AddTo(*account, change, std::max(0.0, to - from));
            if (change.at >= begin) {
                Count(*account, change);
            }
        }
    }
    return report;
}

std::vector<Line> TextOf(const Report& report) {
    const Account& all = report.all;
    if (all.secondsAtHz.empty()) {
        return {{"nothing was asked of the panel", Line::kHeading}};
    }
    std::vector<Line> lines = {{"the last " + DurationText(all.seconds) + ": " +
                                    Counted(all.switches.size(), "switch") + ", " + PerMinute(all),
                                Line::kHeading}};
    lines.push_back({"  rates        " + RatesText(all), Line::kPlain, kLabelColumns});
    lines.push_back({"  main cause   " + all.mainCause() + ", " +
                         Percent(all.secondsOfCause.at(all.mainCause()), all.seconds),
                     Line::kPlain, kLabelColumns});
    if (all.isFlapping()) {
        lines.push_back({"  flapping     " + FlappingText(all), Line::kBad, kLabelColumns});
    }
    if (all.notFollowed > 0) {
        lines.push_back({"  not followed " + std::to_string(all.notFollowed) + " of " +
                             std::to_string(all.asked) + " rates asked for",
                         Line::kBad, kLabelColumns});
    }
    std::vector<std::pair<std::string, Account>> packages(report.packages.begin(),
                                                          report.packages.end());
    std::stable_sort(packages.begin(), packages.end(), [](const auto& a, const auto& b) {
        return a.second.seconds > b.second.seconds;
    });
    for (const auto& [package, account] : packages) {
        lines.push_back(
            {package + ": " + DurationText(account.seconds) + ", " + RatesText(account) + ", " +
                 Counted(account.switches.size(), "switch") + ", mainly " + account.mainCause(),
             Line::kPlain, 4});
        if (account.isFlapping()) {
            lines.push_back({"    flapping: " + FlappingText(account), Line::kBad, 4});
        }
    }
    return lines;
}

Json::Value JsonOf(const Report& report) {
    Json::Value json = AccountJson(report.all);
    json["packages"] = Json::Value(Json::arrayValue);
    for (const auto& [package, account] : report.packages) {
        Json::Value one = AccountJson(account);
        one["package"] = package;
        json["packages"].append(one);
    }
    return json;
}

}  // namespace KVT::ctl
