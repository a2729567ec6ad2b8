// SPDX-License-Identifier: Apache-2.0
#include "host/ConfigKeeper.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include "common/CleanText.h"
#include "common/Log.h"
#include "common/Paths.h"
#include "config/XmlParser.h"
#include "host/EventQueue.h"
#include "policy/FpsCommon.h"
#include "tools/config/ConfigChecker.h"

namespace KVT {
namespace {

using tinyxml2::XMLElement;

/** What the policy reads of a file; null for a file of something else. */
const XMLElement* GroupOf(const ConfigDocument& document) {
    const XMLElement* config = document.xml().FirstChildElement("Config");
    return config == nullptr ? nullptr : XmlParser::FindGroup(config);
}

/** "loaded", or "2 findings, first: 12: ..." */
std::string StateOf(const std::vector<Finding>& findings) {
    if (findings.empty()) {
        return "loaded";
    }
    const Finding& first = findings.front();
    return std::to_string(findings.size()) + (findings.size() == 1 ? " finding" : " findings") +
           ", first: " + std::to_string(first.position.line) + ": " + first.what;
}

/** Why the file must not take the place of the one in force; or nothing. */
std::string FaultOf(const ConfigDocument& document, const std::vector<Finding>& findings) {
    const auto fatal = std::find_if(findings.begin(), findings.end(),
                                    [](const Finding& finding) { return finding.fatal; });
    if (fatal != findings.end()) {
        return document.name() + ":" + TextOf(*fatal);
    }
    return GroupOf(document) != nullptr
               ? ""
               : document.name() + ": no group 'dynamic_fps_config' in an element 'Config'";
}

std::string TimeOfDay() {
    const time_t now = time(nullptr);
    tm parts{};
    char text[sizeof("2038-01-19 03:14:07")];
    strftime(text, sizeof(text), "%F %T", localtime_r(&now, &parts));
    return text;
}

}  // namespace

std::string ConfigKeeper::ReadingFault(const std::string& file) {
    if (file == "-") {
        return "-: a file, not standard input: it is read again at SIGHUP";
    }
    ConfigDocument document;
    return document.load(file) || document.readingError() == 0 ? "" : document.error();
}

void ConfigKeeper::onStarted() {
    if (FpsCommon::switchAll != 0) {
        mPolicyIsOff = true;
    }
    if (FpsCommon::switchAll > 0) {
        return mInfo.setConfigState("not read: the policy is off");
    }
    ConfigDocument document;
    if (document.load(GetPaths().configFile)) {
        return mInfo.setConfigState(StateOf(ConfigChecker::Check(document)));
    }
    mInfo.setConfigState(
        (document.readingError() == ENOENT ? "missing" : "unreadable: " + document.error()) +
        ": built-in values in force");
    KVT_LOGW("configuration: %s: built-in values in force", CleanText(document.error()).c_str());
}

void ConfigKeeper::reload() {
    if (mPolicyIsOff) {
        return SayThatPolicyIsOff();
    }
    ++mReadings;
    const auto document = std::make_shared<ConfigDocument>();
    if (!document->load(GetPaths().configFile)) {
        return refuse(document->error());
    }
    const std::vector<Finding> findings = ConfigChecker::Check(*document);
    if (const std::string fault = FaultOf(*document, findings); !fault.empty()) {
        return refuse(fault);
    }
    EventRunner::Event event;
    event.act = [this, document, state = StateOf(findings), reading = mReadings] {
        takeOver(*document, state, reading);
    };
    if (mEvents.run(std::move(event), false) != android::OK) {
        refuse(document->name() + ": too many events wait");
    }
}

void ConfigKeeper::takeOver(const ConfigDocument& document, const std::string& state,
                            uint32_t reading) {
    if (FpsCommon::switchAll != 0) {
        return SayThatPolicyIsOff();
    }
    FpsCommon::OnConfigChanged(GroupOf(document));
    mInfo.setConfigState(state, reading);
    KVT_LOGI("configuration taken over: %s: %s", document.name().c_str(), CleanText(state).c_str());
}

void ConfigKeeper::refuse(const std::string& fault) {
    mInfo.setConfigRefused("refused at " + TimeOfDay() + ": " + fault + ": the one before stays",
                           mReadings);
    KVT_LOGE("configuration refused: %s: the one before stays", CleanText(fault).c_str());
}

void ConfigKeeper::SayThatPolicyIsOff() {
    KVT_LOGW("configuration not read: the policy is off");
}

}  // namespace KVT
