// SPDX-License-Identifier: Apache-2.0
#include "common/Fatal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "common/Log.h"

namespace KVT {

void FatalAt(const char* file, int line, const char* format, ...) {
    char fault[512];
    va_list args;
    va_start(args, format);
    vsnprintf(fault, sizeof(fault), format, args);
    va_end(args);
    KVT_LOGE("fatal: %s:%d: %s", file, line, fault);
    abort();
}

}  // namespace KVT
