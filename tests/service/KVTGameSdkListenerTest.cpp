// SPDX-License-Identifier: Apache-2.0
#include "peers/KVTGameSdkListener.h"

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <gmock/gmock.h>

#include <string>

#include "linux/vendor/Protocol.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using android::BBinder;
using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String16;
using testing::ElementsAre;

class KVTGameSdkListenerTest : public testing::Test {
  protected:
    /** The SDK's side: keeps the callback and answers as told. */
    class Sdk : public BBinder {
      public:
        int32_t answer = 1;
        sp<IBinder> callback;
        std::string name;

      protected:
        status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t) override {
            EXPECT_EQ(code, vendor::kGameSdkRegister);
            callback = data.readStrongBinder();
            name = data.readString8().string();
            return reply->writeInt32(answer);
        }
    };

    KVTGameSdkListenerTest() {
        android::defaultServiceManager()->addService(String16(vendor::kGameSdkService), sdk);
    }

    const sp<Sdk> sdk = new Sdk;
    const sp<KVTGameSdkListener> listener = new KVTGameSdkListener;
    LogCapture log;
};

TEST_F(KVTGameSdkListenerTest, RefusesANullName) {
    EXPECT_FALSE(listener->RegisterGameSdkCallback(nullptr));
    EXPECT_EQ(sdk->callback, nullptr);
    EXPECT_THAT(
        log.take(),
        ElementsAre("I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback fail, nullptr"));
}

TEST_F(KVTGameSdkListenerTest, TakesAnyAnswerButZeroForSuccess) {
    for (const int32_t answer : {1, -1, 0}) {
        SCOPED_TRACE(answer);
        sdk->answer = answer;
        EXPECT_EQ(listener->RegisterGameSdkCallback("RES:com.example->>5|6"), answer != 0);
        EXPECT_EQ(sdk->name, "RES:com.example->>5|6");
        const char* const expected =
            answer != 0
                ? "I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback Success"
                : "I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback fail, return code 0";
        EXPECT_THAT(log.take(), ElementsAre(expected));
    }
}

TEST_F(KVTGameSdkListenerTest, TheSdkAloneHoldsEachCallback) {
    listener->RegisterGameSdkCallback("RES:a->>5");
    const sp<IBinder> first = sdk->callback;
    EXPECT_EQ(first->getInterfaceDescriptor(), String16("com.norvik.ikora.sdk.ISDKCallbak"));
    listener->RegisterGameSdkCallback("RES:a->>5");
    EXPECT_NE(sdk->callback, first) << "a new one for every call";
    EXPECT_EQ(first->getStrongCount(), 1);
}

}  // namespace
}  // namespace KVT
