// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Status.h"

#include <string>

#include "tools/kvtctl/Durations.h"
#include "tools/kvtctl/History.h"

namespace KVT::ctl {
namespace {

constexpr const char* kUnknown = "unknown";

std::string OrUnknown(const std::string& text) {
    return text.empty() ? kUnknown : text;
}

std::string ServiceText(const DumpTree& dump) {
    if (dump.find("service") == nullptr) {
        return kUnknown;
    }
    return "version " + OrUnknown(dump.text("service", "version")) + ", process " +
           OrUnknown(dump.text("service", "pid")) + ", up for " +
           DurationText(dump.seconds("service", "uptime"));
}

std::string ConfigurationText(const DumpTree& dump) {
    return OrUnknown(dump.text("service", "config_file")) + ": " +
           OrUnknown(dump.text("service", "config_state"));
}

/** "display in time, compositor missing for 3 s" */
std::string PeersText(const DumpTree& dump) {
    std::string text;
    if (const DumpSection* const peers = dump.find("peers"); peers != nullptr) {
        for (const auto& [peer, health] : peers->lines) {
            text.append(text.empty() ? "" : ", ").append(peer).append(" ").append(health);
        }
    }
    return OrUnknown(text);
}

std::string PanelSummary(const DumpTree& dump) {
    const Why why = WhyOf(dump);
    std::string text =
        HzText(why.hz) + " for " + DurationText(why.seconds) + ": " + OrUnknown(why.cause);
    return text + (why.followed ? "" : ", " + std::to_string(why.askedHz) + " Hz asked");
}

std::string ForegroundText(const DumpTree& dump) {
    return OrUnknown(dump.text("foreground", "package")) +
           (dump.text("foreground", "game") == "true" ? ", a game" : ", an application") +
           " of type " + OrUnknown(dump.text("foreground", "type")) + ", code " +
           OrUnknown(dump.text("foreground", "code"));
}

}  // namespace

std::vector<Line> SummaryOf(const DumpTree& dump) {
    std::vector<Line> lines = {{"service        " + ServiceText(dump)},
                               {"configuration  " + ConfigurationText(dump)},
                               {"peers          " + PeersText(dump)},
                               {"panel          " + PanelSummary(dump)},
                               {"foreground     " + ForegroundText(dump)}};
    for (Line& line : lines) {
        line.indent = kLabelColumns;
    }
    return lines;
}

Json::Value StatusJsonOf(const DumpTree& dump, const Why& why) {
    Json::Value json;
    json["version"] = dump.text("service", "version");
    json["pid"] = dump.number("service", "pid");
    json["uptime_seconds"] = dump.seconds("service", "uptime");
    json["config_file"] = dump.text("service", "config_file");
    json["config_state"] = dump.text("service", "config_state");
    json["package"] = dump.text("foreground", "package");
    json["why"] = JsonOf(why);
    json["sections"] = Json::Value(Json::objectValue);
    for (const DumpSection& section : dump.sections()) {
        if (json["sections"].isMember(section.name)) {
            continue;  // the first one counts, here as everywhere
        }
        Json::Value& values = json["sections"][section.name] = Json::Value(Json::objectValue);
        for (const auto& [name, value] : section.lines) {
            if (!values.isMember(name)) {
                values[name] = value;
            }
        }
    }
    return json;
}

}  // namespace KVT::ctl
