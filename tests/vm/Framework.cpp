// SPDX-License-Identifier: Apache-2.0
#include "tests/vm/Framework.h"

#include <algorithm>
#include <cstdio>

#include "linux/vendor/Protocol.h"
#include "service/IKVTService.h"
#include "sync/Clock.h"
#include "tests/vm/Processes.h"

namespace KVT::test {

using namespace android;

Framework::Framework()
    : mService(Manager()->getService(IKVTService::descriptor)),
      mPanel(Manager()->getService(String16(vendor::kDisplayService))) {}

std::optional<int64_t> Framework::change(int64_t patience) {
    mHz = mHz == 90 ? 60 : 90;
    const char* const pkg = mHz == 90 ? "com.example.reader" : "com.example.mail";
    const int64_t begin = MonotonicNow();
    const auto passed = [begin] { return MonotonicNow() - begin; };
    // Refused by the driver when there is no room; whoever needs it to arrive sends it again.
    while (mClient.packages(pkg, {pkg}) != OK && passed() < patience) {
        SleepFor(kNsPerMs);
    }
    while (panelHz() != mHz) {
        if (passed() >= patience) {
            return std::nullopt;
        }
        SleepFor(5 * kNsPerMs);
    }
    return passed();
}

std::optional<int64_t> Framework::ask() {
    const int64_t begin = MonotonicNow();
    int32_t hz = 0;
    const status_t status = mClient.ask(GET_MAX_LCD_FPS, &hz);
    const int64_t duration = MonotonicNow() - begin;
    return status == OK && hz == 90 ? std::optional(duration) : std::nullopt;
}

std::string Framework::dump() {
    FILE* const file = tmpfile();
    std::string text;
    if (file != nullptr && mService->dump(fileno(file), {}) == OK) {
        text.resize(1 << 17);
        text.resize(static_cast<size_t>(
            std::max<ssize_t>(pread(fileno(file), text.data(), text.size(), 0), 0)));
    }
    if (file != nullptr) {
        fclose(file);
    }
    return text;
}

int Framework::panelHz() {
    Parcel reply;
    constexpr int32_t kSelector = 1;
    Call(mPanel, vendor::kDisplayGetFps, &reply, kSelector).readInt32();
    int hz = 0;
    sscanf(reply.readString8().string(), "current_fps:%d;", &hz);
    return hz;
}

}  // namespace KVT::test
