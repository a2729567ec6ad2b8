// SPDX-License-Identifier: Apache-2.0
// "why", "history", "report" and "status": each asks once, and prints the answer.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <string_view>

#include "tools/config/ConfigChecker.h"
#include "tools/config/ConfigExplainer.h"
#include "tools/kvtctl/Answers.h"
#include "tools/kvtctl/Report.h"
#include "tools/kvtctl/ServiceCommands.h"
#include "tools/kvtctl/Status.h"
#include "tools/kvtctl/Why.h"

namespace KVT::ctl {
namespace {

using android::IBinder;
using android::sp;
using android::status_t;

/** @return nothing after saying why, and setting the status */
std::optional<DumpTree> AskForDump(Context& context, Deadline deadline, std::string* text) {
    const sp<IBinder> service = FindService(context, deadline);
    if (service == nullptr) {
        return std::nullopt;
    }
    Complain(context, "the dump", FetchDump(service, {}, deadline, text));
    return context.status == kDone ? std::optional(DumpTree(*text)) : std::nullopt;
}

std::optional<History> AskForHistory(Context& context, const AnswerOptions& options) {
    const Deadline deadline = options.deadline();
    const sp<IBinder> service = FindService(context, deadline);
    if (service == nullptr) {
        return std::nullopt;
    }
    History history;
    Complain(context, "asking for the history", FetchHistory(service, 0, deadline, &history));
    return context.status == kDone ? std::optional(history) : std::nullopt;
}

/** 0 when the file can not be read, or has no such entry any more. */
int LineIn(const std::string& file, const std::string& list, const std::string& entry) {
    ConfigDocument document;
    if (!document.load(file)) {
        return 0;
    }
    for (const Finding& finding : ConfigChecker::Check(document)) {
        if (finding.fatal) {
            return 0;
        }
    }
    return LineOfEntry(document, list, entry);
}

/** The answer, with the line in the configuration where it can be read here, and in time. */
Why WhyWithLine(const DumpTree& dump, Deadline deadline) {
    Why why = WhyOf(dump);
    // Of another folder's file of the same name nothing is known.
    if (!why.list.empty() && why.configFile.substr(0, 1) == "/") {
        // Whoever names the file may name one that keeps its reader waiting.
        const auto line = std::make_shared<int>(0);
        const status_t status =
            CallInTime(deadline, [line, file = why.configFile, list = why.list, entry = why.entry] {
                *line = LineIn(file, list, entry);
            });
        why.configLine = status == android::OK ? *line : 0;
    }
    return why;
}

void PrintWhy(Context& context, const AnswerOptions& options) {
    const Deadline deadline = options.deadline();
    std::string text;
    const auto dump = AskForDump(context, deadline, &text);
    if (!dump.has_value()) {
        return;
    }
    if (dump->find("why") == nullptr) {
        context.err << "kvtctl: the service does not say why\n";
        context.status = kRefused;
        return;
    }
    const Why why = WhyWithLine(*dump, deadline);
    if (options.json) {
        PrintJson(context, JsonOf(why));
    } else {
        Print(context.out, context.process.terminal(), TextOf(why));
    }
}

void PrintHistory(Context& context, const AnswerOptions& options, const HistoryFilter& filter) {
    const auto history = AskForHistory(context, options);
    if (!history.has_value()) {
        return;
    }
    const WallClock clock = ClockOf(context, *history);
    const std::vector<RateChange> changes = Filtered(*history, filter);
    if (options.json) {
        Json::Value json;
        json["entries"] = Json::Value(Json::arrayValue);
        for (const RateChange& change : changes) {
            json["entries"].append(JsonOf(change, clock));
        }
        PrintJson(context, json);
        return;
    }
    std::vector<Line> lines = {HistoryHeading()};
    for (const RateChange& change : changes) {
        lines.push_back(TextOf(change, clock));
    }
    Print(context.out, context.process.terminal(), lines);
}

void PrintReport(Context& context, const AnswerOptions& options, const HistoryFilter& filter) {
    const auto history = AskForHistory(context, options);
    if (!history.has_value()) {
        return;
    }
    const Report report = ReportOf(*history, filter.since);
    if (options.json) {
        PrintJson(context, JsonOf(report));
    } else {
        Print(context.out, context.process.terminal(), TextOf(report));
    }
}

void PrintStatus(Context& context, const AnswerOptions& options) {
    const Deadline deadline = options.deadline();
    std::string text;
    const auto dump = AskForDump(context, deadline, &text);
    if (!dump.has_value()) {
        return;
    }
    if (options.json) {
        PrintJson(context, StatusJsonOf(*dump, WhyWithLine(*dump, deadline)));
        return;
    }
    std::vector<Line> lines = SummaryOf(*dump);
    lines.push_back({});
    for (std::string_view left = text; !left.empty();) {
        const std::string_view line = left.substr(0, left.find('\n'));
        const bool isHeading = line.substr(0, 1) == "[" && line.find('=') == std::string_view::npos;
        lines.push_back({std::string(line), isHeading ? Line::kHeading : Line::kPlain, 4});
        left.remove_prefix(std::min(line.size() + 1, left.size()));
    }
    Print(context.out, context.process.terminal(), lines);
}

}  // namespace

void AddAnswerCommands(CLI::App& app, Context& context) {
    struct Options : AnswerOptions {
        HistoryFilter filter;
    };
    const auto add = [&](const char* name, const char* meaning) {
        const auto options = std::make_shared<Options>();
        CLI::App* const sub = app.add_subcommand(name, meaning);
        AddAnswerOptions(sub, options.get());
        return std::pair(sub, options);
    };
    const auto status = add("status", "prints the service's state: five lines, then all sections");
    status.first->callback([&context, o = status.second] { PrintStatus(context, *o); });

    const auto why = add("why",
                         "says why the panel is at its rate, what would be in force otherwise, and "
                         "what does not work as it should");
    why.first->callback([&context, o = why.second] { PrintWhy(context, *o); });

    const auto history = add("history", "prints what was asked of the panel, why, and what it did");
    AddSince(history.first, &history.second->filter);
    history.first->add_option("--package", history.second->filter.package,
                              "only while this package was in front");
    history.first->callback(
        [&context, o = history.second] { PrintHistory(context, *o, o->filter); });

    const auto report =
        add("report",
            "sums the history up: time at each rate, switches, main cause, package by package; a "
            "panel that switches more than 10 times within a minute is flapping");
    AddSince(report.first, &report.second->filter);
    report.first->callback([&context, o = report.second] { PrintReport(context, *o, o->filter); });
}

}  // namespace KVT::ctl
