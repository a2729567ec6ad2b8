// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>
#include <utils/Errors.h>

#include <chrono>
#include <functional>
#include <string>

namespace KVT {

/**
 * Writes a text to a pipe, socket or local file of another process, which may read as slowly as it
 * likes or never. Does not touch the descriptor's flags, which that process shares. Any thread.
 *
 * @param reader uid of that process
 * @param gather makes the text; not asked for one that nobody could be given
 * @param patience for all of it; the caller is held no longer, whatever the reader does
 * @return OK; TIMED_OUT, a part may be written; BAD_TYPE for any other kind of descriptor;
 *         WOULD_BLOCK beyond kMostDumps, or kMostDumpsOfUid of that reader; NO_MEMORY without a
 *         thread or descriptor; -EIO when the descriptor does not take it, whatever errno says:
 *         that of a closed pipe would tell the caller that this service is dead.
 */
android::status_t WriteToReader(int fd, uid_t reader, const std::function<std::string()>& gather,
                                std::chrono::milliseconds patience);

}  // namespace KVT
