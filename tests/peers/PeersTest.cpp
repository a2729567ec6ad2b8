// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "peers/AppTypes.h"
#include "peers/CompositorNotices.h"
#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

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
        {[] { CompositorNotices::NotifyIsDynamicFreq(true); }, 7011, 1, "01000000"},
        {[] { CompositorNotices::NotifyIsDynamicFreq(false); }, 7011, 1, "00000000"},
        {[] { CompositorNotices::NotifyAppDynamicFpsModeToSF(true); }, 7012, 1, "01000000"},
        {[] { CompositorNotices::NotifyAppDynamicFpsModeToSF(false); }, 7012, 1, "00000000"},
        {[] { CompositorNotices::NotifyNewAppOpenedToSF(1); }, 7013, 1, "01000000"},
        {[] { CompositorNotices::NotifyNewAppOpenedToSF(0); }, 7013, 1, "00000000"},
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

}  // namespace
}  // namespace KVT
