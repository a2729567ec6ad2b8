// SPDX-License-Identifier: Apache-2.0
#include "tools/kvtctl/Answers.h"

#include <json/writer.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "tools/kvtctl/Durations.h"

namespace KVT::ctl {

using android::IBinder;
using android::sp;
using android::status_t;

void AddAnswerOptions(CLI::App* app, AnswerOptions* options) {
    app->add_flag("--json", options->json, "for programs: see docs/kvtctl.schema.json");
    app->add_option("--timeout", options->timeoutSeconds,
                    "seconds until a service that does not answer counts as silent")
        ->check(CLI::Range(0.01, 3600.0))
        ->capture_default_str();
}

void AddSince(CLI::App* app, HistoryFilter* filter) {
    app->add_option_function<std::string>(
           "--since", [filter](const std::string& text) { filter->since = ParseDuration(text); },
           "only the last so many seconds, or 5m, 2h, 1d")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return ParseDuration(text).has_value() ? std::string()
                                                       : "no duration: " + text + " (as 30s, 5m)";
            },
            "DURATION"));
}

void PrintJson(Context& context, const Json::Value& json, bool inOneLine) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = inOneLine ? "" : "  ";
    builder["enableYAMLCompatibility"] = true;  // no space before a colon
    builder["precision"] = 9;
    builder["precisionType"] = "significant";
    const std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
    writer->write(json, &context.out);
    context.out << "\n";
}

status_t FetchHistory(const sp<IBinder>& service, uint64_t after, Deadline deadline,
                      History* history) {
    history->changes.clear();
    do {
        std::string text;
        const status_t status =
            FetchDump(service, {"history", std::to_string(after)}, deadline, &text);
        if (status != android::OK) {
            return status;
        }
        std::optional<History> part = HistoryOf(DumpTree(text));
        if (!part.has_value()) {
            return android::INVALID_OPERATION;
        }
        history->now = part->now;
        history->last = part->last;
        history->isCut = false;
        for (const RateChange& change : part->changes) {
            // Each leads on, whoever calls itself the service.
            if (change.number > after) {
                after = change.number;
                history->isCut = part->isCut;
                history->changes.push_back(change);
            }
        }
    } while (history->isCut && history->changes.size() < kMostChanges);
    return android::OK;
}

WallClock ClockOf(const Context& context, const History& history) {
    return {history.now, context.process.wallClock()};
}

}  // namespace KVT::ctl
