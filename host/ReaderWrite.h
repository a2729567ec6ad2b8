// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace KVT {

/**
 * Writes that may be under way at a time, whoever asks: enough for a report of a bug and a few
 * people, and far from the binder pool's sixteen threads.
 */
constexpr size_t kMostReaderWrites = 4;

/**
 * Writes a text to a pipe, socket or local file of another process, which may read as slowly as it
 * likes or never. Does not touch the descriptor's flags, which that process shares. Any thread.
 *
 * @param patience for all of it; the caller is held no longer, whatever the reader does
 * @return OK; TIMED_OUT, a part may be written; BAD_TYPE for any other kind of descriptor;
 *         WOULD_BLOCK beyond kMostReaderWrites; NO_MEMORY without a thread or descriptor;
 *         -EIO when the descriptor does not take it, whatever errno says: that of a closed
 *         pipe would tell the caller that this service is dead.
 */
android::status_t WriteToReader(int fd, std::string text, std::chrono::milliseconds patience);

}  // namespace KVT
