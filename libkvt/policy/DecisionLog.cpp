// SPDX-License-Identifier: Apache-2.0
#include "policy/DecisionLog.h"

#include "common/Dumper.h"
#include "sync/Clock.h"

namespace KVT {

void DecisionLog::add(const std::string& pkg, const Decision& decision) {
    MutexLock lock(mMutex);
    DecisionRecord& record = mRing.next();
    record.time = BootTimeNow();
    record.pkg.assign(pkg);
    record.decision = decision;
}

std::vector<DecisionRecord> DecisionLog::since(uint64_t after) const {
    MutexLock lock(mMutex);
    return mRing.since(after);
}

void DecisionLog::dump(Dumper* dumper) const {
    dumper->section("decisions");
    for (const DecisionRecord& record : since(0)) {
        const Decision& d = record.decision;
        std::string text = "at " + SecondsText(record.time) + " " + record.pkg + " " +
                           NameOf(d.outcome) + " rule " + d.rule->name;
        if (d.code >= 0) {
            text += " code " + std::to_string(d.code);
        }
        if (d.rate != kRateUntouched) {
            text += " " + std::to_string(d.rate) + " Hz";
        }
        dumper->value(std::to_string(record.number), text);
    }
}

}  // namespace KVT
