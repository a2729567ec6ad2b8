// SPDX-License-Identifier: Apache-2.0
#include "host/RateHistory.h"

#include "common/CleanText.h"
#include "common/Dumper.h"
#include "common/Log.h"
#include "display/LcdFpsControl.h"
#include "sync/Clock.h"

namespace KVT {
namespace {

std::string CauseText(const Cause& cause) {
    return cause.code < 0 ? cause.name()
                          : std::string(cause.name()) + " " + std::to_string(cause.code);
}

}  // namespace

std::string TextOf(const RateEntry& entry) {
    const std::string shown = std::to_string(entry.shownHz);
    std::string text = "panel ";
    if (entry.shownHz == RateEntry::kNotRead) {
        text += "can not be read";
    } else if (entry.fromHz == entry.shownHz) {
        text += "stays at " + shown + " Hz";
    } else if (entry.fromHz == RateEntry::kNotRead) {
        text += "is at " + shown + " Hz";
    } else {
        text += std::to_string(entry.fromHz) + " -> " + shown + " Hz";
    }
    if (!entry.followed && entry.askedHz != RateEntry::kNothingAsked) {
        text += ", " + std::to_string(entry.askedHz) + " asked";
    }
    text += ": " + CauseText(entry.cause) + ", " + entry.pkg;
    if (entry.askedHz != RateEntry::kNothingAsked) {
        text += ", in " + std::to_string(entry.tookNs / kNsPerMs) + " ms";
    }
    return text;
}

void RateLog::Start() {
    static RateLog log;
    LcdFpsControl::journal.setListener(&log);
}

void RateLog::onRateEntry(const RateEntry& entry) {
    KVT_LOGI("%s", CleanText(TextOf(entry)).c_str());
}

void DumpHistory(Dumper* dumper, uint64_t after) {
    dumper->section("history");
    dumper->seconds("now", BootTimeNow());
    dumper->value("last", LcdFpsControl::journal.last().number);
    for (const RateEntry& entry : LcdFpsControl::journal.since(after)) {
        dumper->value(std::to_string(entry.number),
                      "at " + SecondsText(entry.time) + " took " + SecondsText(entry.tookNs) +
                          " asked " + std::to_string(entry.askedHz) + " from " +
                          std::to_string(entry.fromHz) + " shown " + std::to_string(entry.shownHz) +
                          " cause " + entry.cause.name() + " code " +
                          std::to_string(entry.cause.code) + " followed " +
                          (entry.followed ? "1" : "0") + " package " + entry.pkg);
    }
}

}  // namespace KVT
