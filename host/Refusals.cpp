// SPDX-License-Identifier: Apache-2.0
#include "host/Refusals.h"

#include <cinttypes>
#include <string>

#include "common/Log.h"
#include "host/Limits.h"
#include "sync/Clock.h"

namespace KVT {

void Refusals::add(uid_t uid, uint32_t code, const char* reason) {
    constexpr int64_t kBetweenLines = 60 * kNsPerS;
    uint64_t refused = 0;
    bool alone = true;
    {
        MutexLock lock(mMutex);
        alone = mByUid.size() < kMostRefusedUids || mByUid.count(uid) != 0;
        Count& count = alone ? mByUid[uid] : mOthers;
        refused = ++count.refused;
        const int64_t now = MonotonicNow();
        if (now < count.nextLine) {
            return;
        }
        count.nextLine = now + kBetweenLines;
    }
    KVT_LOGW("gate: transaction %" PRIu32 " of uid %u is refused: %s; refused so far: %" PRIu64
             "%s",
             code, uid, reason, refused, alone ? "" : ", with other uids");
}

void Refusals::dump(Dumper* dumper) {
    dumper->section("refused");
    MutexLock lock(mMutex);
    for (const auto& [uid, count] : mByUid) {
        dumper->value("uid " + std::to_string(uid), count.refused);
    }
    if (mOthers.refused > 0) {
        dumper->value("other uids", mOthers.refused);
    }
}

}  // namespace KVT
