// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvtctl/DumpTree.h"
#include "tools/kvtctl/Printer.h"

namespace KVT::ctl {

/** An entry of the service's journal: a rate that was asked for, or a cause that left it as it was. */
struct RateChange {
    uint64_t number = 0;
    /** Seconds of the phone's boot-time clock. */
    double at = 0;
    double tookSeconds = 0;
    /** Hz; 0 when none was asked for. */
    int32_t askedHz = 0;
    /** What the panel showed before and after; 0 when unknown, -1 when it could not be read. */
    int32_t fromHz = 0;
    int32_t shownHz = 0;
    std::string cause;
    /** The package's refresh-rate code; -1 where the cause has none. */
    int32_t code = -1;
    std::string package;
    /** Whether the panel took the rate; of a cause that asks for none, the rate asked for last. */
    bool followed = true;

    bool asks() const { return askedHz != 0; }
    /** Whether the panel changed its rate; that it is at one when it is first seen is no change. */
    bool switches() const { return fromHz > 0 && shownHz > 0 && fromHz != shownHz; }
};

/** "60 Hz"; of what is no rate, "unknown" for 0, and "could not be read" for less. */
std::string HzText(int32_t hz);

/** More than a journal holds: whoever sends them is no service. */
inline constexpr size_t kMostChanges = 4096;

struct History {
    /** Seconds of the clock of the changes' times. */
    double now = 0;
    /** The number of the journal's last entry, be it here or not. */
    uint64_t last = 0;
    /** Oldest first. */
    std::vector<RateChange> changes;
    /** The dump had no room for more, of which the first follows the last one here. */
    bool isCut = false;
};

/** From a dump's section "history"; nothing without one. */
std::optional<History> HistoryOf(const DumpTree& dump);

/** Which of them are wanted. */
struct HistoryFilter {
    /** Seconds before now; nothing for all there are. */
    std::optional<double> since;
    /** "" for all. */
    std::string package;
};
std::vector<RateChange> Filtered(const History& history, const HistoryFilter& filter);

/** What turns the service's clock into the time of day. */
struct WallClock {
    double now = 0;       // of the service's clock
    int64_t wallNow = 0;  // at the same time, milliseconds since 1970

    int64_t at(double time) const { return wallNow + static_cast<int64_t>((time - now) * 1000); }
};

/** "21:40:03.120", local. */
std::string TimeOfDay(int64_t wallMs);

/** The names of the columns of TextOf(). */
Line HistoryHeading();
Line TextOf(const RateChange& change, const WallClock& clock);
Json::Value JsonOf(const RateChange& change, const WallClock& clock);

}  // namespace KVT::ctl
