// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/History.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "tools/kvtctl/Durations.h"

namespace KVT::ctl {
namespace {

constexpr const char* kPackageField = " package ";

/** Seconds that a phone can have been running. */
bool IsTime(double seconds) {
    return seconds >= 0 && seconds < 1e10;
}

/** "at 12.345 took 0.016 ... package com.example", as the service writes an entry. */
std::optional<RateChange> ChangeOf(const std::string& number, const std::string& text) {
    const size_t packageAt = text.find(kPackageField);
    if (packageAt == std::string::npos) {
        return std::nullopt;
    }
    RateChange change;
    change.number = strtoull(number.c_str(), nullptr, 10);
    change.package = text.substr(packageAt + std::char_traits<char>::length(kPackageField));
    const std::vector<std::string> words = WordsOf(text.substr(0, packageAt));
    std::optional<bool> followed;  // which older services do not say
    for (size_t i = 0; i + 1 < words.size(); i += 2) {
        const std::string& field = words[i];
        const std::string& value = words[i + 1];
        const auto integer = static_cast<int32_t>(strtol(value.c_str(), nullptr, 10));
        if (field == "at") {
            change.at = strtod(value.c_str(), nullptr);
        } else if (field == "took") {
            change.tookSeconds = strtod(value.c_str(), nullptr);
        } else if (field == "asked") {
            change.askedHz = integer;
        } else if (field == "from") {
            change.fromHz = integer;
        } else if (field == "shown") {
            change.shownHz = integer;
        } else if (field == "code") {
            change.code = integer;
        } else if (field == "followed") {
            followed = integer != 0;
        } else if (field == "cause") {
            change.cause = value;
        }
    }
    change.followed = followed.value_or(!change.asks() || change.askedHz == change.shownHz);
    const bool isWhole = change.number != 0 && IsTime(change.at) && IsTime(change.tookSeconds) &&
                         !change.cause.empty();
    return isWhole ? std::optional(change) : std::nullopt;
}

std::string RateText(const RateChange& change) {
    const std::string shown = HzText(change.shownHz);
    const int32_t from = change.fromHz;
    return from == change.shownHz
               ? shown
               : (from > 0 ? std::to_string(from) : HzText(from)) + " -> " + shown;
}

std::string TookText(const RateChange& change) {
    return change.asks() ? std::to_string(std::llround(change.tookSeconds * 1000)) + " ms" : "-";
}

/** The columns of a line of the history. */
std::string Row(const std::string& time, const std::string& ago, const std::string& rate,
                const std::string& took, const std::string& rest) {
    char columns[96];
    snprintf(columns, sizeof(columns), "%-12.12s  %8.16s  %12.32s  %7.12s  ", time.c_str(),
             ago.c_str(), rate.c_str(), took.c_str());
    return columns + rest;
}

}  // namespace

std::string HzText(int32_t hz) {
    return hz > 0 ? std::to_string(hz) + " Hz" : hz == 0 ? "unknown" : "could not be read";
}

std::optional<History> HistoryOf(const DumpTree& dump) {
    const DumpSection* const section = dump.find("history");
    if (section == nullptr) {
        return std::nullopt;
    }
    History history;
    history.now = dump.seconds("history", "now");
    if (!IsTime(history.now)) {
        return std::nullopt;
    }
    history.last = strtoull(dump.text("history", "last").c_str(), nullptr, 10);
    for (const auto& [name, value] : section->lines) {
        if (name == "cut") {
            history.isCut = true;
        } else if (const auto change = ChangeOf(name, value); change.has_value()) {
            history.changes.push_back(*change);
        }
    }
    return history;
}

std::vector<RateChange> Filtered(const History& history, const HistoryFilter& filter) {
    std::vector<RateChange> wanted;
    for (const RateChange& change : history.changes) {
        if ((!filter.since.has_value() || change.at >= history.now - *filter.since) &&
            (filter.package.empty() || change.package == filter.package)) {
            wanted.push_back(change);
        }
    }
    return wanted;
}

std::string TimeOfDay(int64_t wallMs) {
    const auto seconds = static_cast<time_t>(wallMs / 1000);
    tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        return "?";
    }
    char text[64];
    snprintf(text, sizeof(text), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<int>(wallMs % 1000));
    return text;
}

Line HistoryHeading() {
    return {Row("TIME", "AGO", "PANEL", "TOOK", "CAUSE, PACKAGE"), Line::kHeading, 4};
}

Line TextOf(const RateChange& change, const WallClock& clock) {
    std::string rest = change.cause;
    if (change.code >= 0) {
        rest += " " + std::to_string(change.code);
    }
    rest += ", " + change.package;
    if (!change.followed) {
        rest += ", NOT FOLLOWED";
        rest += change.asks() ? ": " + std::to_string(change.askedHz) + " Hz asked" : "";
    }
    return {Row(TimeOfDay(clock.at(change.at)), DurationText(clock.now - change.at),
                RateText(change), TookText(change), rest),
            change.followed ? Line::kPlain : Line::kBad, 4};
}

Json::Value JsonOf(const RateChange& change, const WallClock& clock) {
    Json::Value json;
    json["number"] = Json::UInt64{change.number};
    json["unix_ms"] = Json::Int64{clock.at(change.at)};
    json["seconds_ago"] = clock.now - change.at;
    json["from_hz"] = change.fromHz;
    json["shown_hz"] = change.shownHz;
    json["asked_hz"] = change.asks() ? Json::Value(change.askedHz) : Json::Value();
    json["followed"] = change.followed;
    json["took_ms"] = Json::Int64{std::llround(change.tookSeconds * 1000)};
    json["cause"] = change.cause;
    json["code"] = change.code < 0 ? Json::Value() : Json::Value(change.code);
    json["package"] = change.package;
    return json;
}

}  // namespace KVT::ctl
