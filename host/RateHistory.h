// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "display/RateJournal.h"

namespace KVT {

class Dumper;

/**
 * An entry in one line: "panel 60 -> 90 Hz: touch-down, com.example.reader, in 16 ms". The name of the
 * package is as it came.
 */
std::string TextOf(const RateEntry& entry);

/** Logs each change of the rate or of its cause. */
class RateLog : public RateListener {
  public:
    /** Has the journal report to the one there is. Before the policy starts. */
    static void Start();

    void onRateEntry(const RateEntry& entry) override;
};

/**
 * The section "history": "now" on the boot-time clock, as the entries' times are, "last", the number
 * of the newest one, then those numbered above `after`, oldest first, as long as the dump has room.
 * Fields by name, the package last.
 */
void DumpHistory(Dumper* dumper, uint64_t after);

}  // namespace KVT
