// SPDX-License-Identifier: Apache-2.0
#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <mutex>
#include <utility>

namespace KVT {
namespace {

// Not KVT::Mutex: capturing a line is no synchronisation point of virtual time.
std::mutex gMutex;
std::vector<std::string> gLines;

void Capture(const __android_logger_data* data, const char* message) {
    const char priority = "??VDIWEFS"[data->priority];
    std::lock_guard lock(gMutex);
    gLines.push_back(std::string(1, priority) + "/" + data->tag + ": " + message);
}

}  // namespace

LogCapture::LogCapture() {
    take();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(Capture);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
}

std::vector<std::string> LogCapture::take() {
    std::lock_guard lock(gMutex);
    return std::exchange(gLines, {});
}

}  // namespace KVT
