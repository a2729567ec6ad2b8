// SPDX-License-Identifier: Apache-2.0
#include "detect/GameFpsHelper.h"

#include <gtest/gtest.h>

namespace KVT {
namespace {

TEST(GameFpsHelper, FindsBuiltInThenAddedLayers) {
    GameFpsHelper* const helper = GameFpsHelper::GetInstance();
    helper->AddTargetLayer("com.example.game", "first#");
    helper->AddTargetLayer("com.example.game", "second#");
    helper->AddTargetLayer("com.t2ksports.nba2k19and", "other#");
    const char* const rows[][2] = {
        {"com.t2ksports.nba2k19and",
         "com.t2ksports.nba2k19and/com.t2ksports.nba2k19and.gameactivity#"},
        {"com.tencent.tmgp.pubgmhd",
         "SurfaceView - com.tencent.tmgp.pubgmhd/com.epicgames.ue4.GameActivity#"},
        {"com.example.game", "first#"},
        {"com.t2ksports", "untouched"},
        {"", "untouched"},
    };
    for (const auto& [pkg, expected] : rows) {
        std::string layer = "untouched";
        const bool found = helper->SearchTargetLayer(pkg, layer);
        EXPECT_EQ(found, layer != "untouched") << pkg;
        EXPECT_EQ(layer, expected);
    }
}

}  // namespace
}  // namespace KVT
