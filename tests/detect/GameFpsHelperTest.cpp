// SPDX-License-Identifier: Apache-2.0
#include "detect/GameFpsHelper.h"

#include <gtest/gtest.h>

namespace KVT {
namespace {

std::string Search(const std::string& pkg) {
    std::string layer = "untouched";
    const bool found = GameFpsHelper::GetInstance()->SearchTargetLayer(pkg, layer);
    EXPECT_EQ(found, layer != "untouched");
    return layer;
}

TEST(GameFpsHelper, FindsBuiltInThenAddedLayers) {
    const std::string nba = "com.t2ksports.nba2k19and/com.t2ksports.nba2k19and.gameactivity#";
    EXPECT_EQ(Search("com.t2ksports.nba2k19and"), nba);
    EXPECT_EQ(Search("com.tencent.tmgp.pubgmhd"),
              "SurfaceView - com.tencent.tmgp.pubgmhd/com.epicgames.ue4.GameActivity#");
    EXPECT_EQ(Search("com.example.game"), "untouched");
    EXPECT_EQ(Search("com.t2ksports"), "untouched");
    EXPECT_EQ(Search(""), "untouched");

    GameFpsHelper::GetInstance()->AddTargetLayer("com.example.game", "first#");
    GameFpsHelper::GetInstance()->AddTargetLayer("com.example.game", "second#");
    GameFpsHelper::GetInstance()->AddTargetLayer("com.t2ksports.nba2k19and", "other#");
    EXPECT_EQ(Search("com.example.game"), "first#");
    EXPECT_EQ(Search("com.t2ksports.nba2k19and"), nba);
}

}  // namespace
}  // namespace KVT
