// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace KVT {

/**
 * Takes every log line of the process for the length of a scope, from any thread. A line reads as
 * in logcat's brief form: "I/KVTService: text".
 */
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /** The lines since the last call. */
    std::vector<std::string> take();
};

}  // namespace KVT
