// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Why.h"

#include <algorithm>

#include "policy/Decision.h"
#include "tools/kvtctl/Durations.h"
#include "tools/kvtctl/History.h"

namespace KVT::ctl {
namespace {

constexpr const char* kInTime = "in time";
constexpr const char* kLoaded = "loaded";
/** Somebody fixed the rate; the cause says so. */
constexpr const char* kPolicyIsOff = "not read: the policy is off";

std::string BaseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/** Whether the cause is that the package's own code decided. */
bool IsByCode(const std::string& rule) {
    return rule == "game-code" || rule == "app-code";
}

std::string PeerName(const std::string& key) {
    return key == "display"          ? "display service"
           : key == "classification" ? "classification service"
                                     : key;
}

/** What the rule of that name says for people; "" for a switch of the configuration. */
std::string MeaningOf(const std::string& rule) {
    const auto rules = Rules();
    const auto found =
        std::find_if(rules.begin(), rules.end(), [&](const Rule& r) { return r.name == rule; });
    return found == rules.end() ? "" : found->when;
}

/** The package's text with the place in the file, where it is known, for the entry. */
std::string PackageReason(const Why& why) {
    std::string text = why.packageText;
    if (why.configLine == 0) {
        return text;
    }
    for (const std::string& listed :
         {" (" + why.list + ", entry " + why.entry + ")", " (" + why.list + ")"}) {
        const size_t at = text.size() - std::min(text.size(), listed.size());
        if (text.compare(at, std::string::npos, listed) == 0) {
            return text.substr(0, at) + " (" + BaseName(why.configFile) + ":" +
                   std::to_string(why.configLine) + ", " + why.list + ")";
        }
    }
    return text;
}

std::string WithoutReason(const Why& why) {
    if (IsByCode(why.without)) {
        return PackageReason(why);
    }
    std::string meaning = MeaningOf(why.without);
    if (meaning.empty()) {
        const bool isList = why.without.find("_list") != std::string::npos;
        meaning = isList ? "the next list that it is in" : "the default";
    }
    return why.without + " (" + meaning + ")";
}

std::string Headline(const Why& why) {
    std::string text = (why.hz > 0 ? "" : "rate ") + HzText(why.hz);
    text += " for " + DurationText(why.seconds) + ": " + why.cause;
    if (IsByCode(why.cause)) {
        return text + ": " + PackageReason(why);
    }
    return text + (why.because.empty() ? "" : " (" + why.because + ")");
}

std::string PanelText(const Why& why) {
    std::string text = "asked " + (why.askedHz > 0 ? std::to_string(why.askedHz) : "nothing") +
                       ", " + (why.hz > 0 ? "shows " + std::to_string(why.hz) : HzText(why.hz));
    for (size_t i = 0; i < why.rates.size(); ++i) {
        text += (i == 0 ? ", of " : " ") + why.rates[i];
    }
    return text;
}

}  // namespace

std::vector<std::string> DegradedOf(const DumpTree& dump) {
    std::vector<std::string> degraded;
    if (const DumpSection* const peers = dump.find("peers"); peers != nullptr) {
        for (const auto& [peer, health] : peers->lines) {
            if (health != kInTime) {
                degraded.push_back(PeerName(peer) + " " + health);
            }
        }
    }
    const int32_t shown = dump.number("why", "hz");
    if (dump.text("why", "followed") == "false") {
        degraded.push_back("panel asked for " + dump.text("why", "asked_hz") + " Hz, and " +
                           (shown > 0 ? "stays at " + std::to_string(shown) : HzText(shown)));
    } else if (shown < 0) {
        degraded.push_back("panel " + HzText(shown));
    }
    const std::string state = dump.text("service", "config_state");
    if (!state.empty() && state != kLoaded && state != kPolicyIsOff) {
        degraded.push_back("configuration " + dump.text("service", "config_file") + ": " + state);
    }
    return degraded;
}

Why WhyOf(const DumpTree& dump) {
    const auto text = [&dump](const char* name) { return dump.text("why", name); };
    Why why;
    why.hz = dump.number("why", "hz");
    why.askedHz = dump.number("why", "asked_hz");
    why.followed = text("followed") != "false";
    why.seconds = dump.seconds("why", "seconds");
    why.cause = text("cause");
    why.because = why.cause == "power-saving" ? "power mode " + dump.text("scenes", "power_mode")
                                              : text("because");
    why.rates = WordsOf(dump.text("panel", "rates"));
    why.package = text("package");
    why.packageText = text("package_text");
    why.list = text("list");
    why.entry = text("entry");
    why.configFile = dump.text("service", "config_file");
    why.without = text("without");
    why.withoutRate = text("without_rate");
    why.degraded = DegradedOf(dump);
    return why;
}

std::vector<Line> TextOf(const Why& why) {
    std::vector<Line> lines = {{Headline(why), Line::kHeading, kLabelColumns}};
    if (!why.without.empty()) {
        lines.push_back({"  without it   " + why.withoutRate + ": " + WithoutReason(why),
                         Line::kPlain, kLabelColumns});
    }
    lines.push_back({"  panel        " + PanelText(why), Line::kPlain, kLabelColumns});
    for (const std::string& fault : why.degraded) {
        lines.push_back({"  degraded     " + fault, Line::kBad, kLabelColumns});
    }
    return lines;
}

Json::Value JsonOf(const Why& why) {
    Json::Value json;
    json["hz"] = why.hz;
    json["asked_hz"] = why.askedHz;
    json["followed"] = why.followed;
    json["seconds"] = why.seconds;
    json["cause"] = why.cause;
    json["because"] = why.because;
    json["rates"] = Json::Value(Json::arrayValue);
    for (const std::string& rate : why.rates) {
        json["rates"].append(rate);
    }
    json["package"] = why.package;
    json["package_reason"] = PackageReason(why);
    json["config"]["file"] = why.configFile;
    json["config"]["list"] = why.list;
    json["config"]["entry"] = why.entry;
    json["config"]["line"] = why.configLine == 0 ? Json::Value() : Json::Value(why.configLine);
    if (why.without.empty()) {
        json["without"] = Json::Value();
    } else {
        json["without"]["cause"] = why.without;
        json["without"]["rate"] = why.withoutRate;
        json["without"]["reason"] = WithoutReason(why);
    }
    json["degraded"] = Json::Value(Json::arrayValue);
    for (const std::string& fault : why.degraded) {
        json["degraded"].append(fault);
    }
    return json;
}

}  // namespace KVT::ctl
