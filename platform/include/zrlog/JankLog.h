// SPDX-License-Identifier: Apache-2.0
#pragma once

extern "C" {

/** Writes one record to the jank log. `priority` is a log priority, `event` the kind of record. */
// The phone's name. NOLINTNEXTLINE(bugprone-reserved-identifier)
int __zrlog_jank_print(int priority, int event, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
}
