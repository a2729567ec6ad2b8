// SPDX-License-Identifier: Apache-2.0
// Sends frames through the host's gate, for scripts/count-instructions to run under callgrind.
#include <binder/Parcel.h>

#include <cstdint>
#include <cstdio>

#include "host/Caller.h"
#include "host/Gate.h"
#include "service/IKVTService.h"

// Only this is counted; a C name is easy to name.
extern "C" __attribute__((noinline)) android::status_t Play_gate(KVT::Gate* gate,
                                                                 const android::Parcel& data,
                                                                 int64_t frames) {
    android::status_t refused = android::OK;
    for (; frames > 0; --frames) {
        refused |= gate->admit(KVT::Caller::Current().uid, KVT::SEND_LAYER_TIME_INFO, data);
    }
    return refused;
}

int main() {
    constexpr int64_t kFrames = 10'000;
    android::Parcel data;
    data.writeInterfaceToken(KVT::IKVTService::descriptor);
    data.writeCString("SurfaceView - com.example.game/.Main#0");
    data.writeInt64(1);
    data.writeBool(false);
    // The farthest of the uids that a compositor has.
    constexpr int64_t kGraphics = 1003;
    android::IPCThreadState::self()->restoreCallingIdentity(kGraphics << 32);
    KVT::Gate gate;
    const android::status_t refused = Play_gate(&gate, data, kFrames);
    std::printf("frames=%lld results=%d\n", static_cast<long long>(kFrames), refused);
    return refused == android::OK ? 0 : 1;
}
