// SPDX-License-Identifier: Apache-2.0
// What the game SDK is told, and what it may call back.
#include <binder/IServiceManager.h>
#include <gmock/gmock.h>

#include <string>

#include "linux/vendor/Protocol.h"
#include "peers/IKoraCallback.h"
#include "peers/KVTGameSdkListener.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;
using testing::ElementsAre;

class GameSdk : public testing::Test {
  protected:
    GameSdk() {
        const sp<IBinder> sdk =
            new Remote([this](uint32_t code, const Parcel& data, Parcel* reply, uint32_t) {
                EXPECT_EQ(code, vendor::kGameSdkRegister);
                callback = data.readStrongBinder();
                name = data.readString8().string();
                return reply->writeInt32(answer);
            });
        android::defaultServiceManager()->addService(String16(vendor::kGameSdkService), sdk);
    }

    int32_t answer = 1;
    sp<IBinder> callback;
    std::string name;
    const sp<KVTGameSdkListener> listener = new KVTGameSdkListener;
    LogCapture log;
};

TEST_F(GameSdk, IsNotAskedWithoutAName) {
    EXPECT_FALSE(listener->RegisterGameSdkCallback(nullptr));
    EXPECT_EQ(callback, nullptr);
    EXPECT_THAT(
        log.take(),
        ElementsAre("I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback fail, nullptr"));
}

TEST_F(GameSdk, AgreesWithAnyAnswerButZero) {
    for (const int32_t each : {1, -1, 0}) {
        answer = each;
        EXPECT_EQ(listener->RegisterGameSdkCallback("RES:com.example->>5|6"), answer != 0);
        EXPECT_EQ(name, "RES:com.example->>5|6");
        const std::string outcome = answer != 0 ? "Success" : "fail, return code 0";
        EXPECT_THAT(
            log.take(),
            ElementsAre("I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback " + outcome));
    }
}

TEST_F(GameSdk, AloneHoldsEachCallback) {
    listener->RegisterGameSdkCallback("RES:a->>5");
    const sp<IBinder> first = callback;
    listener->RegisterGameSdkCallback("RES:a->>5");
    EXPECT_NE(callback, first) << "a new one for every call";
    EXPECT_EQ(first->getStrongCount(), 1);
}

TEST_F(GameSdk, CallsBackWithItsToken) {
    // The missing "c" is the SDK's own.
    const std::string token =
        "00 00 00 80  ff ff ff ff  20 00 00 00 ~'com.norvik.ikora.sdk.ISDKCallbak' 00 00 00 00 ";
    static std::string received;
    BnKoraCallback::SetReceiver([](const android::String8& text) { received += text.string(); });
    const struct {
        uint32_t code;
        std::string request;
        android::status_t status;
    } cases[] = {
        {1, token + "02000000 ~'{}' 00000000", 0},
        {1, token, 0},
        {1, kServiceToken + std::string("02000000 ~'[]' 00000000"), -1},
        {2, token, android::UNKNOWN_TRANSACTION},
    };
    listener->RegisterGameSdkCallback("RES:a->>5");
    for (const auto& c : cases) {
        EXPECT_EQ(Transact(callback, c.code, FromHex(c.request)), Answer(c.status, {}));
    }
    EXPECT_EQ(received, "{}");
}

}  // namespace
}  // namespace KVT
