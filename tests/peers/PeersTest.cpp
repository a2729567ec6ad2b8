// SPDX-License-Identifier: Apache-2.0
#include <binder/IServiceManager.h>
#include <gmock/gmock.h>

#include "common/PeerHealth.h"
#include "linux/vendor/Protocol.h"
#include "peers/AppTypes.h"
#include "peers/CompositorNotices.h"
#include "peers/IKoraCallback.h"
#include "peers/KVTGameSdkListener.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"
#include "tests/support/Remote.h"

namespace KVT {
namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using testing::ElementsAre;
using testing::IsEmpty;

class PackageTypes : public Phone {
  public:
    const std::string pkg = "com.example.game";
    int32_t typeOf(const std::string& name) { return AppTypes::GetPkgTypeByICMSManager(name); }
};

TEST_F(PackageTypes, AreAskedForOnceAndRemembered) {
    start();
    for (const auto& [answer, known] : std::vector<std::pair<int32_t, int32_t>>{
             {9, 9}, {0, 0}, {-1, -1}, {36, 36}, {37, -1}, {255, 255}, {254, -1}, {-2, -1}}) {
        const std::string name = "com.example.type" + std::to_string(answer);
        type(name, answer);
        EXPECT_EQ(typeOf(name), known) << answer;
        EXPECT_EQ(typeOf(name), known) << answer;
        EXPECT_EQ(fakes.classifier->asked(name), 1) << answer;
    }
    EXPECT_EQ(typeOf("com.norvik.android.launcher"), 28);
    EXPECT_EQ(fakes.classifier->asked("com.norvik.android.launcher"), 0);
}

TEST_F(PackageTypes, AreAskedForAgainAfterAFailure) {
    start();
    type(pkg, 9);
    fakes.classifier->failCalls(android::DEAD_OBJECT);
    EXPECT_EQ(typeOf(pkg), -1);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fpscommon: ikora transact err"));
    fakes.classifier->failCalls(android::OK);
    fakes.classifier->throwException(-3);
    EXPECT_EQ(typeOf(pkg), -1);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fpscommon: ikora readExceptionCode"));
    fakes.classifier->throwException(0);
    EXPECT_EQ(typeOf(pkg), 9);
    EXPECT_EQ(fakes.classifier->asked(pkg), 3);
}

TEST_F(PackageTypes, AreKnownOnceTheServiceIsThere) {
    fakes.withdraw("IKoraCMSService");
    type(pkg, 9);
    EXPECT_EQ(typeOf(pkg), -1);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fpscommon: defaultServiceManager null",
                                         "E/KVTService: fpscommon: ikora checkService null"));
    fakes.publish();
    EXPECT_EQ(typeOf(pkg), 9);
    EXPECT_THAT(logs.take(), ElementsAre("E/KVTService: fpscommon: ikora checkService null"));
    EXPECT_EQ(typeOf("com.example.other"), 1);
    EXPECT_THAT(logs.take(), IsEmpty());
}

class Notices : public Phone {};

TEST_F(Notices, AreTheCompositorsTransactions) {
    const struct {
        void (*send)();
        uint32_t code, flags;
        const char* body;
    } cases[] = {
        {[] { CompositorNotices::ForceRefreshFrame(); }, 30, 0, ""},
        {[] { CompositorNotices::NotifyIsDynamicFreq(false); }, 7011, 1, "00000000"},
        {[] { CompositorNotices::NotifyAppDynamicFpsModeToSF(true); }, 7012, 1, "01000000"},
        {[] { CompositorNotices::NotifyNewAppOpenedToSF(1); }, 7013, 1, "01000000"},
        {[] { CompositorNotices::NotifyCompositionParamsToSF(true, 2, 3, 4); }, 7014, 1,
         "01000000 02000000 03000000 04000000"},
        {[] { CompositorNotices::NotifyParticalComposeThresholdToSF(90, 7); }, 7015, 1, "07000000"},
        {[] { CompositorNotices::NotifyParticalComposeThresholdToSF(60, 7); }, 7015, 1, "0c000000"},
    };
    const std::string token = "00000080 ffffffff 1b000000 ~'android.ui.ISurfaceComposer' 0000";
    for (const auto& c : cases) {
        c.send();
        const auto calls = fakes.compositor->takeCalls();
        ASSERT_EQ(calls.size(), 1u) << c.code;
        EXPECT_EQ(calls[0].code, c.code);
        EXPECT_EQ(calls[0].flags, c.flags) << c.code;
        EXPECT_EQ(calls[0].bytes, FromHex(token + c.body)) << c.code << " " << c.body;
    }
}

// What the game SDK is told, and what it may call back.
class GameSdk : public Phone {
  public:
    GameSdk() {
        const sp<IBinder> sdk =
            new Remote([this](uint32_t code, const Parcel& data, Parcel* reply, uint32_t) {
                EXPECT_EQ(code, vendor::kGameSdkRegister);
                callback = data.readStrongBinder();
                name = data.readString8().string();
                return reply->writeInt32(answer);
            });
        android::defaultServiceManager()->addService(android::String16(vendor::kGameSdkService),
                                                     sdk);
    }

    int32_t answer = 1;
    sp<IBinder> callback;
    std::string name;
    const sp<KVTGameSdkListener> listener = new KVTGameSdkListener;
};

TEST_F(GameSdk, AgreesWithAnyAnswerButZero) {
    const std::string attempt = "I/KVTService: KVTGameSdkListener: RegisterGameSdkCallback ";
    EXPECT_FALSE(listener->RegisterGameSdkCallback(nullptr));
    EXPECT_EQ(callback, nullptr);
    EXPECT_THAT(logs.take(), ElementsAre(attempt + "fail, nullptr"));
    for (const int32_t each : {1, -1, 0}) {
        answer = each;
        const sp<IBinder> previous = callback;
        EXPECT_EQ(listener->RegisterGameSdkCallback("RES:com.example->>5|6"), answer != 0);
        EXPECT_EQ(name, "RES:com.example->>5|6");
        EXPECT_NE(callback, previous) << "a new one for every call";
        EXPECT_EQ(callback->getStrongCount(), 1) << "which the SDK alone holds";
        const std::string outcome = answer != 0 ? "Success" : "fail, return code 0";
        EXPECT_THAT(logs.take(), ElementsAre(attempt + outcome));
    }
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

class Health : public Phone {};

TEST_F(Health, IsMissingSilentOrFailedSinceThen) {
    PeerCall(Peer::kClassification).found(false);
    SleepFor(2 * kNsPerS);
    VirtualTime::Suspend(10 * kNsPerS);
    PeerCall(Peer::kClassification).found(false);
    EXPECT_EQ(HealthOf(Peer::kClassification), "missing for 12 s");
    {
        PeerCall call(Peer::kClassification);
        call.found(true);
        SleepFor(2 * kNsPerS);
        VirtualTime::Suspend(10 * kNsPerS);
        EXPECT_EQ(HealthOf(Peer::kClassification), "silent for 2 s");
        call.done(false);
    }
    VirtualTime::Suspend(10 * kNsPerS);
    EXPECT_EQ(HealthOf(Peer::kClassification), "failed 10 s ago");
    PeerCall(Peer::kClassification).done(true);
    EXPECT_EQ(HealthOf(Peer::kClassification), "in time");
}

}  // namespace
}  // namespace KVT
