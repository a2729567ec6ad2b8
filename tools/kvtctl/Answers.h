// SPDX-License-Identifier: Apache-2.0
// What the subcommands that answer a question have in common.
#pragma once

#include <binder/IBinder.h>
#include <json/value.h>

#include <optional>
#include <string>

#include "tools/kvtctl/DumpTree.h"
#include "tools/kvtctl/History.h"
#include "tools/kvtctl/Service.h"

namespace CLI {
class App;
}

namespace KVT::ctl {

struct AnswerOptions {
    bool json = false;
    double timeoutSeconds = static_cast<double>(kTimeout.count()) / 1000;

    /** One for all that a command, or a round of a watch, asks for: take it once. */
    Deadline deadline() const { return Timeout(static_cast<int64_t>(timeoutSeconds * 1000)); }
};

/** Adds --json and --timeout. */
void AddAnswerOptions(CLI::App* app, AnswerOptions* options);

/** Adds --since to a filter. */
void AddSince(CLI::App* app, HistoryFilter* filter);

/** In ASCII: in lines for people to read, or in one of them. */
void PrintJson(Context& context, const Json::Value& json, bool inOneLine = false);

/** The journal from the entry behind number `after` on, in as many dumps as it takes. */
android::status_t FetchHistory(const android::sp<android::IBinder>& service, uint64_t after,
                               Deadline deadline, History* history);

/** By the present time of day. */
WallClock ClockOf(const Context& context, const History& history);

}  // namespace KVT::ctl
