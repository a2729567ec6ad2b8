// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "common/CleanText.h"
#include "common/Log.h"

namespace KVT {

/**
 * Ends the process after one error line, "fatal: <file>:<line>: <fault>".
 *
 * For the few faults that leave the service without a meaning to go on with; everything else that
 * comes from outside is survived. `file` and `line` name what is to be mended: the place in a
 * configuration file, or the source line that gave up (KVT_FATAL). The fault may quote whatever
 * came: it is cleaned.
 */
[[noreturn]] __attribute__((format(printf, 3, 4))) inline void FatalAt(const char* file, int line,
                                                                       const char* format, ...) {
    char fault[512];
    va_list args;
    va_start(args, format);
    vsnprintf(fault, sizeof(fault), format, args);
    va_end(args);
    KVT_LOGE("fatal: %s:%d: %s", file, line, CleanText(fault).c_str());
    abort();
}

#define KVT_FATAL(...) ::KVT::FatalAt(__FILE_NAME__, __LINE__, __VA_ARGS__)

}  // namespace KVT
