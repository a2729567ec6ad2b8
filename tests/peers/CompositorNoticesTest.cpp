// SPDX-License-Identifier: Apache-2.0
#include "peers/CompositorNotices.h"

#include "tests/support/Bytes.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

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
