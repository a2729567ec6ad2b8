// SPDX-License-Identifier: Apache-2.0
#include "policy/DecisionLog.h"

#include <algorithm>

#include "common/Dumper.h"
#include "sync/Clock.h"

namespace KVT {

void DecisionLog::add(const std::string& pkg, const Decision& decision) {
    MutexLock lock(mMutex);
    DecisionRecord& record = mRing[mCount % kCapacity];
    record.number = ++mCount;
    record.time = MonotonicNow();
    record.pkg.assign(pkg);
    record.decision = decision;
}

std::vector<DecisionRecord> DecisionLog::since(uint64_t after) const {
    MutexLock lock(mMutex);
    const uint64_t oldest = mCount > kCapacity ? mCount - kCapacity : 0;
    std::vector<DecisionRecord> records;
    for (uint64_t i = std::max(oldest, after); i < mCount; ++i) {
        records.push_back(mRing[i % kCapacity]);
    }
    return records;
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
