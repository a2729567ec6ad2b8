// SPDX-License-Identifier: Apache-2.0
// Every name that others give, on its way to the log.
#include <binder/Parcel.h>
#include <gmock/gmock.h>

#include "common/CleanText.h"
#include "tests/support/HostileName.h"
#include "tests/support/Phone.h"

namespace KVT {
namespace {

using android::String16;
using testing::Contains;
using testing::HasSubstr;

TEST_F(Phone, LogsEveryNameOnOneLine) {
    const std::string pkg = "<pkg>" + std::string(kHostileName) + "</pkg>";
    ASSERT_TRUE(android::base::WriteStringToFile(
        ConfigWith(List("app_pkg_perceptible_list", pkg) + List("game_pkg_perceptible_list", pkg)),
        path("kvt_config.xml")));
    panel("60", {kHostileName, "60", "90"});
    logs.take();
    FpsCommon::Init();
    packages(kHostileName, {kHostileName});
    framework.fingerprint(kHostileName, 3);
    framework.applicationState(1, 2, 3, kHostileName);
    android::Parcel test;
    test.writeInt32(0);
    test.writeString16(String16(kHostileName));
    test.writeString16(String16(kHostileName));
    android::Parcel reply;
    service->transact(SELF_TEST, test, &reply);

    const std::vector<std::string> lines = logs.take();
    for (const char* before :
         {"lcd fps support: ", "app pkg list: value ", "game pkg list: value ", "focus pkgName - ",
          "visible pkgName 0 - ", "new pkgName - ",
          "#ARG1:fps#pkg:", "kvt-fingerprint: packageName: ", "params invalid, packageName: ",
          "currentPackageName = ", "filePatch:", "resultFileName:"}) {
        EXPECT_THAT(lines, Contains(HasSubstr(before + std::string(kHostileNameShown))));
    }
    for (const std::string& line : lines) {
        EXPECT_EQ(CleanText(line, "="), line);
    }
}

}  // namespace
}  // namespace KVT
