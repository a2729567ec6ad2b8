// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvtctl/History.h"
#include "tools/kvtctl/Printer.h"

namespace KVT::ctl {

/** What the panel did in some time, all of it or that of one package in front. */
struct Account {
    /** A panel that switches more often within a minute flickers, and costs what it should save. */
    static constexpr size_t kMostSwitchesAMinute = 10;

    double seconds = 0;
    std::map<int32_t, double> secondsAtHz;
    std::map<std::string, double> secondsOfCause;
    size_t asked = 0;
    size_t notFollowed = 0;
    /** When the panel switched, in order. */
    std::vector<double> switches;

    double switchesAMinute() const;
    /** Within the minute in which there were most. */
    size_t mostInAMinute() const;
    bool isFlapping() const { return mostInAMinute() > kMostSwitchesAMinute; }
    /** The cause that held the rate longest; "" without any. */
    std::string mainCause() const;
};

/** From the journal, as far back as it goes. */
struct Report {
    Account all;
    std::map<std::string, Account> packages;
};

/** @param since seconds before now; nothing for all there is */
Report ReportOf(const History& history, std::optional<double> since);

std::vector<Line> TextOf(const Report& report);
Json::Value JsonOf(const Report& report);

}  // namespace KVT::ctl
